// Runs worlds under one seed after the other, in child processes, and tells which seed failed.
//
//   simulate [--seed=N] [--seeds=COUNT] [--minutes=M] [--world=NAME] [--faults=N] [--trace]
//
//   --seed     the first seed; 1
//   --seeds    how many; 1
//   --minutes  until so much time has passed, however many seeds that are
//   --world    callers or helper; without it each seed takes one
//   --trace    writes every call of every thread to the error output
//   --faults   one system call in N fails; 0: none; without it each seed decides
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include <sanitizer/lsan_interface.h>

#include "simulation/kernel/trace.h"
#include "simulation/seams/edges.h"
#include "simulation/simulate.h"
#include "simulation/worlds/world.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr simulation::World kWorlds[] = {{"callers", /*bAlone=*/false, &simulation::RunCallersWorld},
                                         {"helper", /*bAlone=*/true, &simulation::RunHelperWorld}};
constexpr std::uint64_t kWorldStream = 7;
constexpr std::uint64_t kFaultStream = 8;
// The stacks of threads that were ended where they were are kept, so a child does not run for ever.
constexpr std::uint64_t kSeedsOfAChild = 100;
constexpr auto kProgressEvery = std::chrono::seconds(10);

struct Arguments {
    std::uint64_t nSeed = 1;
    std::uint64_t nSeeds = 1;
    std::uint64_t nMinutes = 0;
    const simulation::World* pWorld = nullptr;
    std::optional<std::uint64_t> faults;
};

// What the child leaves in memory that both have.
struct Shared {
    std::uint64_t nSeed;  // under way
    std::uint64_t nDone;
    std::uint64_t nSteps;
    std::uint64_t nVirtualMs;
};

bool ReadNumber(const char* szArgument, const char* szName, std::uint64_t& nValue) {
    const std::size_t nLength = std::strlen(szName);
    if (std::strncmp(szArgument, szName, nLength) != 0) {
        return false;
    }
    nValue = std::strtoull(szArgument + nLength, nullptr, 10);
    return true;
}

bool Read(int argc, char** argv, Arguments& arguments) {
    for (int i = 1; i < argc; ++i) {
        std::uint64_t nFaults = 0;
        if (ReadNumber(argv[i], "--faults=", nFaults)) {
            arguments.faults = nFaults;
        } else if (std::strcmp(argv[i], "--trace") == 0) {
            simulation::CTrace::WriteTo(stderr);
        } else if (std::strncmp(argv[i], "--world=", 8) == 0) {
            for (const simulation::World& world : kWorlds) {
                if (std::strcmp(world.szName, argv[i] + 8) == 0) {
                    arguments.pWorld = &world;
                }
            }
            if (arguments.pWorld == nullptr) {
                return false;
            }
        } else if (!ReadNumber(argv[i], "--seed=", arguments.nSeed) &&
                   !ReadNumber(argv[i], "--seeds=", arguments.nSeeds) &&
                   !ReadNumber(argv[i], "--minutes=", arguments.nMinutes)) {
            return false;
        }
    }
    return true;
}

const simulation::World& WorldOf(const Arguments& arguments, simulation::CRandom& random) {
    return arguments.pWorld != nullptr ? *arguments.pWorld : kWorlds[random.Below(std::size(kWorlds))];
}

bool IsAlone(const Arguments& arguments, std::uint64_t nSeed) {
    simulation::CRandom random(nSeed, kWorldStream);
    return WorldOf(arguments, random).bAlone;
}

