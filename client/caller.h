// The caller's side of one service: serves its pipe and gate, starts the helper, sends requests, waits for replies.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include <json/value.h>

#include "client/caller_pipe.h"
#include "client/caller_result.h"
#include "client/deadline.h"
#include "client/frame_direction.h"
#include "client/helper_start.h"
#include "client/native_lock.h"
#include "client/process_watch.h"
#include "foundation/handle.h"
#include "foundation/thread_annotations.h"
#include "ipc/transport/frame_cutter.h"

// A frame from the helper. nType is 0 when the payload is not an envelope; content is null then.
struct ReceivedFrame {
    int nType = 0;
    std::int64_t nCall = 0;  // the number of the call that it answers, 0 for none
    Json::Value content;
    std::string strPayload;
};

// Gets every payload as it passes: sent ones on the sender's thread before they are written, received ones on the
// pipe's thread before any waiter sees them. It must not call back into the caller.
using FrameObserver = std::function<void(FrameDirection direction, std::string_view payload)>;

// How much the diagnostic callback wants to know; see nexlet_client.h.
enum class CallerLevel { Error = 1, Warning = 2, Info = 3, Debug = 4 };
using CallerTeller = std::function<void(CallerLevel level, const std::string& text)>;

// The key under which a call's number travels in its content, and back in its reply.
inline constexpr char kCallKey[] = "nexlet_call";

// So many frames that were not taken are kept; then the oldest are dropped.
inline constexpr std::size_t kMaxKeptFrames = 4096;

// One mark, one service id, one helper. Everything on any thread, but nothing during the destructor, and Open only
// once. Nothing blocks longer than the timeout it is given.
class CCaller final : private ICallerPipeSink {
  public:
    CCaller(std::wstring strMark, std::string strServiceId);
    ~CCaller();
    CCaller(const CCaller&) = delete;
    CCaller& operator=(const CCaller&) = delete;

    // Before Open.
    void SetObserver(FrameObserver observer) { m_observer = std::move(observer); }
    // Before Open. Called on the pipe's thread when a connection is lost on which the helper had sent something, unless
    // this side ends it by Shutdown or Close.
    void SetGoneHandler(std::function<void()> handler) { m_gone = std::move(handler); }

    // Before Open. take gets each frame with the number of a call, and is false for one that is not waited for, which
    // is dropped; without a handler all of them are. lost is told of every loss of a connection. Both on the pipe's
    // thread.
    void SetReplyHandler(std::function<bool(ReceivedFrame& frame)> take, std::function<void()> lost) {
        m_takeReply = std::move(take);
        m_lostReplies = std::move(lost);
    }

    // Before Open. Gets what happens in words, on the thread on which it happens, with no lock held. It must not call
    // back into the caller.
    void SetTeller(CallerTeller teller) { m_tell = std::move(teller); }

    // Before Open. Called with the helper's process before an open is sent, so that it may bring the target's window to
    // the front. The system's AllowSetForegroundWindow unless it is set.
    void SetForegroundGrant(std::function<void(DWORD processId)> grant) { m_grantForeground = std::move(grant); }

    // Serves the pipe and the gate of the mark and service id.
    CallerResult Open();
    // Lets the helper's connection and the pipe go and wakes every waiter. The helper notices within its minute.
    void Close();
    // Begins what Close does and does not wait: for any thread, an observer's among them.
    void Shutdown();

    // Starts the program with a command line for this mark and service id; mark and service id of start are ignored.
    // A helper of this mark that runs already makes the new process hand its command line over and end.
    CallerResult StartHelper(HelperStart start);

    // For a helper that runs already and is told of this service in another way: what was lost before no longer counts,
    // and the process, when its handle is known, takes the place of the one that StartHelper makes. found: it ran
    // already.
    void ExpectHelper();
    CallerResult WatchProcess(StartedProcess process, bool found = false);

    // Sends one envelope; Ok means that the system has taken it for the helper, which can read it even after Close.
    CallerResult Send(int nType, Json::Value content, std::uint32_t timeoutMs);
    // Sends one frame with this payload, whatever it is.
    CallerResult SendPayload(std::string_view payload, std::uint32_t timeoutMs);
    // Sends bytes as they stand, not a frame made of them.
    CallerResult SendBytes(std::string_view bytes, std::uint32_t timeoutMs);

