#include "simulation/worlds/client_calls.h"

#include <algorithm>
#include <initializer_list>
#include <memory>

#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "simulation/worlds/helper_program.h"
#include "simulation/worlds/world.h"

namespace simulation {
namespace {

// Beyond its limit a call may take this long: looks, turns, and waits that have a limit of their own.
constexpr std::uint32_t kGraceMs = 2500;
// A close has no limit. It waits for calls, callbacks and threads, which have.
constexpr std::uint32_t kCloseMs = 60000;

std::string Describe(const char* szCall, nexlet_result result) {
    return std::string(szCall) + " gives " + nexlet_result_name(result);
}

bool IsOneOf(nexlet_result result, std::initializer_list<nexlet_result> results) {
    return std::find(results.begin(), results.end(), result) != results.end();
}

// One call from its begin to its end.
class CTimed {
  public:
    CTimed(ClientFacts& facts, const char* szCall, std::uint32_t nLimitMs)
        : m_facts(facts),
          m_szCall(szCall),
          m_nLimitMs(nLimitMs),
          m_nBegan(GetTickCount64()),
          m_bWasClosed(facts.bClosed),
          m_bWasShut(facts.bShut) {}

    // results are beside what every call may give.
    void End(nexlet_result result, std::initializer_list<nexlet_result> results) const {
        const std::string strWhat = Describe(m_szCall, result);
        Hold(!m_bWasClosed || result == NEXLET_BAD_HANDLE, strWhat + " after the close");
        Hold(!m_bWasShut || IsOneOf(result, {NEXLET_CLOSED, NEXLET_BAD_HANDLE}), strWhat + " after the shutdown");
        const bool bOver = IsOneOf(result, {NEXLET_CLOSED, NEXLET_BAD_HANDLE});
        Hold(!bOver || m_facts.bEnding, strWhat + " although nobody has closed the client");
        const bool bRefused = result == NEXLET_SYSTEM_ERROR && m_facts.pRules->bFaults;
        Hold(bOver || bRefused || IsOneOf(result, results), strWhat + ", which its page does not name");
        Hold(GetTickCount64() - m_nBegan <= m_nLimitMs + kGraceMs, std::string(m_szCall) + " takes longer than it may");
        Hold(result == NEXLET_OK || nexlet_last_error_text()[0] != 0 || m_facts.pRules->bFaults,
             strWhat + " without a reason");
    }

  private:
    ClientFacts& m_facts;
    const char* const m_szCall;
    const std::uint32_t m_nLimitMs;
    const std::uint64_t m_nBegan;
    const bool m_bWasClosed;
    const bool m_bWasShut;
};

// A text that the library hands out.
class CText {
  public:
    CText() = default;
    ~CText() { nexlet_free(m_szText); }
    CText(const CText&) = delete;
    CText& operator=(const CText&) = delete;
    char** Out() { return &m_szText; }
    void Check(const char* szCall, nexlet_result result) const {
        Hold((m_szText != nullptr) == (result == NEXLET_OK), Describe(szCall, result) + " and writes its text or not");
    }
    std::string Text() const { return m_szText != nullptr ? m_szText : ""; }

  private:
    char* m_szText = reinterpret_cast<char*>(std::uintptr_t{16});  // what a function must set
};

class CInCallback {
  public:
    explicit CInCallback(ClientFacts& facts) : m_facts(facts) {
        Hold(!facts.bClosed, "a callback comes after the close has returned");
        ++m_facts.nCallbacks;
    }
    ~CInCallback() { --m_facts.nCallbacks; }
    CInCallback(const CInCallback&) = delete;
    CInCallback& operator=(const CInCallback&) = delete;

