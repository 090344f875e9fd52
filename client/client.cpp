#include "client/client.h"

#include <algorithm>
#include <atomic>
#include <cstdio>

#include "client/mark_turn.h"
#include "foundation/text_helpers.h"
#include "ipc/protocol/request_table.h"

namespace {

// The last instance and the process go within the same look; what comes between is the SDKs' own end.
constexpr std::uint32_t kProcessEndMs = 5000;

// One that no other client of the machine has: the process, when it began, and a number within it. A process id comes
// again, a process id of the same beginning does not.
std::string UniqueServiceId() {
    static std::atomic<std::uint32_t> counter{0};
    FILETIME began = {};
    FILETIME unused[3] = {};
    GetProcessTimes(GetCurrentProcess(), &began, &unused[0], &unused[1], &unused[2]);
    const std::uint64_t ticks = std::uint64_t{began.dwHighDateTime} << 32 | began.dwLowDateTime;
    char text[64];
    std::snprintf(text, sizeof text, "p%lu-%llx-%u", GetCurrentProcessId(),
                  static_cast<unsigned long long>(ticks / 10000 & 0xFFFFFFFF), ++counter);
    return text;
}

}  // namespace

// Keeps the thread's id for the length of a callback.
class CClient::CCallbackScope {
  public:
    explicit CCallbackScope(CClient& client) : m_client(client) {
        const CNativeGuard lock(m_client.m_lockCallbacks);
        m_client.m_vecCallbackThreads.push_back(GetCurrentThreadId());
    }
    ~CCallbackScope() {
        const CNativeGuard lock(m_client.m_lockCallbacks);
        auto& threads = m_client.m_vecCallbackThreads;
        threads.erase(std::find(threads.begin(), threads.end(), GetCurrentThreadId()));
    }
    CCallbackScope(const CCallbackScope&) = delete;
    CCallbackScope& operator=(const CCallbackScope&) = delete;

  private:
    CClient& m_client;
};

CClient::CClient(nexlet_client nHandle, const nexlet_options& options)
    : m_nHandle(nHandle),
      m_pContext(options.context),
      m_pfnGone(options.on_gone),
      m_pfnFrame(options.on_frame),
      m_caller(Utf8ToUtf16(options.mark), options.service_id != nullptr ? options.service_id : UniqueServiceId()) {
    if (m_pfnFrame != nullptr) {
        m_caller.SetObserver([this](FrameDirection direction, std::string_view payload) {
            const CCallbackScope scope(*this);
            // The payload stands in a string, so a zero stands behind it.
            m_pfnFrame(m_pContext, m_nHandle, direction == FrameDirection::Sent ? NEXLET_SENT : NEXLET_RECEIVED,
                       payload.data(), payload.size());
        });
    }
    if (m_pfnGone != nullptr) {
        m_caller.SetGoneHandler([this] {
            const CCallbackScope scope(*this);
            m_pfnGone(m_pContext, m_nHandle);
        });
    }
}

bool CClient::InCallback() const {
    const CNativeGuard lock(m_lockCallbacks);
    return std::find(m_vecCallbackThreads.begin(), m_vecCallbackThreads.end(), GetCurrentThreadId()) !=
           m_vecCallbackThreads.end();
}

CallerResult CClient::Call(int nType, Json::Value content, std::uint32_t timeoutMs, Json::Value& reply) {
    if (ReplyTypeOf(nType) == 0 || !content.isObject() || content.isMember(kCallKey)) {
        return CallerResult::BadArgument;
    }
    const CDeadline deadline(timeoutMs);
    const CTurnScope turn(m_turns[static_cast<std::size_t>(nType - kFirstCall)], deadline);
    if (turn.Result() != CallerResult::Ok) {
        return turn.Result();
    }
    ReceivedFrame frame;
    const CallerResult result =
        m_caller.Call(nType, std::move(content), ReplyTypeOf(nType), deadline.RemainingMs(), frame);
    if (result == CallerResult::Ok) {
        frame.content.removeMember(kCallKey);
        reply.swap(frame.content);
    }
    return result;
}

CallerResult CClient::Exit(std::uint32_t timeoutMs, bool& ended) {
    const CDeadline deadline(timeoutMs);
    Json::Value content(Json::objectValue);
    content["service_id"] = m_caller.ServiceId();
    CallerResult result =
        m_caller.Send(static_cast<int>(MessageType::S_MT_ExitExeProcess), std::move(content), timeoutMs);
    if (result == CallerResult::Ok) {
        result = m_caller.WaitForLoss(deadline.RemainingMs());
    }
    if (result == CallerResult::Ok) {
        DWORD exitCode = 0;
        ended =
            m_caller.WaitForProcessEnd(std::min(kProcessEndMs, deadline.RemainingMs()), exitCode) == CallerResult::Ok;
    }
    return result;
}

void CClient::CloseTurns() {
    m_bClosed = true;
    m_turnStart.Close();
    CMarkTurn::Wake();
    for (CTurn& turn : m_turns) {
        turn.Close();
    }
}

void CClient::Shutdown() {
    CloseTurns();
    m_caller.Shutdown();
}

void CClient::Close() {
    CloseTurns();
    m_caller.Close();
}
