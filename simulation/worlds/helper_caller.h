// One caller of the helper: a process that announces itself by a second start, serves its pipe, and does what its plan
// says. It may live several times under one service id.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulation/kernel/random.h"

namespace simulation {

// What all lives of one service id know.
struct CallerFacts {
    std::string strId;
    std::wstring strMark;
    bool bKnocked = false;       // others may send requests for this service id
    bool bForeignExits = false;  // and ask for the end of its instance
    bool bMayHang = false;       // an SDK may hold the helper's threads for an hour
    bool bFaults = false;
    bool bMayStay = false;  // set: an accepted delayed check never ends, so the instance never does
};

struct CallerPlan {
    CallerFacts* pFacts = nullptr;  // weak
    std::uint64_t nSeed = 0;
    std::uint32_t nComesAfterMs = 0;
    std::uint32_t nQuota = 0;  // of the pipe, both ways
    bool bStartsHelper = false;
    bool bFirstLife = false;                // of this service id
    bool bGate = false;                     // makes the gate event
    bool bAims = false;                     // comes and asks for its end when the table is walked over
    bool bHoldsGate = false;                // for seconds at a time
    bool bBroken = false;                   // sends what is not a frame
    bool bReads = true;                     // or leaves the replies in the pipe
    std::uint32_t nAsksForExit = 0;         // so often, as its last requests
    std::uint32_t nStaysMs = 0;             // after its last request
    std::optional<std::uint64_t> vanishAt;  // before this many of its calls
    std::vector<int> requests;              // by type
};

// As the main thread of the caller's process.
void RunCaller(const CallerPlan& plan);

// A program that opens the host's own pipe and sends requests for these service ids, exits among them or not. Main
// thread of its process.
void RunKnocker(const std::wstring& strMark, const std::vector<std::string>& ids, bool bExits, std::uint64_t nSeed);

// A process that starts the helper, the first time, or announces this service id to it. Its handle is the caller's.
void* StartHelper(const std::wstring& strMark, const std::string& strId);
void* StartSecond(const std::wstring& strMark, const std::string& strId);

// The content of a request of this type with this number, as callers send it.
std::string RequestText(int nType, const std::string& strId, int nNumber, CRandom& random, bool& bNeverEnds);

}  // namespace simulation
