#include "client/caller.h"

#include <algorithm>
#include <new>
#include <utility>

#include "client/payload_sink.h"
#include "client/reason.h"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "ipc/protocol/envelope.h"
#include "ipc/protocol/message_type.h"
#include "ipc/transport/frame.h"
#include "ipc/transport/pipe_names.h"

namespace {

// A process that ends right after connecting is noticed on another thread than its connection: for so long the
// connection may still turn up.
constexpr std::uint32_t kLateConnectionMs = 500;

// One write carries a whole frame, header included.
constexpr std::size_t kMaxSentPayload = 0xFFFFFFFFu - kFrameHeaderSize;

ReceivedFrame ReadFrame(std::string payload) {
    ReceivedFrame frame;
    Json::Value root;
    if (ParseJson(payload, root) && root.isObject()) {
        const Json::Value* type = FindJsonMember(root, "message_type");
        if (type != nullptr && IsJsonInteger(*type)) {
            frame.nType = type->asInt();
            frame.content = root["content"];
            const Json::Value* call = frame.content.isObject() ? FindJsonMember(frame.content, kCallKey) : nullptr;
            // Numbers of calls are our own and have 64 bits.
            const bool bNumber = call != nullptr && (call->type() == Json::intValue || call->type() == Json::uintValue);
            frame.nCall = bNumber && call->isInt64() ? call->asInt64() : 0;
        }
    }
    frame.strPayload = std::move(payload);
    return frame;
}

}  // namespace

CCaller::CCaller(std::wstring strMark, std::string strServiceId)
    : m_strMark(std::move(strMark)),
      m_strServiceId(std::move(strServiceId)),
      m_strPipeName(ServicePipeName(m_strMark, m_strServiceId)),
      m_strGateName(ServiceEventName(m_strMark, m_strServiceId)),
      m_grantForeground([](DWORD processId) { AllowSetForegroundWindow(processId); }),
      m_pipe(m_strPipeName, m_strGateName, *this),
      m_watchStarted([this] { OnProcessEnded(); }),
      m_watchPeer([this] { m_changed.NotifyAll(); }) {}

CCaller::~CCaller() {
    Close();
}

CallerResult CCaller::Open() {
    DWORD systemError = 0;
    const CallerResult result = m_pipe.Start(systemError);
    m_dwSystemError = systemError;
    if (result == CallerResult::Ok) {
        Tell(CallerLevel::Info, "serves " + Utf16ToUtf8(m_strPipeName));
    }
    return result;
}

void CCaller::Shutdown() {
    {
        const CNativeGuard lock(m_lock);
        m_bClosed = true;
    }
    m_changed.NotifyAll();
    m_pipe.RequestStop();
}

void CCaller::Close() {
    Shutdown();
    const CNativeGuard closeLock(m_lockClose);
    // Not under m_lockStart, which the pipe's thread takes for a process to watch.
    m_pipe.Stop();
    const CNativeGuard startLock(m_lockStart);
    m_watchStarted.Stop();
    m_watchPeer.Stop();
}

CallerResult CCaller::StartHelper(HelperStart start) {
    start.strMark = m_strMark;
    start.strServiceId = m_strServiceId;
    std::wstring commandLine;
    CallerResult result = BuildHelperCommandLine(start, commandLine);
    if (result != CallerResult::Ok) {
        return result;
    }
    ExpectHelper();
    StartedProcess process;
    DWORD systemError = 0;
    result = StartProgram(start.strExe, commandLine, process, systemError);
    m_dwSystemError = systemError;
    if (result != CallerResult::Ok) {
        return result;
    }
    Tell(CallerLevel::Info,
         "started " + Utf16ToUtf8(start.strExe) + " as process " + std::to_string(process.dwProcessId));
    return WatchProcess(std::move(process));
}

void CCaller::ExpectHelper() {
    const CNativeGuard startLock(m_lockStart);
    m_watchStarted.Stop();
    std::shared_ptr<const StartedProcess> lost;  // its handle stays open until its watch has ended
    {
        const CNativeGuard lock(m_lock);
        m_pStarted.reset();
        m_bFound = false;
        if (!m_bConnected) {
            lost.swap(m_pPeer);
        }
        m_bProcessEnded = false;
        m_bLost = false;
    }
    if (lost != nullptr) {
        m_watchPeer.Stop();
    }
}

CallerResult CCaller::WatchProcess(StartedProcess process, bool found) {
    const CNativeGuard startLock(m_lockStart);
    m_watchStarted.Stop();
    const auto watched = std::make_shared<const StartedProcess>(std::move(process));
    {
        const CNativeGuard lock(m_lock);
        if (m_bClosed) {
            return CallerResult::Closed;
        }
        m_pStarted = watched;
        m_bFound = found;
        m_bProcessEnded = false;
    }
    if (watched->hProcess && !m_watchStarted.Begin(watched->hProcess.get())) {
        m_dwSystemError = GetLastError();
        return CallerResult::SystemError;
    }
    return CallerResult::Ok;
}

