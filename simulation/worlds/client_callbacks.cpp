#include "simulation/worlds/client_callbacks.h"

#include <algorithm>
#include <memory>

#include "foundation/json_text.h"
#include "foundation/windows_headers.h"
#include "simulation/worlds/world.h"

namespace simulation {
namespace {

class CInCallback {
  public:
    explicit CInCallback(ClientFacts& facts) : m_held(*g_pScheduler), m_facts(facts) {
        Hold(!facts.bClosed, "a callback comes after the close has returned");
        ++m_facts.nCallbacks;
    }
    ~CInCallback() { --m_facts.nCallbacks; }
    CInCallback(const CInCallback&) = delete;
    CInCallback& operator=(const CInCallback&) = delete;

  private:
    const CScheduler::CHeld m_held;
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
            const nexlet_result result = InLibrary([&] { return nexlet_status(client, 1000, &status); });
            Hold(IsOneOf(result, {NEXLET_WRONG_THREAD, NEXLET_BAD_HANDLE}),
                 Describe("nexlet_status in a callback", result));
            break;
        }
        case 1: {
            const nexlet_result result = InLibrary([&] { return nexlet_close(client); });
            Hold(IsOneOf(result, {NEXLET_WRONG_THREAD, NEXLET_BAD_HANDLE}),
                 Describe("nexlet_close in a callback", result));
            break;
        }
        case 2: {
            nexlet_helper helper = {};
            helper.struct_size = sizeof helper;
            const nexlet_result result = InLibrary([&] { return nexlet_helper_process(client, &helper); });
            Hold(IsOneOf(result, {NEXLET_OK, NEXLET_BAD_HANDLE}),
                 Describe("nexlet_helper_process in a callback", result));
            break;
        }
        case 3:
            if (random.OneIn(6)) {
                facts.bEnding = true;
                InLibrary([&] { return nexlet_shutdown(client); });
            }
            break;
        case 4: {
            // A handle that a close has taken away belongs to nobody, whatever thread asks.
            const bool bInside = InLibrary([&] { return nexlet_in_callback(client); }) == 1;
            Hold(bInside || facts.bEnding, "a callback does not know that it is one");
            break;
        }
        default:
            break;
    }
}

}  // namespace

std::string Describe(const char* szCall, nexlet_result result) {
    return std::string(szCall) + " gives " + nexlet_result_name(result);
}

bool IsOneOf(nexlet_result result, std::initializer_list<nexlet_result> results) {
    return std::find(results.begin(), results.end(), result) != results.end();
}

void CheckReply(const std::string& strReply, std::uint32_t nNumber) {
    Json::Value reply;
    Hold(ParseJson(strReply, reply) && reply.isObject(), "a reply is not an object");
    const Json::Value* number = FindJsonMember(reply, "n");
    Hold(number != nullptr && number->isUInt() && number->asUInt() == nNumber, "a reply is another request's");
    Hold(FindJsonMember(reply, "nexlet_call") == nullptr, "a reply has the library's own number");
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
    const nexlet_result again = InLibrary([&] { return nexlet_request_result(handle, 0, nullptr, nullptr); });
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

}  // namespace simulation
