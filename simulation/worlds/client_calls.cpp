#include "simulation/worlds/client_calls.h"

#include <initializer_list>
#include <memory>

#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "simulation/worlds/client_callbacks.h"
#include "simulation/worlds/helper_program.h"
#include "simulation/worlds/world.h"

namespace simulation {
namespace {

// Beyond its limit a call may take this long: looks, turns, and waits that have a limit of their own.
constexpr std::uint32_t kGraceMs = 2500;
// A close has no limit. It waits for calls, callbacks and threads, which have.
constexpr std::uint32_t kCloseMs = 60000;

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
        Hold(result == NEXLET_OK || InLibrary([&] { return nexlet_last_error_text()[0]; }) != 0 ||
                 m_facts.pRules->bFaults,
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
    ~CText() {
        InLibrary([&] {
            nexlet_free(m_szText);
            return 0;
        });
    }
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
    const nexlet_result result = InLibrary([&, nType = static_cast<int32_t>(2 + random.Below(2))] {
        return nexlet_begin(facts.client, nType, Numbered(nNumber).c_str(), &options, &request);
    });
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
        if (InLibrary([&] { return nexlet_request_handle(request, &hEnd); }) == NEXLET_OK && random.OneIn(2)) {
            WaitForSingleObject(hEnd, begun.nTimeoutMs);
        }
    }
    if (random.OneIn(3)) {
        Hold(InLibrary([&] { return nexlet_cancel(request); }) == NEXLET_OK, "a request cannot be cancelled");
    }
    if (random.OneIn(2)) {
        CText word;
        CText reply;
        const nexlet_result ended = InLibrary(
            [&] { return nexlet_request_result(request, begun.nTimeoutMs + kGraceMs, word.Out(), reply.Out()); });
        word.Check("nexlet_request_result", ended);
        reply.Check("nexlet_request_result", ended);
        Hold(ended != NEXLET_PENDING, "a request does not end at its limit");
        if (ended == NEXLET_OK) {
            CheckReply(reply.Text(), nNumber);
        }
    }
    begun.bHandleGone = true;
    Hold(InLibrary([&] { return nexlet_request_close(request); }) == NEXLET_OK, "a request cannot be closed");
    Hold(InLibrary([&] { return nexlet_request_close(request); }) == NEXLET_BAD_HANDLE,
         "a request can be closed twice");
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
    return InLibrary([&] { return nexlet_open(&options, &facts.client); });
}

void StartFor(ClientFacts& facts, std::uint32_t nTimeoutMs, std::uint32_t nFlags) {
    nexlet_start_options options = {};
    options.struct_size = sizeof options;
    options.flags = nFlags;
    options.program_path = kHelperFile;
    const CTimed timed(facts, "nexlet_start", nTimeoutMs);
    const nexlet_result result = InLibrary([&] { return nexlet_start(facts.client, &options, nTimeoutMs); });
    timed.End(result, {NEXLET_OK, NEXLET_TIMEOUT, NEXLET_GONE,
                       facts.pRules->bNoProgram || facts.pRules->bFaults ? NEXLET_NOT_STARTED : NEXLET_OK});
}

void ShutDown(ClientFacts& facts) {
    facts.bEnding = true;
    const CTimed timed(facts, "nexlet_shutdown", 0);
    const nexlet_result result = InLibrary([&] { return nexlet_shutdown(facts.client); });
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
    const nexlet_result result = InLibrary([&] { return nexlet_close(facts.client); });
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
        const nexlet_result result = InLibrary([&] { return call(text.Out()); });
        text.Check(szCall, result);
        timed.End(result, {NEXLET_OK, NEXLET_TIMEOUT, NEXLET_NOT_CONNECTED, NEXLET_GONE,
                           bMayBeOvertaken ? NEXLET_OVERTAKEN : NEXLET_OK});
        return std::pair(result, text.Text());
    };
    const auto simple = [&](const char* szCall, std::initializer_list<nexlet_result> results, auto call) {
        const CTimed timed(facts, szCall, nLimit);
        timed.End(InLibrary(call), results);
    };
    switch (random.Below(18)) {
        case 0:
            StartFor(facts, nLimit, random.OneIn(4) ? static_cast<std::uint32_t>(random.Below(4)) : 0);
            break;
        case 1: {
            const std::uint32_t nNumber = ++facts.nNumber;
            const auto [result, strReply] =
                request("nexlet_call", [&, nType = static_cast<int32_t>(2 + random.Below(2))](char** szReply) {
                    return nexlet_call(client, nType, Numbered(nNumber).c_str(), nLimit, szReply);
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
            request("nexlet_open_target", [&, strOpen = DrawOpen(random, false)](char** szWord) {
                return nexlet_open_target(client, strOpen.c_str(), nLimit, szWord);
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
            const nexlet_result result =
                InLibrary([&] { return nexlet_wait_frame(client, 0, nLimit, nullptr, payload.Out(), nullptr); });
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
            const nexlet_result result = InLibrary([&] {
                return nexlet_host_send(facts.strMark.c_str(), strText.data(), strText.size(), nLimit, nullptr);
            });
            Hold(IsOneOf(result, {NEXLET_OK, NEXLET_TIMEOUT, NEXLET_GONE, NEXLET_NOT_CONNECTED}) ||
                     facts.pRules->bFaults,
                 Describe("nexlet_host_send", result));
            break;
        }
        case 14: {
            nexlet_helper helper = {};
            helper.struct_size = sizeof helper;
            // It answers a client that is shut down, too.
            const nexlet_result result = InLibrary([&] { return nexlet_helper_process(client, &helper); });
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
