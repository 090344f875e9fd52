#include "client/client.h"

#include <algorithm>
#include <atomic>
#include <cstdio>

#include "client/mark_turn.h"
#include "client/open_turns.h"
#include "client/reason.h"
#include "foundation/json_text.h"
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
    std::snprintf(text, sizeof text, "p%lu-%llx-%u", static_cast<unsigned long>(GetCurrentProcessId()),
                  static_cast<unsigned long long>(ticks / 10000 & 0xFFFFFFFF), ++counter);
    return text;
}

std::string TextUnder(const Json::Value& object, const char* key) {
    const Json::Value* value = object.isObject() ? FindJsonMember(object, key) : nullptr;
    return value != nullptr && value->isString() ? value->asString() : std::string();
}

}  // namespace

// Keeps the thread's id for the length of a callback.
class CClient::CCallbackScope {
  public:
    explicit CCallbackScope(CClient& client, bool diagnostic = false) : m_client(client) {
        const CNativeGuard lock(m_client.m_lockCallbacks);
        m_client.m_vecCallbacks.push_back({GetCurrentThreadId(), diagnostic});
    }
    ~CCallbackScope() {
        const CNativeGuard lock(m_client.m_lockCallbacks);
        auto& callbacks = m_client.m_vecCallbacks;
        // The latest of this thread: one callback may lie in another.
        const auto own = std::find_if(callbacks.rbegin(), callbacks.rend(),
                                      [](const Callback& one) { return one.dwThread == GetCurrentThreadId(); });
        callbacks.erase(std::next(own).base());
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
      m_pfnDiagnostic(options.on_diagnostic),
      m_nDiagnosticLevel(options.diagnostic_level),
      m_pLine(std::make_shared<CRequestLine>([this](int nType, Json::Value content, std::uint32_t timeoutMs) {
          return SendRequest(nType, std::move(content), timeoutMs);
      })),
      m_caller(Utf8ToUtf16(options.mark), options.service_id != nullptr ? options.service_id : UniqueServiceId()) {
    m_caller.SetReplyHandler(
        [this](ReceivedFrame& frame) { return m_pLine->TakeReply(frame.nCall, frame.nType, frame.content); },
        [this] {
            m_pLine->Lose();
            OpensOver(this);
        });
    if (m_pfnFrame != nullptr) {
        m_caller.SetObserver([this](FrameDirection direction, std::string_view payload) {
            const CCallbackScope scope(*this);
            // The payload is in a string, so a zero follows it.
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
    if (m_pfnDiagnostic != nullptr) {
        m_caller.SetTeller(
            [this](CallerLevel level, const std::string& text) { Tell(static_cast<std::int32_t>(level), text); });
    }
}

void CClient::Tell(std::int32_t level, const std::string& text) {
    // What a diagnostic callback does wrong itself is not told to it.
    if (Tells(level) && !InCallback(/*diagnostic=*/true)) {
        const CCallbackScope scope(*this, /*diagnostic=*/true);
        m_pfnDiagnostic(m_pContext, m_nHandle, level, text.c_str());
    }
}

bool CClient::InCallback(bool diagnostic) const {
    const CNativeGuard lock(m_lockCallbacks);
    return std::any_of(m_vecCallbacks.begin(), m_vecCallbacks.end(), [&](const Callback& one) {
        return one.dwThread == GetCurrentThreadId() && (one.bDiagnostic || !diagnostic);
    });
}

CallerResult CClient::CheckCall(int nType, const Json::Value& content) {
    if (ReplyTypeOf(nType) == 0) {
        return BadArgument("type " + std::to_string(nType) + " has no reply");
    }
    if (!content.isObject() || content.isMember(kCallKey)) {
        return BadArgument(content.isObject() ? "content_json has the library's own key \"nexlet_call\""
                                              : "content_json is not an object");
    }
    return CallerResult::Ok;
}

RequestRules CClient::RulesOf(int nType, const Json::Value& content, std::uint32_t timeoutMs) {
    const bool asks = nType == NEXLET_TYPE_POLL;
    if (!asks && nType != NEXLET_TYPE_OPEN) {
        return {};
    }
    const Json::Value* p1 = FindJsonMember(content, "p1");
    Json::Value question;
    if (p1 != nullptr && asks && p1->isString() && ParseJson(p1->asString(), question)) {
        p1 = &question;
    }
    // The helper refuses an open without these, and the one before remains.
    if (p1 == nullptr || !p1->isObject() || TextUnder(*p1, "type") != "miniApp" || TextUnder(*p1, "from").empty() ||
        TextUnder(*p1, "taskId").empty() || (!asks && TextUnder(*p1, "appId").empty())) {
        return {};
    }
    RequestRules rules;
    const std::wstring mark = m_caller.Mark();
    const std::string task = TextUnder(*p1, "taskId");
    if (!asks) {
        rules.mayBegin = [this, mark, task, timeoutMs] { return BeginOpen(mark, task, this, timeoutMs); };
        rules.ends = [mark, task](CallerResult result, const Json::Value& reply) {
            if (result == CallerResult::Ok) {
                OpenAnswered(mark, task, TextUnder(reply, "result") == "1");
            } else if (result == CallerResult::NotConnected) {
                OpenSettled(mark, task);
            }
            return result;
        };
        return rules;
    }
    // Before the question is sent: what overtakes it later need not have kept it from settling.
    const auto overtaken = std::make_shared<bool>(false);
    rules.mayBegin = [mark, task, overtaken] {
        *overtaken = OpenWasOvertaken(mark, task);
        return true;
    };
    rules.ends = [mark, task, overtaken](CallerResult result, const Json::Value& reply) {
        if (result != CallerResult::Ok) {
            return result;
        }
        if (TextUnder(reply, "result") == "Loading") {
            OpenLoading(mark, task);
            return *overtaken ? CallerResult::Overtaken : result;
        }
        OpenSettled(mark, task);
        return result;
    };
    return rules;
}

CallerResult CClient::Call(int nType, Json::Value content, std::uint32_t timeoutMs, Json::Value& reply) {
    CallerResult result = CheckCall(nType, content);
    if (result != CallerResult::Ok) {
        return result;
    }
    RequestRules rules = RulesOf(nType, content, timeoutMs);
    const auto request = std::make_shared<CRequest>(nType, std::move(content), timeoutMs, std::move(rules));
    result = m_pLine->Begin(request, /*waited=*/true);
    if (result != CallerResult::Ok) {
        return result;
    }
    m_pLine->Wait(*request);
    reply = request->Reply();
    SetReason(request->Reason());
    return request->Result();
}

CallerResult CClient::MakeRequest(int nType, Json::Value content, std::uint32_t timeoutMs, CRequest::Done done,
                                  std::shared_ptr<CRequest>& request) {
    const CallerResult result = CheckCall(nType, content);
    if (result != CallerResult::Ok) {
        return result;
    }
    CRequest::Done scoped;
    if (done) {
        scoped = [this, done = std::move(done)](const CRequest& ended) {
            const CCallbackScope scope(*this);
            done(ended);
        };
    }
    RequestRules rules = RulesOf(nType, content, timeoutMs);
    request = std::make_shared<CRequest>(nType, std::move(content), timeoutMs, std::move(rules), std::move(scoped));
    return CallerResult::Ok;
}

CallerResult CClient::SendRequest(int nType, Json::Value content, std::uint32_t timeoutMs) {
    if (Tells(NEXLET_LEVEL_DEBUG)) {
        Tell(NEXLET_LEVEL_DEBUG, "sends a request of type " + std::to_string(nType));
    }
    return m_caller.Send(nType, std::move(content), timeoutMs);
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

void CClient::BeginClose() {
    m_bClosed = true;
    // First, so that requests end with the closing and not with what it brings about.
    m_pLine->Shutdown();
    OpensOver(this);
    m_turnStart.Close();
    CMarkTurn::Wake();
}

void CClient::Shutdown() {
    BeginClose();
    m_caller.Shutdown();
}

void CClient::Close() {
    BeginClose();
    m_caller.Close();
    m_pLine->Close();
    OpensOver(this);
}
