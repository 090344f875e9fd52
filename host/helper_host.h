// The one host object of the process: what the command line said, the message window, the host's own pipe, the table
// of service instances, and the dispatch of every message to its instance.
#pragma once

#include "foundation/thread_annotations.h"
#include "foundation/windows_headers.h"

#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include "foundation/handle.h"
#include "foundation/lock.h"
#include "host/background_threads.h"
#include "ipc/protocol/message_receiver.h"
#include "ipc/protocol/request_handlers.h"
#include "service/service_host.h"
#include "service/service_instance.h"

class CIOCP_Server;
class CPipeServerCallback;
class WxMiniProgramService;

// Threads: the main thread runs the first Init, the message loop and OnTimer; the pipe's worker runs ReceiveIPCMessage
// and, for a forwarded start, Init; the instances' workers and watchers use the IServiceHost side.
//
// Lock order, outermost first: m_lockInit, m_lockInstance, m_lockParam, m_lockState. The instances' handlers run under
// m_lockInstance when they are reached from here, so one slow handler delays every other request and the timers.
//
// The process's object lives until TerminateProcess; its destructor serves tests. What Init starts outlives no host of
// a test either: such a host must stay until the test process ends.
class CommzoltHelperS final : public IServiceHost, public IMessageReceiver, public IRequestHandlers {
  public:
    // The process's host, made at first use. Any thread.
    static CommzoltHelperS* GetInstance();

    // threads must stay.
    explicit CommzoltHelperS(const HostThreads& threads = kHostThreads);
    ~CommzoltHelperS();
    CommzoltHelperS(const CommzoltHelperS&) = delete;
    CommzoltHelperS& operator=(const CommzoltHelperS&) = delete;

    // Takes a command line: the process's own on the main thread, or a forwarded one on the pipe's worker. Sends the
    // ready notice to the caller of its service id. One thread at a time runs this.
    //
    // Until a call has found both a mark and a service id, every call counts as the first and starts the background
    // threads again.
    void Init(const std::wstring& commandLine);

    // One frame of the host's pipe, or the /param: of a start. 1 when a message was dispatched, else 0.
    int ReceiveIPCMessage(const unsigned char* data, int length) override;

    // The handlers of the requests that come on the host's pipe or in /param:. Each finds or makes the instance of the
    // request's service_id, and calls the instance's handler of the same name. A refusal is a log line and no reply.
    NXL_REQUEST_HANDLERS(NXL_HANDLER)
    void DestroyWxServiceItme(const Request& request, const IStopToken& stop) override;

    // One WM_TIMER. Main thread.
    void OnTimer(HWND window, UINT_PTR timerId);

    bool GetInstanceParam(const std::string& strServiceId, InstanceParam& param) override;
    bool SetInstanceParam(const std::string& strServiceId, const InstanceParamChange& change,
                          const IStopToken& stop) override;
    void OpenMiniAppSuccessfullyByServiceId(const std::string& strServiceId, const CSharedJson& question,
                                            std::string& strResult, bool bLastCall, const IStopToken& stop) override;

    // Tells the monitor program about an open that ended well, for the mark "ml" alone. True when the monitor took the
    // notice; strReferer then says which app it was. Waits up to a second for the monitor. Any thread.
    bool NotifyWDMonitorMsg(const std::string& strResult, const CSharedJson& question, std::string& strReferer);

    // Copies of what the command lines said so far. Any thread.
    bool IsInited() const { return m_bInited.load(); }
    bool IsIpcStarted() const { return m_bIpcStarted.load(); }
    std::int32_t Type() const;
    std::wstring Mark() const;
    std::string ServiceId() const;
    std::string Channel() const;
    std::string Param() const;
    std::wstring SdkPath() const;
    std::wstring Mid() const;
    // "ProgramIPCMessageS_" and the mark: the class name of the message window. Empty without a window.
    std::wstring ExeWndTitle() const;

    // The instance of an id, or null. Any thread.
    std::shared_ptr<WxMiniProgramServiceEx> FindInstance(const std::string& strServiceId) const;
    std::size_t InstanceCount() const;

