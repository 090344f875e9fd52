// The instance of one service id: the connection to its caller's pipe, the answers to its requests, and its watchers.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <json/value.h>

#include "foundation/handle.h"
#include "foundation/lock.h"
#include "foundation/shared_text.h"
#include "foundation/thread_annotations.h"
#include "ipc/protocol/message_type.h"
#include "ipc/protocol/request_handlers.h"
#include "service/service_host.h"

class CIOCP_Client;
class CPipeClientCallback;
class CWatcherEdge;
class IWatcherEdge;
class WxMiniProgramService;

// How long the end of an instance waits for a request that is being handled.
inline constexpr std::uint32_t kDestroyWaitMs = 1000;

// Always held by a shared pointer: the host's table holds one, and the connection's worker holds another for as long
// as a handler runs on it. A handler that is still running when the host drops the instance finds everything it
// touches alive; its reply is then not sent.
//
// The host calls Init, DelayedDestroy and Destroy with its instance lock held. The handlers and SendIPCMessage are
// called on the host's threads and on the connection's worker, also at the same moment.
class WxMiniProgramServiceEx final : public IRequestHandlers,
                                     public std::enable_shared_from_this<WxMiniProgramServiceEx> {
  public:
    // pHost outlives the instance and every thread it starts.
    static std::shared_ptr<WxMiniProgramServiceEx> Create(std::string strServiceId, IServiceHost* pHost);
    // For Create alone.
    WxMiniProgramServiceEx(std::string strServiceId, IServiceHost* pHost);
    ~WxMiniProgramServiceEx();
    WxMiniProgramServiceEx(const WxMiniProgramServiceEx&) = delete;
    WxMiniProgramServiceEx& operator=(const WxMiniProgramServiceEx&) = delete;

    // Connects to the caller's pipe and starts the watch over it. Only the first call does anything, also when it
    // failed: a pipe that could not be opened is not tried again. A watch that is held does not run before
    // ReleaseWatch.
    void Init(const std::string& config, const std::wstring& sdkPath, const std::wstring& mark,
              bool bHoldWatch = false);
    // Lets a held watch run; otherwise it does nothing.
    void ReleaseWatch();

    // Made at first use, the same from then on; lives as long as the instance.
    WxMiniProgramService* GetService();

    // Sends one message on the caller's pipe. 1 when it was handed to the pipe, -1 otherwise. nType is for the log.
    int SendIPCMessage(int nType, const std::string& strMessage);

    // Starts the thread that marks this instance for destruction when the delay interval has passed.
    void DelayedDestroy();

    // Ends the instance: tells the watchers to stop without waiting for them, closes the connection and waits for its
    // worker, which only a request that is being handled can hold up. The host calls it, with both its locks held, when
    // it drops the instance; later calls do nothing. No watcher and no late request changes the parameter table
    // afterwards.
    void Destroy(std::uint32_t nWaitMs = kDestroyWaitMs);

    const std::string& ServiceId() const { return m_strServiceId; }

    NXL_REQUEST_HANDLERS(NXL_HANDLER)

    // The text of the last delayed check that was not refused; empty after a refused one.
    CSharedText RunStatusParam();

  private:
    void Connect();
    // Whether the content of the request holds what its type asks for; when it does not, a line in the log in the name
    // of operation says so.
    bool Accept(const wchar_t* operation, const Request& request);
    // Sends the reply to request, whose content has become that of the reply. The content is gone afterwards.
    void Reply(const wchar_t* operation, Request& request);
    // Starts a thread that gets the surroundings and the host; empty when it cannot be started.
    CKernelHandle StartWatcher(std::function<void(IWatcherEdge&, IServiceHost&)> work, bool bHeld = false);
    bool HasCheckDllThread();
    std::int32_t DelayIntervalNow();

    IServiceHost* const m_pHost;  // weak
    const std::string m_strServiceId;
    // Written by Init, before the connection's worker runs.
    std::wstring m_strPipeName;
    std::wstring m_strEventName;
    std::wstring m_strMark;
    std::atomic<bool> m_bInit{false};
    std::atomic<bool> m_bIpcReady{false};
    std::atomic<bool> m_bDestroyed{false};
    const std::shared_ptr<CWatcherEdge> m_pWatchers;  // shared with every watcher thread

    // A leaf lock. The end of an instance takes it on the main thread with both locks of the host
    // held: nothing that takes time in proportion to a caller's text happens under it.
    CLock m_lockFields;
    std::unique_ptr<WxMiniProgramService> m_pService NXL_GUARDED_BY(m_lockFields);
    CSharedText m_strRunStatusParam NXL_GUARDED_BY(m_lockFields);  // JSON text
    std::int32_t m_nDelayInterval NXL_GUARDED_BY(m_lockFields) =
        2000;  // milliseconds, of the delayed check and the delayed destroy
    CKernelHandle m_hDelayedDestroyThread NXL_GUARDED_BY(m_lockFields);
    CKernelHandle m_hCheckDllThread NXL_GUARDED_BY(m_lockFields);
    bool m_bWatchHeld NXL_GUARDED_BY(m_lockFields) = false;
    CKernelHandle m_hDelayCheckThread NXL_GUARDED_BY(m_lockFields);
    std::shared_ptr<CIOCP_Client> m_pClient NXL_GUARDED_BY(m_lockFields);
    std::shared_ptr<CPipeClientCallback> m_pPipeCallback NXL_GUARDED_BY(m_lockFields);
};