void CCaller::OnProcessEnded() {
    {
        const CNativeGuard lock(m_lock);
        m_bProcessEnded = true;
        m_nProcessEndedAt = GetTickCount64();
    }
    m_changed.NotifyAll();
}

void CCaller::TakePeer() {
    StartedProcess process;
    process.dwProcessId = m_pipe.ClientProcessId();
    if (process.dwProcessId == 0) {
        return;
    }
    process.hProcess.reset(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process.dwProcessId));
    const auto peer = std::make_shared<const StartedProcess>(std::move(process));
    Tell(CallerLevel::Info, "the helper is process " + std::to_string(peer->dwProcessId));
    const CNativeGuard startLock(m_lockStart);
    m_watchPeer.Stop();
    {
        const CNativeGuard lock(m_lock);
        if (m_bClosed) {
            return;
        }
        m_pPeer = peer;
    }
    if (peer->hProcess) {
        // Without the watch the end is told by the loss of the connection.
        m_watchPeer.Begin(peer->hProcess.get());
    }
}

void CCaller::OnConnected() {
    m_cutter = CFrameCutter();
    m_bTookPeer = false;
    {
        const CNativeGuard lock(m_lock);
        ++m_nConnections;
        m_bConnected = true;
        m_bSpoke = false;
    }
    m_changed.NotifyAll();
    Tell(CallerLevel::Debug, "somebody has connected");
}

void CCaller::OnBytes(const char* data, std::size_t size) {
    try {
        m_cutter.Append(data, size);
        CPayloadSink sink([this](std::string payload) { OnPayload(std::move(payload)); });
        m_cutter.DispatchFrames(&sink);
    } catch (const std::bad_alloc&) {
        // Where memory for a frame is lacking, the connection ends and not the caller's process.
        m_cutter = CFrameCutter();
        m_pipe.Disconnect();
        Tell(CallerLevel::Error, "there is no memory for a frame; the connection ends");
    }
    m_changed.NotifyAll();
}

void CCaller::OnPayload(std::string payload) {
    if (!m_bTookPeer) {
        m_bTookPeer = true;
        TakePeer();
    }
    if (m_observer) {
        m_observer(FrameDirection::Received, payload);
    }
    ReceivedFrame frame = ReadFrame(std::move(payload));
    bool full = false;
    const bool reply = frame.nCall != 0;
    {
        const CNativeGuard lock(m_lock);
        m_bSpoke = true;
        m_bLost = false;
        if (!reply) {
            m_frames.push_back(std::move(frame));
            full = m_frames.size() > kMaxKeptFrames;
            if (full) {
                m_frames.pop_front();
            }
        }
    }
    if (reply && (!m_takeReply || !m_takeReply(frame))) {
        Tell(CallerLevel::Warning, "a reply came after its request was over, and was dropped");
    } else if (full) {
        Tell(CallerLevel::Warning, "nobody takes the frames that come; the oldest was dropped");
    }
}

void CCaller::OnLost() {
    bool tell = false;
    {
        const CNativeGuard lock(m_lock);
        m_bConnected = false;
        m_bLost = m_bLost || m_bSpoke;
        tell = m_bSpoke && !m_bClosed;
    }
    m_changed.NotifyAll();
    if (m_lostReplies) {
        m_lostReplies();
    }
    if (tell) {
        Tell(CallerLevel::Warning, "the connection to the helper was lost");
        if (m_gone) {
            m_gone();
        }
    }
}

bool CCaller::IsGone() const {
    if (m_bConnected) {
        return false;
    }
    return m_bLost || (m_bProcessEnded && GetTickCount64() - m_nProcessEndedAt >= kLateConnectionMs);
}

template <typename Ready>
CallerResult CCaller::WaitUntil(const CDeadline& deadline, bool endsWhenGone, Ready ready) {
    CNativeHold lock(m_lock);
    for (;;) {
        // First, so that what the closing itself brings about is not told as an outcome.
        if (m_bClosed) {
            return CallerResult::Closed;
        }
        if (ready()) {
            return CallerResult::Ok;
        }
        if (endsWhenGone && IsGone()) {
            return CallerResult::Gone;
        }
        std::uint32_t left = deadline.RemainingMs();
        if (left == 0) {
            return CallerResult::Timeout;
        }
        if (m_bProcessEnded && !m_bConnected) {
            // Nothing will wake this wait when the late connection does not come.
            left = std::min(left, kLateConnectionMs / 10);
        }
        m_changed.Wait(lock, left);
    }
}

