#include "client/caller.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "client/payload_sink.h"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "ipc/envelope.h"
#include "ipc/frame.h"
#include "ipc/pipe_names.h"

namespace {

// A process that ends right after connecting is noticed on another thread than its connection: for so long the
// connection may still turn up.
constexpr std::uint64_t kLateConnectionMs = 500;

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
      m_pipe(m_strPipeName, m_strGateName, *this) {}

CCaller::~CCaller() {
    Close();
}

CallerResult CCaller::Open() {
    return m_pipe.Start(m_dwSystemError);
}

void CCaller::Close() {
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_bClosed = true;
    }
    m_changed.notify_all();
    m_pipe.Stop();
    StopWatchingProcess();
}

CallerResult CCaller::StartHelper(HelperStart start) {
    start.strMark = m_strMark;
    start.strServiceId = m_strServiceId;
    std::wstring commandLine;
    CallerResult result = BuildHelperCommandLine(start, commandLine);
    if (result != CallerResult::Ok) {
        return result;
    }
    StopWatchingProcess();
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_bProcessEnded = false;
        m_bLost = false;
    }
    result = StartProgram(start.strExe, commandLine, m_process, m_dwSystemError);
    if (result != CallerResult::Ok) {
        return result;
    }
    if (RegisterWaitForSingleObject(&m_hProcessWait, m_process.hProcess.get(), ProcessEnded, this, INFINITE,
                                    WT_EXECUTEONLYONCE) == FALSE) {
        m_dwSystemError = GetLastError();
        m_hProcessWait = nullptr;
        return CallerResult::SystemError;
    }
    return CallerResult::Ok;
}

void CCaller::StopWatchingProcess() {
    if (m_hProcessWait != nullptr) {
        // Waits for a callback that is under way.
        UnregisterWaitEx(m_hProcessWait, INVALID_HANDLE_VALUE);
        m_hProcessWait = nullptr;
    }
}

void CALLBACK CCaller::ProcessEnded(void* self, BOOLEAN /*timedOut*/) {
    auto* caller = static_cast<CCaller*>(self);
    {
        const std::lock_guard<std::mutex> lock(caller->m_lock);
        caller->m_bProcessEnded = true;
        caller->m_nProcessEndedAt = GetTickCount64();
    }
    caller->m_changed.notify_all();
}

void CCaller::OnConnected() {
    m_cutter = CFrameCutter();
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        ++m_nConnections;
        m_bConnected = true;
        m_bSpoke = false;
    }
    m_changed.notify_all();
}

void CCaller::OnBytes(const char* data, std::size_t size) {
    m_cutter.Append(data, size);
    CPayloadSink sink([this](std::string payload) { OnPayload(std::move(payload)); });
    m_cutter.DispatchFrames(&sink);
    m_changed.notify_all();
}

void CCaller::OnPayload(std::string payload) {
    if (m_observer) {
        m_observer(FrameDirection::Received, payload);
    }
    ReceivedFrame frame = ReadFrame(std::move(payload));
    const std::lock_guard<std::mutex> lock(m_lock);
    m_frames.push_back(std::move(frame));
    m_bSpoke = true;
    m_bLost = false;
}

void CCaller::OnLost() {
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_bConnected = false;
        m_bLost = m_bLost || m_bSpoke;
    }
    m_changed.notify_all();
}

bool CCaller::IsGone() const {
    if (m_bConnected) {
        return false;
    }
    return m_bLost || (m_bProcessEnded && GetTickCount64() - m_nProcessEndedAt >= kLateConnectionMs);
}

template <typename Ready>
CallerResult CCaller::WaitUntil(std::uint32_t timeoutMs, bool endsWhenGone, Ready ready) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    std::unique_lock<std::mutex> lock(m_lock);
    for (;;) {
        if (ready()) {
            return CallerResult::Ok;
        }
        if (m_bClosed) {
            return CallerResult::Closed;
        }
        if (endsWhenGone && IsGone()) {
            return CallerResult::Gone;
        }
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadline) {
            return CallerResult::Timeout;
        }
        auto until = deadline;
        if (m_bProcessEnded && !m_bConnected) {
            // Nothing will wake this wait when the late connection does not come.
            until = std::min(until, now + std::chrono::milliseconds(kLateConnectionMs / 10));
        }
        m_changed.wait_until(lock, until);
    }
}

CallerResult CCaller::WaitForFrame(int nType, std::uint32_t timeoutMs, ReceivedFrame& frame) {
    return WaitUntil(timeoutMs, /*endsWhenGone=*/true, [&] {
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
    return WaitUntil(timeoutMs, /*endsWhenGone=*/false, [&] { return m_bConnected; });
}

CallerResult CCaller::WaitForLoss(std::uint32_t timeoutMs) {
    return WaitUntil(timeoutMs, /*endsWhenGone=*/false, [&] { return m_nConnections > 0 && !m_bConnected; });
}

CallerResult CCaller::WaitForProcessEnd(std::uint32_t timeoutMs, DWORD& exitCode) {
    if (!m_process.hProcess) {
        return CallerResult::NotConnected;
    }
    switch (WaitForSingleObject(m_process.hProcess.get(), timeoutMs)) {
        case WAIT_OBJECT_0:
            break;
        case WAIT_TIMEOUT:
            return CallerResult::Timeout;
        default:
            return CallerResult::SystemError;
    }
    return GetExitCodeProcess(m_process.hProcess.get(), &exitCode) != FALSE ? CallerResult::Ok
                                                                            : CallerResult::SystemError;
}

std::uint32_t CCaller::Connections() const {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_nConnections;
}

CallerResult CCaller::Send(int nType, Json::Value content, std::uint32_t timeoutMs) {
    return SendPayload(WriteEnvelope(nType, std::move(content)), timeoutMs);
}

CallerResult CCaller::SendPayload(std::string_view payload, std::uint32_t timeoutMs) {
    if (payload.size() > kMaxSentPayload) {
        return CallerResult::BadArgument;
    }
    if (m_observer) {
        m_observer(FrameDirection::Sent, payload);
    }
    return SendBytes(BuildFrame(payload), timeoutMs);
}

CallerResult CCaller::SendBytes(std::string_view bytes, std::uint32_t timeoutMs) {
    const CallerResult result = m_pipe.Send(bytes, timeoutMs);
    if (result != CallerResult::NotConnected) {
        return result;
    }
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_bClosed ? CallerResult::Closed : IsGone() ? CallerResult::Gone : result;
}