  private:
    // start: the hang watcher of a first start, null otherwise; it runs before the start can wait for anything.
    void InitData(const std::wstring& commandLine, const CHangWatcherStart* start);
    void InitMsgWnd() NXL_REQUIRES(m_lockInit);
    void InitZOLTSIPC() NXL_REQUIRES(m_lockInit);
    void GetMid();
    void InitHangWatcherThread(const CHangWatcherStart& start);
    void InitMonCPUUsageThread();
    void InitConfInfoThread() NXL_REQUIRES(m_lockInit);
    // The thread of the configuration, the watches of the instances and the beacons' worker begin their work. A caller
    // that waits for the ready notice does not wait for them as well.
    void ReleaseThreads() NXL_REQUIRES(m_lockInit);
    void DealWithMsg(std::int32_t type, const std::string& param);
    void SendReadyNotice();

    // operation: the name that the lines of a refusal carry.
    void HandleRequest(const wchar_t* operation, Request& request);
    void ReArmExitTimer();
    void StartStatusTimer(const wchar_t* operation);

    // The instance of an id, initialised with the host's present channel, path and mark;
    // made when there is none.
    std::shared_ptr<WxMiniProgramServiceEx> FindOrCreateInstance(const std::string& strServiceId)
        NXL_REQUIRES(m_lockInstance);
    void InitInstance(WxMiniProgramServiceEx& instance) const NXL_REQUIRES(m_lockInstance);
    // Drops the instances that are finished or have no record.
    void PruneInstances() NXL_REQUIRES(m_lockInstance);
    void OnCheckTimeout(HWND window);
    void OnCheckExit(HWND window);
    void OnUpdateStatus();

    template <typename Value>
    Value Read(Value CommzoltHelperS::*field) const {
        const CAutoLock lock(&m_lockState);
        return this->*field;
    }

    const HostThreads& m_threads;
    std::atomic<bool> m_bInited{false};
    std::atomic<bool> m_bIpcStarted{false};

    CLock m_lockInit NXL_ACQUIRED_BEFORE(m_lockInstance);
    std::shared_ptr<CIOCP_Server> m_pPipeServer NXL_GUARDED_BY(m_lockInit);
    std::shared_ptr<CPipeServerCallback> m_pServerCallback NXL_GUARDED_BY(m_lockInit);
    bool m_bHoldsThreads NXL_GUARDED_BY(m_lockInit) = false;  // a first start is under way
    CKernelHandle m_hHeldThread NXL_GUARDED_BY(m_lockInit);   // the configuration's, started and not yet released
    CKernelHandle m_hInitEvent NXL_GUARDED_BY(m_lockInit);    // the ready event, signalled once the pipe listens
    ULONG_PTR m_gdiplusToken NXL_GUARDED_BY(m_lockInit) = 0;  // GDI+ stays up to the process's end

    mutable CLock m_lockInstance NXL_ACQUIRED_BEFORE(m_lockParam);
    std::map<std::string, std::shared_ptr<WxMiniProgramServiceEx>> m_mWxExInstance NXL_GUARDED_BY(m_lockInstance);
    bool m_bHoldsWatches NXL_GUARDED_BY(m_lockInstance) = false;

    CLock m_lockParam NXL_ACQUIRED_BEFORE(m_lockState);
    InstanceParamMap m_mInstanceParam NXL_GUARDED_BY(m_lockParam);

    mutable CLock m_lockState;  // a leaf lock
    std::int32_t m_nType NXL_GUARDED_BY(m_lockState) = 0;
    std::string m_strChannel NXL_GUARDED_BY(m_lockState);
    std::string m_strParam NXL_GUARDED_BY(m_lockState);
    std::wstring m_mark NXL_GUARDED_BY(m_lockState);
    std::wstring m_exeWndTitle NXL_GUARDED_BY(m_lockState);
    std::string m_strServiceId NXL_GUARDED_BY(m_lockState);
    std::wstring m_sdkPath NXL_GUARDED_BY(m_lockState);
    std::wstring m_strMid NXL_GUARDED_BY(m_lockState);

    std::unique_ptr<WxMiniProgramService> m_pStatusRecord;  // main thread only
};