CallerResult CCaller::WaitForFrame(int nType, std::uint32_t timeoutMs, ReceivedFrame& frame) {
    return WaitUntil(CDeadline(timeoutMs), /*endsWhenGone=*/true, [&] {
        m_lock.AssertHeld();
        const auto found = std::find_if(m_frames.begin(), m_frames.end(),
                                        [nType](const ReceivedFrame& one) { return nType == 0 || one.nType == nType; });
        if (found == m_frames.end()) {
            return false;
        }
        frame = std::move(*found);
        m_frames.erase(found);
        return true;
    });
}

CallerResult CCaller::WaitForConnection(std::uint32_t timeoutMs) {
    return WaitUntil(CDeadline(timeoutMs), /*endsWhenGone=*/false, [&] {
        m_lock.AssertHeld();
        return m_bConnected;
    });
}

CallerResult CCaller::WaitForLoss(std::uint32_t timeoutMs) {
    return WaitUntil(CDeadline(timeoutMs), /*endsWhenGone=*/false, [&] {
        m_lock.AssertHeld();
        return m_nConnections > 0 && !m_bConnected;
    });
}

CallerResult CCaller::WaitForClose(std::uint32_t timeoutMs) {
    return WaitUntil(CDeadline(timeoutMs), /*endsWhenGone=*/false, [] { return false; });
}

CallerResult CCaller::WaitForProcessEnd(std::uint32_t timeoutMs, DWORD& exitCode) {
    std::shared_ptr<const StartedProcess> process;
    const CallerResult result = WaitUntil(CDeadline(timeoutMs), /*endsWhenGone=*/false, [&] {
        m_lock.AssertHeld();
        process = m_pPeer != nullptr ? m_pPeer : m_pStarted;
        // The handle itself is asked: the callback comes a moment later.
        return process == nullptr || !process->hProcess ||
               WaitForSingleObject(process->hProcess.get(), 0) == WAIT_OBJECT_0;
    });
    if (result != CallerResult::Ok) {
        return result;
    }
    if (process == nullptr || !process->hProcess) {
        return CallerResult::NotConnected;
    }
    return GetExitCodeProcess(process->hProcess.get(), &exitCode) != FALSE ? CallerResult::Ok
                                                                           : CallerResult::SystemError;
}

std::shared_ptr<const StartedProcess> CCaller::HelperProcess() const {
    const CNativeGuard lock(m_lock);
    return m_pPeer != nullptr ? m_pPeer : m_pStarted;
}

bool CCaller::ProcessHasEnded(DWORD& exitCode) const {
    const std::shared_ptr<const StartedProcess> process = HelperProcess();
    return process != nullptr && process->hProcess &&
           WaitForSingleObject(process->hProcess.get(), 0) == WAIT_OBJECT_0 &&
           GetExitCodeProcess(process->hProcess.get(), &exitCode) != FALSE;
}

DWORD CCaller::ProcessId() const {
    const std::shared_ptr<const StartedProcess> process = HelperProcess();
    return process != nullptr ? process->dwProcessId : 0;
}

bool CCaller::Forwarded() const {
    const CNativeGuard lock(m_lock);
    return m_pStarted != nullptr &&
           (m_bFound || (m_pPeer != nullptr && m_pPeer->dwProcessId != m_pStarted->dwProcessId));
}

std::uint32_t CCaller::Connections() const {
    const CNativeGuard lock(m_lock);
    return m_nConnections;
}

CallerResult CCaller::Send(int nType, Json::Value content, std::uint32_t timeoutMs) {
    if (nType == static_cast<int>(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN)) {
        if (const DWORD helper = ProcessId(); helper != 0) {
            m_grantForeground(helper);
        }
    }
    return SendPayload(WriteEnvelope(nType, std::move(content)), timeoutMs);
}

CallerResult CCaller::SendPayload(std::string_view payload, std::uint32_t timeoutMs) {
    if (payload.size() > kMaxSentPayload) {
        return BadArgument("the payload is larger than a frame can be");
    }
    if (m_observer && m_pipe.Connected()) {
        m_observer(FrameDirection::Sent, payload);
    }
    return SendBytes(BuildFrame(payload), timeoutMs);
}

CallerResult CCaller::SendBytes(std::string_view bytes, std::uint32_t timeoutMs) {
    const CallerResult result = m_pipe.Send(bytes, timeoutMs);
    if (result != CallerResult::NotConnected && result != CallerResult::Gone) {
        return result;
    }
    // A write that breaks because this side closes is not a loss of the helper. The pipe knows of a loss a moment
    // before OnLost tells it here.
    const CNativeGuard lock(m_lock);
    const bool beingLost = m_bConnected && m_bSpoke;
    return m_bClosed ? CallerResult::Closed : beingLost || IsGone() ? CallerResult::Gone : result;
}
