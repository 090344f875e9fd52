// Running code on the simulated machine.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "simulation/kernel/strategy.h"
#include "simulation/seams/memory.h"

namespace simulation {

enum class StrategyKind { Random, Priorities, Replay, Bytes };

struct Options {
    std::uint64_t nSeed = 1;
    StrategyKind strategy = StrategyKind::Random;
    std::uint64_t nStay = 1;           // Random: one in so many points is one
    std::uint32_t nDepth = 3;          // Priorities
    std::uint64_t nSteps = 20000;      // Priorities: how long a run is about
    Choices kept;                      // Replay
    std::vector<unsigned char> bytes;  // Bytes
    std::uint64_t nFaults = 0;         // one call in so many fails; 0: none
    MemoryFaults memory;               // of the process that the world says
    std::uint64_t nEdges = 0;          // beside the calls, one in so many of the product's marked edges is a point
    std::uint64_t nJumps = 0;          // one in so many points lets time jump although threads can run
    bool bClocksJump = false;          // the world's clock may be set, also back, and the 32-bit tick count wraps
    bool bFree = false;                // threads run in parallel, and the strategy chooses nothing
    std::string strName;               // for the report of a failure
};

// What a seed alone decides: the strategy with its numbers, and the grain of points.
Options OptionsOfSeed(std::uint64_t nSeed);

struct Outcome {
    std::uint64_t nSteps = 0;
    std::uint64_t nMilliseconds = 0;  // of virtual time
    std::uint32_t nExitCode = 0;      // of the first process, 259 while it has none
    std::uint64_t nAllocations = 0;   // of the process whose memory may fail
    std::uint64_t nAllocationsFailed = 0;
    std::uint32_t nThreadsLeft = 0;  // that wait although the main thread has ended
    Choices chosen;
};

// Runs main as the main thread of the machine's first process. What may not happen (a deadlock, two orders of locks, a
// lock used wrongly) ends the operating system's process with a report and code 86.
Outcome Run(const Options& options, std::function<void()> main);

// Ends the process with a report when memory is lost, where LeakSanitizer is there.
void LookForLeaks();

}  // namespace simulation