  private:
    ClientFacts& m_facts;
};

// What programs do inside a callback, right and wrong.
void DoInCallback(ClientFacts& facts) {
    CRandom& random = facts.callbackRandom;
    if (facts.client == 0) {
        return;  // nexlet_open has not returned
    }
    const nexlet_client client = facts.client;
    switch (random.Below(24)) {
        case 0: {
            nexlet_app_status status = {};
            status.struct_size = sizeof status;
            const nexlet_result result = nexlet_status(client, 1000, &status);
            Hold(IsOneOf(result, {NEXLET_WRONG_THREAD, NEXLET_BAD_HANDLE}),
                 Describe("nexlet_status in a callback", result));
            break;
        }
        case 1: {
            const nexlet_result result = nexlet_close(client);
            Hold(IsOneOf(result, {NEXLET_WRONG_THREAD, NEXLET_BAD_HANDLE}),
                 Describe("nexlet_close in a callback", result));
            break;
        }
        case 2: {
            nexlet_helper helper = {};
            helper.struct_size = sizeof helper;
            const nexlet_result result = nexlet_helper_process(client, &helper);
            Hold(IsOneOf(result, {NEXLET_OK, NEXLET_BAD_HANDLE}),
                 Describe("nexlet_helper_process in a callback", result));
            break;
        }
        case 3:
            if (random.OneIn(6)) {
                facts.bEnding = true;
                nexlet_shutdown(client);
            }
            break;
        case 4: {
            // A handle that a close has taken away belongs to nobody, whatever thread asks.
            const bool bInside = nexlet_in_callback(client) == 1;
            Hold(bInside || facts.bEnding, "a callback does not know that it is one");
            break;
        }
        default:
            break;
    }
}

void NEXLET_CALL OnGone(void* pContext, nexlet_client) {
    auto& facts = *static_cast<ClientFacts*>(pContext);
    const CInCallback inside(facts);
    Hold(facts.bSpoke, "a loss is told twice, or of a connection that said nothing");
    facts.bSpoke = false;
    ++facts.nGone;
    DoInCallback(facts);
}

void NEXLET_CALL OnFrame(void* pContext, nexlet_client, int32_t direction, const char*, size_t) {
    auto& facts = *static_cast<ClientFacts*>(pContext);
    const CInCallback inside(facts);
    facts.bSpoke = facts.bSpoke || direction == NEXLET_RECEIVED;
    DoInCallback(facts);
}

void NEXLET_CALL OnDiagnostic(void* pContext, nexlet_client, int32_t, const char* szText) {
    auto& facts = *static_cast<ClientFacts*>(pContext);
    const CInCallback inside(facts);
    Hold(szText[0] != 0, "a diagnostic without a text");
    DoInCallback(facts);
}

struct Done {
    ClientFacts* pFacts;
    std::uint32_t nNumber;
};

// The reply to a request that bore a number bears the same.
void CheckReply(const std::string& strReply, std::uint32_t nNumber) {
    Json::Value reply;
    Hold(ParseJson(strReply, reply) && reply.isObject(), "a reply is not an object");
    const Json::Value* number = FindJsonMember(reply, "n");
    Hold(number != nullptr && number->isUInt() && number->asUInt() == nNumber, "a reply is another request's");
    Hold(FindJsonMember(reply, "nexlet_call") == nullptr, "a reply has the library's own number");
}

void NEXLET_CALL OnDone(void* pContext, nexlet_client, nexlet_request handle, const nexlet_outcome* pOutcome) {
    const std::unique_ptr<Done> pDone(static_cast<Done*>(pContext));
    ClientFacts& facts = *pDone->pFacts;
    const CInCallback inside(facts);
    BegunRequest& request = facts.begun.at(pDone->nNumber);
    Hold(++request.nDone == 1, "the end of a request is told twice");
    Hold(!request.bRefused, "the end of a request that has not begun is told");
    const nexlet_result result = pOutcome->result;
    Hold(IsOneOf(result,
                 {NEXLET_OK, NEXLET_TIMEOUT, NEXLET_NOT_CONNECTED, NEXLET_GONE, NEXLET_CLOSED, NEXLET_CANCELLED}) ||
             facts.pRules->bFaults,
         Describe("a request", result));
    const nexlet_result again = nexlet_request_result(handle, 0, nullptr, nullptr);
    Hold(again == result || (again == NEXLET_BAD_HANDLE && request.bHandleGone),
         "a request has another end by its handle");
    Hold(result != NEXLET_CLOSED || facts.bEnding, "a request ends with a close that did not begin");
    if (result == NEXLET_OK) {
        CheckReply(pOutcome->reply_json, pDone->nNumber);
    }
    if (facts.nDoneSleepsMs != 0 && facts.callbackRandom.OneIn(2)) {
        Sleep(facts.nDoneSleepsMs);
    }
    DoInCallback(facts);
}

std::string Numbered(std::uint32_t nNumber) {
    return "{\"n\":" + std::to_string(nNumber) + "}";
}

std::uint32_t DrawLimit(CRandom& random) {
    constexpr std::uint32_t kLimits[] = {0, 1, 20, 300, 2000, 20000, 60000};
    return kLimits[random.Below(std::size(kLimits))];
}

std::string DrawOpen(CRandom& random, bool bQuestion) {
    Json::Value open(Json::objectValue);
    open["type"] = random.OneIn(3) ? "yyb" : "miniApp";
    open["from"] = "world";
    open["taskId"] = "task" + std::to_string(random.Below(4));
    open["appId"] = "app";
    open["yybParam"] = "p";
    if (bQuestion) {
        open["interval"] = static_cast<int>(random.Below(3000));
    }
    return WriteJson(open);
}

void BeginRequest(ClientFacts& facts, CRandom& random) {
    const std::uint32_t nNumber = ++facts.nNumber;
    BegunRequest& begun = facts.begun[nNumber];
    begun.nTimeoutMs = DrawLimit(random);
    begun.nBeganMs = GetTickCount64();
    auto pDone = std::make_unique<Done>(Done{&facts, nNumber});
    nexlet_request_options options = {};
    options.struct_size = sizeof options;
    options.timeout_ms = begun.nTimeoutMs;
    options.context = pDone.get();
    options.on_done = &OnDone;
    nexlet_request request = 77;
    const CTimed timed(facts, "nexlet_begin", 0);
    Done* const pGiven = pDone.release();
    const nexlet_result result = nexlet_begin(facts.client, static_cast<int32_t>(2 + random.Below(2)),
                                              Numbered(nNumber).c_str(), &options, &request);
    timed.End(result, {NEXLET_OK});
    Hold((request != 0) == (result == NEXLET_OK), "nexlet_begin writes its handle or not");
    if (result != NEXLET_OK) {
        delete pGiven;
        begun.bRefused = true;
        Hold(begun.nDone == 0, "the end of a request that has not begun is told");
        return;
    }
    begun.bBegun = true;
    if (random.OneIn(3)) {
        void* hEnd = nullptr;
        if (nexlet_request_handle(request, &hEnd) == NEXLET_OK && random.OneIn(2)) {
            WaitForSingleObject(hEnd, begun.nTimeoutMs);
        }
    }
    if (random.OneIn(3)) {
        Hold(nexlet_cancel(request) == NEXLET_OK, "a request cannot be cancelled");
    }
    if (random.OneIn(2)) {
        CText word;
        CText reply;
        const nexlet_result ended =
            nexlet_request_result(request, begun.nTimeoutMs + kGraceMs, word.Out(), reply.Out());
        word.Check("nexlet_request_result", ended);
        reply.Check("nexlet_request_result", ended);
        Hold(ended != NEXLET_PENDING, "a request does not end at its limit");
        if (ended == NEXLET_OK) {
            CheckReply(reply.Text(), nNumber);
        }
    }
    begun.bHandleGone = true;
    Hold(nexlet_request_close(request) == NEXLET_OK, "a request cannot be closed");
    Hold(nexlet_request_close(request) == NEXLET_BAD_HANDLE, "a request can be closed twice");
}

}  // namespace

nexlet_result OpenClient(ClientFacts& facts) {
    nexlet_options options = {};
    options.struct_size = sizeof options;
    options.mark = facts.strMark.c_str();
    options.service_id = facts.strId.empty() ? nullptr : facts.strId.c_str();
    options.context = &facts;
    options.on_gone = &OnGone;
    options.on_frame = &OnFrame;
    options.on_diagnostic = &OnDiagnostic;
    options.diagnostic_level = NEXLET_LEVEL_DEBUG;
    return nexlet_open(&options, &facts.client);
}

void StartFor(ClientFacts& facts, std::uint32_t nTimeoutMs, std::uint32_t nFlags) {
    nexlet_start_options options = {};
    options.struct_size = sizeof options;
    options.flags = nFlags;
    options.program_path = kHelperFile;
    const CTimed timed(facts, "nexlet_start", nTimeoutMs);
    const nexlet_result result = nexlet_start(facts.client, &options, nTimeoutMs);
    timed.End(result, {NEXLET_OK, NEXLET_TIMEOUT, NEXLET_GONE,
                       facts.pRules->bNoProgram || facts.pRules->bFaults ? NEXLET_NOT_STARTED : NEXLET_OK});
}

void ShutDown(ClientFacts& facts) {
    facts.bEnding = true;
    const CTimed timed(facts, "nexlet_shutdown", 0);
    const nexlet_result result = nexlet_shutdown(facts.client);
    Hold(IsOneOf(result, {NEXLET_OK, NEXLET_BAD_HANDLE}), Describe("nexlet_shutdown", result));
    facts.bShut = facts.bShut || result == NEXLET_OK;
}

void ExpectAllTold(const ClientFacts& facts) {
    for (const auto& [nNumber, request] : facts.begun) {
        Hold(!request.bBegun || request.nDone == 1, "the end of a request is not told before the close returns");
    }
}

void CloseFor(ClientFacts& facts) {
    facts.bEnding = true;
    const bool bWasClosed = facts.bClosed;
    const std::uint64_t nBegan = GetTickCount64();
    const nexlet_result result = nexlet_close(facts.client);
    Hold(IsOneOf(result, {NEXLET_OK, NEXLET_BAD_HANDLE}), Describe("nexlet_close", result));
    Hold(!bWasClosed || result == NEXLET_BAD_HANDLE, "a client is closed twice");
    Hold(GetTickCount64() - nBegan <= kCloseMs, "nexlet_close takes longer than it may");
    if (result == NEXLET_OK) {
        facts.bClosed = true;
        Hold(facts.nCallbacks == 0, "a callback is under way when the close returns");
        ExpectAllTold(facts);
    }
}

void MakeSomeCall(ClientFacts& facts, CRandom& random) {
    const std::uint32_t nLimit = DrawLimit(random);
    const nexlet_client client = facts.client;
    const auto request = [&](const char* szCall, auto call, bool bMayBeOvertaken = false) {
        const CTimed timed(facts, szCall, nLimit);
        CText text;
        const nexlet_result result = call(text.Out());
        text.Check(szCall, result);
        timed.End(result, {NEXLET_OK, NEXLET_TIMEOUT, NEXLET_NOT_CONNECTED, NEXLET_GONE,
                           bMayBeOvertaken ? NEXLET_OVERTAKEN : NEXLET_OK});
        return std::pair(result, text.Text());
    };
    const auto simple = [&](const char* szCall, std::initializer_list<nexlet_result> results, auto call) {
        const CTimed timed(facts, szCall, nLimit);
        timed.End(call(), results);
    };
    switch (random.Below(18)) {
        case 0:
            StartFor(facts, nLimit, random.OneIn(4) ? static_cast<std::uint32_t>(random.Below(4)) : 0);
            break;
        case 1: {
            const std::uint32_t nNumber = ++facts.nNumber;
            const auto [result, strReply] = request("nexlet_call", [&](char** szReply) {
                return nexlet_call(client, static_cast<int32_t>(2 + random.Below(2)), Numbered(nNumber).c_str(), nLimit,
                                   szReply);
            });
            if (result == NEXLET_OK) {
                CheckReply(strReply, nNumber);
            }
            break;
        }
        case 2:
            request("nexlet_encrypt", [&](char** szText) { return nexlet_encrypt(client, "text", nLimit, szText); });
            break;
        case 3:
            request("nexlet_open_target", [&](char** szWord) {
                return nexlet_open_target(client, DrawOpen(random, false).c_str(), nLimit, szWord);
            });
            break;
        case 4:
            request(
                "nexlet_poll_target",
                [&](char** szWord) {
                    return nexlet_poll_target(client, DrawOpen(random, true).c_str(), nLimit, szWord);
                },
                true);
            break;
        case 5:
            request(
                "nexlet_await_target",
                [&](char** szWord) {
                    return nexlet_await_target(client, DrawOpen(random, true).c_str(), 100, nLimit, szWord);
                },
                true);
            break;
        case 6:
            simple("nexlet_watch_target", {NEXLET_OK, NEXLET_TIMEOUT, NEXLET_NOT_CONNECTED, NEXLET_GONE},
                   [&] { return nexlet_watch_target(client, DrawOpen(random, true).c_str(), nLimit); });
            break;
        case 7:
            simple("nexlet_exit", {NEXLET_OK, NEXLET_TIMEOUT, NEXLET_NOT_CONNECTED, NEXLET_GONE},
                   [&] { return nexlet_exit(client, nLimit, nullptr); });
            break;
        case 8:
            simple("nexlet_wait_connected", {NEXLET_OK, NEXLET_TIMEOUT},
                   [&] { return nexlet_wait_connected(client, nLimit); });
            break;
        case 9:
            simple("nexlet_wait_lost", {NEXLET_OK, NEXLET_TIMEOUT}, [&] { return nexlet_wait_lost(client, nLimit); });
            break;
        case 10:
            simple("nexlet_wait_process_end", {NEXLET_OK, NEXLET_TIMEOUT, NEXLET_NOT_CONNECTED},
                   [&] { return nexlet_wait_process_end(client, nLimit, nullptr); });
            break;
        case 11: {
            const CTimed timed(facts, "nexlet_wait_frame", nLimit);
            CText payload;
            const nexlet_result result = nexlet_wait_frame(client, 0, nLimit, nullptr, payload.Out(), nullptr);
            payload.Check("nexlet_wait_frame", result);
            timed.End(result, {NEXLET_OK, NEXLET_TIMEOUT, NEXLET_GONE});
            break;
        }
        case 12:
            simple("nexlet_send", {NEXLET_OK, NEXLET_TIMEOUT, NEXLET_NOT_CONNECTED, NEXLET_GONE},
                   [&] { return nexlet_send(client, static_cast<int32_t>(10 + random.Below(3)), "{}", nLimit); });
            break;
        case 13: {
            const std::string strText = "{\"content\":{},\"message_type\":2}";
            const nexlet_result result =
                nexlet_host_send(facts.strMark.c_str(), strText.data(), strText.size(), nLimit, nullptr);
            Hold(IsOneOf(result, {NEXLET_OK, NEXLET_TIMEOUT, NEXLET_GONE, NEXLET_NOT_CONNECTED}) ||
                     facts.pRules->bFaults,
                 Describe("nexlet_host_send", result));
            break;
        }
        case 14: {
            nexlet_helper helper = {};
            helper.struct_size = sizeof helper;
            // It answers a client that is shut down, too.
            const nexlet_result result = nexlet_helper_process(client, &helper);
            Hold(result == NEXLET_OK || (result == NEXLET_BAD_HANDLE && facts.bEnding),
                 Describe("nexlet_helper_process", result));
            Hold(helper.connected == 0 || helper.connections > 0, "a client is connected without a connection");
            break;
        }
        default:
            BeginRequest(facts, random);
            break;
    }
}

}  // namespace simulation