    // Waits for a frame of this type that answers no call and that no wait has taken yet; others stay queued. Type 0
    // takes the next frame of any kind. Gone when the queue holds none and the helper is gone.
    CallerResult WaitForFrame(int nType, std::uint32_t timeoutMs, ReceivedFrame& frame);
    // Waits until a helper is connected, also one that comes after another was lost.
    CallerResult WaitForConnection(std::uint32_t timeoutMs);
    // Waits until the connection that had been made is lost.
    CallerResult WaitForLoss(std::uint32_t timeoutMs);
    // Closed once Close or Shutdown was called, Timeout before.
    CallerResult WaitForClose(std::uint32_t timeoutMs);
    // Waits until the process that StartHelper made, or that WatchProcess was given, has ended.
    CallerResult WaitForProcessEnd(std::uint32_t timeoutMs, DWORD& exitCode);

    // Whether that process has ended, and its exit code. Does not wait, and answers also once this side is closed.
    bool ProcessHasEnded(DWORD& exitCode) const;

    // Ends the connection; the pipe is served on.
    void Disconnect() { m_pipe.Disconnect(); }

    // As the count of connections has it, which the pipe is a moment ahead of.
    bool Connected() const {
        const CNativeGuard lock(m_lock);
        return m_bConnected;
    }
    // How many connections there have been, probes included.
    std::uint32_t Connections() const;
    // The helper's process: the one at the other end of the pipe once that has sent something, until then the last one
    // started or found; 0 before. A process that was started and hands its command line over is so replaced by the one
    // that takes it.
    DWORD ProcessId() const;
    // Whether that process ran before StartHelper or WatchProcess.
    bool Forwarded() const;
    // The system's error number for the last failure of Open or StartHelper.
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
    // The process at the other end has shown that it is the helper. On the pipe's thread.
    void TakePeer();

    void OnProcessEnded();
    void Tell(CallerLevel level, const std::string& text) const {
        if (m_tell) {
            m_tell(level, text);
        }
    }
    std::shared_ptr<const StartedProcess> HelperProcess() const;
    // Whether nothing more can come. Needs m_lock.
    bool IsGone() const NXL_REQUIRES(m_lock);
    template <typename Ready>
    CallerResult WaitUntil(const CDeadline& deadline, bool endsWhenGone, Ready ready);

    const std::wstring m_strMark;
    const std::string m_strServiceId;
    const std::wstring m_strPipeName;
    const std::wstring m_strGateName;
    FrameObserver m_observer;
    std::function<void()> m_gone;
    CallerTeller m_tell;
    std::function<bool(ReceivedFrame& frame)> m_takeReply;
    std::function<void()> m_lostReplies;
    std::function<void(DWORD processId)> m_grantForeground;

    CFrameCutter m_cutter;     // the pipe's thread alone
    bool m_bTookPeer = false;  // likewise: TakePeer has run for this connection
    CCallerPipe m_pipe;

    CNativeLock m_lockClose NXL_ACQUIRED_BEFORE(m_lockStart);  // one close at a time
    CNativeLock m_lockStart NXL_ACQUIRED_BEFORE(m_lock);
    CProcessWatch m_watchStarted NXL_GUARDED_BY(m_lockStart);
    CProcessWatch m_watchPeer NXL_GUARDED_BY(m_lockStart);
    std::atomic<DWORD> m_dwSystemError{0};

    mutable CNativeLock m_lock;
    CNativeCondition m_changed;
    std::shared_ptr<const StartedProcess> m_pStarted NXL_GUARDED_BY(m_lock);  // or found
    std::shared_ptr<const StartedProcess> m_pPeer
        NXL_GUARDED_BY(m_lock);                    // at the other end of the connection that spoke last
    bool m_bFound NXL_GUARDED_BY(m_lock) = false;  // m_pStarted ran already
    std::deque<ReceivedFrame> m_frames NXL_GUARDED_BY(m_lock);
    std::uint32_t m_nConnections NXL_GUARDED_BY(m_lock) = 0;
    bool m_bConnected NXL_GUARDED_BY(m_lock) = false;
    bool m_bSpoke NXL_GUARDED_BY(m_lock) =
        false;  // this connection has sent something, so it is the helper's and no probe
    bool m_bLost NXL_GUARDED_BY(m_lock) = false;          // a connection that had spoken was lost and no other has come
    bool m_bProcessEnded NXL_GUARDED_BY(m_lock) = false;  // m_pStarted has
    std::uint64_t m_nProcessEndedAt NXL_GUARDED_BY(m_lock) = 0;  // tick count
    bool m_bClosed NXL_GUARDED_BY(m_lock) = false;
};
