// What the library's callbacks check and do in world client, and what its other calls share with them.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

#include "client/include/nexlet_client.h"
#include "simulation/kernel/scheduler.h"
#include "simulation/worlds/client_calls.h"

namespace simulation {

// A call of the library, beside which other threads run.
template <typename Call>
auto InLibrary(const Call& call) {
    const CScheduler::CLent lent(*g_pScheduler);
    return call();
}

// "nexlet_call gives NEXLET_GONE"
std::string Describe(const char* szCall, nexlet_result result);
bool IsOneOf(nexlet_result result, std::initializer_list<nexlet_result> results);
// The reply to a request that bore a number bears the same.
void CheckReply(const std::string& strReply, std::uint32_t nNumber);

// The context of OnDone, which deletes it.
struct Done {
    ClientFacts* pFacts;  // weak
    std::uint32_t nNumber;
};

// The contexts of the others are ClientFacts.
void NEXLET_CALL OnGone(void* pContext, nexlet_client);
void NEXLET_CALL OnFrame(void* pContext, nexlet_client, int32_t direction, const char*, size_t);
void NEXLET_CALL OnDiagnostic(void* pContext, nexlet_client, int32_t, const char* szText);
void NEXLET_CALL OnDone(void* pContext, nexlet_client, nexlet_request handle, const nexlet_outcome* pOutcome);

}  // namespace simulation
