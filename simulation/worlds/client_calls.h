// One client of the caller's library, and the calls that programs make with it: each with the results that the
// interface's page names for it and the time that it may take.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "client/include/nexlet_client.h"
#include "simulation/kernel/random.h"

namespace simulation {

// What happens in the run and decides what a call may give.
struct ClientRules {
    bool bFaults = false;     // system calls fail
    bool bNoProgram = false;  // the program is not there
};

// One begun request.
struct BegunRequest {
    std::uint32_t nTimeoutMs = 0;
    std::uint64_t nBeganMs = 0;
    int nDone = 0;        // calls of its callback
    bool bBegun = false;  // the function that begins it has said so
    bool bRefused = false;
    bool bHandleGone = false;  // it is being closed
};

// A client with what its callbacks have said. Its threads and the library's use it at once; the scheduler takes no
// other thread between two calls, or CHeld keeps them away, so it has no lock.
struct ClientFacts {
    const ClientRules* pRules = nullptr;  // weak
    std::string strMark;
    std::string strId;
    nexlet_client client = 0;
    bool bEnding = false;  // a close or a shutdown has begun
    bool bClosed = false;  // the close has returned
    bool bShut = false;    // the shutdown has returned
    bool bSpoke = false;   // the connection of the moment has sent something
    std::uint32_t nGone = 0;
    std::uint32_t nCallbacks = 0;                 // under way
    std::uint32_t nNumber = 0;                    // of the request that was made last
    std::uint32_t nDoneSleepsMs = 0;              // in half of the callbacks of requests
    std::map<std::uint64_t, BegunRequest> begun;  // by number
    CRandom callbackRandom{1, 0};
};

// nexlet_open, with all callbacks.
nexlet_result OpenClient(ClientFacts& facts);

// One call that random takes, on a thread of the program, and what must hold of it. Any time, also when the client is
// closed.
void MakeSomeCall(ClientFacts& facts, CRandom& random);
// nexlet_start for the program of helper_program.h.
void StartFor(ClientFacts& facts, std::uint32_t nTimeoutMs, std::uint32_t nFlags);
void ShutDown(ClientFacts& facts);
// Each request that was begun has told its end.
void ExpectAllTold(const ClientFacts& facts);
// nexlet_close, and what must hold once it has returned.
void CloseFor(ClientFacts& facts);

}  // namespace simulation
