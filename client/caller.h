// The caller's side of one service: serves its pipe and gate, starts the helper, sends requests, waits for replies.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include <json/value.h>

#include "client/caller_pipe.h"
#include "client/caller_result.h"
#include "client/helper_start.h"
#include "foundation/handle.h"
#include "ipc/frame_cutter.h"

// A frame from the helper. nType is 0 when the payload is no envelope; content is null then.
struct ReceivedFrame {
    int nType = 0;
    Json::Value content;
    std::string strPayload;
};

enum class FrameDirection { Sent, Received };

// Gets every payload as it passes: sent ones on the sender's thread before they are written, received ones on the
// pipe's thread before any waiter sees them. It must not call back into the caller.
using FrameObserver = std::function<void(FrameDirection direction, std::string_view payload)>;

// One mark, one service id, one helper. Open and Close on the owner's thread; everything else on any thread. Nothing
// blocks longer than the timeout it is given plus, in a send, one second at the gate.
class CCaller final : private ICallerPipeSink {
  public:
    CCaller(std::wstring strMark, std::string strServiceId);
    ~CCaller();
    CCaller(const CCaller&) = delete;
    CCaller& operator=(const CCaller&) = delete;

    // Before Open.
    void SetObserver(FrameObserver observer) { m_observer = std::move(observer); }

    // Serves the pipe and the gate of the mark and service id.
    CallerResult Open();
    // Lets the helper's connection and the pipe go and wakes every waiter. The helper notices within its minute.
    void Close();

    // Starts the program with a command line for this mark and service id; mark and service id of start are ignored.
    // A helper of this mark that runs already makes the new process hand its command line over and end.
    CallerResult StartHelper(HelperStart start);

    // Sends one envelope; Ok means the helper has read it.
    CallerResult Send(int nType, Json::Value content, std::uint32_t timeoutMs);
    // Sends one frame with this payload, whatever it is.
    CallerResult SendPayload(std::string_view payload, std::uint32_t timeoutMs);
    // Sends bytes as they stand, not a frame made of them.
    CallerResult SendBytes(std::string_view bytes, std::uint32_t timeoutMs);

    // Waits for a frame of this type that no wait has taken yet; others stay queued. Type 0 takes the next frame of
    // any kind. Gone when the queue holds none and the helper is gone.
    CallerResult WaitForFrame(int nType, std::uint32_t timeoutMs, ReceivedFrame& frame);
    // Waits until a helper is connected, also one that comes after another was lost.
    CallerResult WaitForConnection(std::uint32_t timeoutMs);
    // Waits until the connection that had been made is lost.
    CallerResult WaitForLoss(std::uint32_t timeoutMs);
    // Waits until the process that StartHelper made has ended.
    CallerResult WaitForProcessEnd(std::uint32_t timeoutMs, DWORD& exitCode);

    // Ends the connection; the pipe is served on.
    void Disconnect() { m_pipe.Disconnect(); }

    bool Connected() const { return m_pipe.Connected(); }
    // How many connections there have been, probes included.
    std::uint32_t Connections() const;
    // Of the last process started; 0 and null before.
    DWORD ProcessId() const { return m_process.dwProcessId; }
    HANDLE ProcessHandle() const { return m_process.hProcess.get(); }
    // The system's error number behind the last failure of Open or StartHelper.
    DWORD SystemError() const { return m_dwSystemError; }

    const std::wstring& Mark() const { return m_strMark; }
    const std::string& ServiceId() const { return m_strServiceId; }
    const std::wstring& PipeName() const { return m_strPipeName; }
    const std::wstring& GateName() const { return m_strGateName; }

  private:
    void OnConnected() override;
    void OnBytes(const char* data, std::size_t size) override;
    void OnLost() override;
    void OnPayload(std::string payload);

    static void CALLBACK ProcessEnded(void* self, BOOLEAN timedOut);
    void StopWatchingProcess();
    // Whether nothing more can come. Needs m_lock.
    bool IsGone() const;
    template <typename Ready>
    CallerResult WaitUntil(std::uint32_t timeoutMs, bool endsWhenGone, Ready ready);

    const std::wstring m_strMark;
    const std::string m_strServiceId;
    const std::wstring m_strPipeName;
    const std::wstring m_strGateName;
    FrameObserver m_observer;

    CFrameCutter m_cutter;  // the pipe's thread alone
    CCallerPipe m_pipe;

    StartedProcess m_process;
    HANDLE m_hProcessWait = nullptr;  // the registered wait; unregistered by StopWatchingProcess
    DWORD m_dwSystemError = 0;

    mutable std::mutex m_lock;  // guards what follows
    std::condition_variable m_changed;
    std::deque<ReceivedFrame> m_frames;
    std::uint32_t m_nConnections = 0;
    bool m_bConnected = false;
    bool m_bSpoke = false;  // this connection has sent something, so it is the helper's and no probe
    bool m_bLost = false;   // a connection that had spoken was lost and no other has come
    bool m_bProcessEnded = false;
    std::uint64_t m_nProcessEndedAt = 0;  // tick count
    bool m_bClosed = false;
};