void RunSeed(const Arguments& arguments, std::uint64_t nSeed, Shared& shared) {
    simulation::CRandom worlds(nSeed, kWorldStream);
    simulation::CRandom faults(nSeed, kFaultStream);
    const simulation::World& world = WorldOf(arguments, worlds);
    simulation::Options options = simulation::OptionsOfSeed(nSeed);
    options.strName = std::string("world ") + world.szName;
    constexpr std::uint64_t kRates[] = {0, 0, 300, 40};
    options.nFaults = arguments.faults.value_or(kRates[faults.Below(std::size(kRates))]);
    // The whole helper has a watch that takes such a jump for a thread that hangs.
    options.nJumps = faults.OneIn(4) && !world.bAlone ? 200 : 0;
    const simulation::Outcome outcome = simulation::Run(options, [&] { world.pfnRun(worlds); });
    shared.nSteps += outcome.nSteps;
    shared.nVirtualMs += outcome.nMilliseconds;
    if (outcome.nThreadsLeft > 0) {
        std::fprintf(stderr, "== %u threads are left, seed %llu\n", outcome.nThreadsLeft,
                     static_cast<unsigned long long>(nSeed));
        std::_Exit(1);
    }
}

template <typename T>
T* Share(std::size_t nCount) {
    void* const pMemory = mmap(nullptr, nCount * sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (pMemory == MAP_FAILED) {
        std::abort();
    }
    return static_cast<T*>(pMemory);
}

double Seconds(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

void Tell(const Shared& shared, const unsigned char* pEdges, double seconds) {
    std::uint32_t nReached = 0;
    for (std::uint32_t i = 0; i < simulation::EdgeCount(); ++i) {
        nReached += pEdges[i];
    }
    std::printf("%llu seeds, %.0f a second, %llu steps, %llu virtual hours, %u of %u edges reached\n",
                static_cast<unsigned long long>(shared.nDone), static_cast<double>(shared.nDone) / seconds,
                static_cast<unsigned long long>(shared.nSteps),
                static_cast<unsigned long long>(shared.nVirtualMs / 3600000), nReached, simulation::EdgeCount());
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    Arguments arguments;
    if (!Read(argc, argv, arguments)) {
        std::fprintf(
            stderr, "usage: simulate [--seed=N] [--seeds=COUNT] [--minutes=M] [--world=NAME] [--faults=N] [--trace]\n");
        return 2;
    }
    auto* const pShared = Share<Shared>(1);
    auto* const pEdges = Share<unsigned char>(simulation::EdgeCount() + 1);
    simulation::RecordEdges(pEdges);
    const Clock::time_point begin = Clock::now();
    Clock::time_point told = begin;
    const auto bMore = [&] {
        return arguments.nMinutes != 0 ? Seconds(begin) < 60.0 * static_cast<double>(arguments.nMinutes)
                                       : pShared->nDone < arguments.nSeeds;
    };
    int nStatus = 0;
    while (nStatus == 0 && bMore()) {
        const pid_t child = fork();
        if (child == 0) {
            for (std::uint64_t i = 0; i < kSeedsOfAChild && bMore(); ++i) {
                const std::uint64_t nSeed = arguments.nSeed + pShared->nDone;
                const bool bAlone = IsAlone(arguments, nSeed);
                if (bAlone && i > 0) {
                    break;
                }
                pShared->nSeed = nSeed;
                RunSeed(arguments, nSeed, *pShared);
                ++pShared->nDone;
                if (bAlone) {
                    // What a simulated process has that was ended is not a leak.
                    std::_Exit(0);
                }
            }
            // Static objects of the product are not destroyed: their destructors would need the machine.
            __lsan_do_leak_check();
            std::_Exit(0);
        }
        waitpid(child, &nStatus, 0);
        if (Clock::now() - told > kProgressEvery) {
            told = Clock::now();
            Tell(*pShared, pEdges, Seconds(begin));
        }
    }
    Tell(*pShared, pEdges, Seconds(begin));
    if (nStatus == 0) {
        return 0;
    }
    std::printf("failed at seed %llu; again with --seed=%llu%s%s\n", static_cast<unsigned long long>(pShared->nSeed),
                static_cast<unsigned long long>(pShared->nSeed), arguments.pWorld != nullptr ? " --world=" : "",
                arguments.pWorld != nullptr ? arguments.pWorld->szName : "");
    return 1;
}
