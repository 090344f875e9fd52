// Runs worlds under one seed after the other, in child processes, and tells which seed failed.
//
//   simulate [--seed=N] [--seeds=COUNT] [--minutes=M] [--world=NAME] [--faults=N] [--memory=N] [--trace]
//            [--page=FILE] [--shorten=S]
//   simulate --replay=FILE [--trace] [--page=FILE] [--shorten=S] [--keep=FILE]
//   simulate --each-allocation[=STEP] [--for-good] [--seed=N] [--seeds=COUNT]
//   simulate --free [--seed=N] [--seeds=COUNT] [--minutes=M] [--world=NAME] [--faults=N] [--trace]
//
//   --seed     the first seed; 1
//   --seeds    how many; 1
//   --minutes  until so much time has passed, however many seeds that are
//   --world    callers, helper or client; without it each seed takes one
//   --trace    writes every call of every thread to the error output
//   --faults   one system call in N fails; 0: none; without it each seed decides
//   --shorten  a failing run is made shorter for at most so many seconds, and written to a file; 60; 0: it is not
//   --replay   the run that is in a file
//   --page     a page of all that the threads of the run did is written to this file; of several seeds, of the one that
//              fails
//   --keep     when the run fails, what it chose is written to this file
//   --memory   one allocation of the helper in N fails; 0: none; without it each seed decides
//   --each-allocation  runs world helper again and again, with allocation 1 of the helper failing, then with number
//                      1 + STEP, and so on to the last, without other faults
//   --allocation=K     the same for one allocation
//   --for-good         so do all allocations after it
//   --free     threads run at the same time, under ThreadSanitizer alone: a seed decides the world and not the schedule
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <utility>

#include "simulation/kernel/machine.h"
#include "simulation/kernel/trace.h"
#include "simulation/page/trace_page.h"
#include "simulation/seams/crashes.h"
#include "simulation/seams/edges.h"
#include "simulation/shrink/attempts.h"
#include "simulation/simulate.h"
#include "simulation/worlds/world.h"

#if NEXLET_ASAN
// Read by AddressSanitizer at its start. By its default in newer versions it keeps local variables outside the stacks
// of the fibers, where the search for leaks does not look. And a seed is a process that lives for some hundredths of a
// second: most of them went into pages for freed memory and for the stacks of the calls that took it.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "detect_stack_use_after_return=0:quarantine_size_mb=8:malloc_context_size=2";
}
#endif

namespace {

using Clock = std::chrono::steady_clock;

constexpr simulation::World kWorlds[] = {{"callers", /*bAlone=*/false, &simulation::RunCallersWorld},
                                         {"helper", /*bAlone=*/true, &simulation::RunHelperWorld},
                                         {"client", /*bAlone=*/true, &simulation::RunClientWorld}};
// Only by its name.
constexpr simulation::World kRaceWorld = {"race", /*bAlone=*/false, &simulation::RunRaceWorld};
constexpr std::uint64_t kWorldStream = 7;
constexpr std::uint64_t kFaultStream = 8;
constexpr std::uint64_t kClockStream = 10;
// The stacks of threads that were ended where they were are kept, so a child does not run for ever.
constexpr std::uint64_t kSeedsOfAChild = 100;
constexpr std::uint64_t kShortenSeconds = 60;
constexpr auto kProgressEvery = std::chrono::seconds(10);

struct Arguments {
    std::uint64_t nSeed = 1;
    std::uint64_t nSeeds = 1;
    std::uint64_t nMinutes = 0;
    const simulation::World* pWorld = nullptr;
    std::optional<std::uint64_t> faults;
    std::uint64_t nShorten = kShortenSeconds;
    bool bShorten = false;  // was asked for
    std::string strReplay;
    std::string strKeep;
    std::string strPage;
    std::optional<std::uint64_t> memory;
    std::uint64_t nAllocation = 0;  // the one that fails; 0: none
    std::uint64_t nStep = 0;        // to the next one that fails; 0: only this
    bool bForGood = false;
    bool bFree = false;
};

// The run under way in this process, for the file that --keep names.
simulation::Replay g_run;
std::string g_strKeep;
// For the page of the next run that ends.
std::string g_strPage;

// What the child leaves in memory that both have.
struct Shared {
    std::uint64_t nSeed;  // under way
    std::uint64_t nDone;
    std::uint64_t nSteps;
    std::uint64_t nVirtualMs;
    std::uint64_t nAllocations;        // of the last seed
    std::uint64_t nAllocationsFailed;  // of the last seed
    std::uint64_t nMemoryRuns;         // in which one has failed
};

bool ReadNumber(const char* szArgument, const char* szName, std::uint64_t& nValue) {
    const std::size_t nLength = std::strlen(szName);
    if (std::strncmp(szArgument, szName, nLength) != 0) {
        return false;
    }
    nValue = std::strtoull(szArgument + nLength, nullptr, 10);
    return true;
}

bool ReadText(const char* szArgument, const char* szName, std::string& strValue) {
    const std::size_t nLength = std::strlen(szName);
    if (std::strncmp(szArgument, szName, nLength) != 0) {
        return false;
    }
    strValue = szArgument + nLength;
    return true;
}

const simulation::World* FindWorld(const std::string& strName) {
    for (const simulation::World& world : kWorlds) {
        if (strName == world.szName) {
            return &world;
        }
    }
    return strName == kRaceWorld.szName ? &kRaceWorld : nullptr;
}

bool Read(int argc, char** argv, Arguments& arguments) {
    for (int i = 1; i < argc; ++i) {
        std::uint64_t nFaults = 0;
        if (ReadNumber(argv[i], "--faults=", nFaults)) {
            arguments.faults = nFaults;
        } else if (ReadNumber(argv[i], "--shorten=", arguments.nShorten)) {
            arguments.bShorten = arguments.nShorten != 0;
        } else if (ReadNumber(argv[i], "--memory=", nFaults)) {
            arguments.memory = nFaults;
        } else if (std::strcmp(argv[i], "--each-allocation") == 0) {
            arguments.nStep = 1;
        } else if (std::strcmp(argv[i], "--for-good") == 0) {
            arguments.bForGood = true;
        } else if (std::strcmp(argv[i], "--free") == 0) {
            arguments.bFree = true;
        } else if (std::strcmp(argv[i], "--trace") == 0) {
            simulation::CTrace::WriteTo(stderr);
        } else if (std::string strWorld; ReadText(argv[i], "--world=", strWorld)) {
            arguments.pWorld = FindWorld(strWorld);
            if (arguments.pWorld == nullptr) {
                return false;
            }
        } else if (!ReadNumber(argv[i], "--seed=", arguments.nSeed) &&
                   !ReadNumber(argv[i], "--seeds=", arguments.nSeeds) &&
                   !ReadNumber(argv[i], "--allocation=", arguments.nAllocation) &&
                   !ReadNumber(argv[i], "--each-allocation=", arguments.nStep) &&
                   !ReadNumber(argv[i], "--minutes=", arguments.nMinutes) &&
                   !ReadText(argv[i], "--replay=", arguments.strReplay) &&
                   !ReadText(argv[i], "--keep=", arguments.strKeep) &&
                   !ReadText(argv[i], "--page=", arguments.strPage)) {
            return false;
        }
    }
    if (arguments.nStep != 0 || arguments.nAllocation != 0) {
        arguments.nAllocation = arguments.nAllocation != 0 ? arguments.nAllocation : 1;
        arguments.pWorld = &kWorlds[1];
        arguments.faults = 0;
        arguments.memory = 0;
    }
    // In other builds the simulation's own records of memory and edges have no lock.
    return !arguments.bFree || NEXLET_TSAN;
}

const simulation::World& WorldOf(const Arguments& arguments, simulation::CRandom& random) {
    return arguments.pWorld != nullptr ? *arguments.pWorld : kWorlds[random.Below(std::size(kWorlds))];
}

bool IsAlone(const Arguments& arguments, std::uint64_t nSeed) {
    simulation::CRandom random(nSeed, kWorldStream);
    return WorldOf(arguments, random).bAlone;
}

void WritePage(simulation::CScheduler& scheduler, const std::string& strEnd) {
    std::ofstream file(std::exchange(g_strPage, std::string()), std::ios::binary);
    file << simulation::TracePage(scheduler, strEnd);
}

// Called when the run has failed, in the process that ends for it.
void KeepRun(const std::string& strReason) {
    simulation::CScheduler* const pScheduler = std::exchange(simulation::g_pScheduler, nullptr);
    if (pScheduler != nullptr && !g_strPage.empty()) {
        WritePage(*pScheduler, strReason);
    }
    if (g_strKeep.empty()) {
        return;
    }
    if (pScheduler != nullptr) {
        g_run.choices = pScheduler->Chosen();
    }
    g_run.parts = simulation::PartsThere();
    g_run.bDraws = false;
    simulation::WriteReplay(std::exchange(g_strKeep, std::string()), g_run);
}

void KeepRunOfCrash() {
    KeepRun("the program was ended by a fault");
}

simulation::Replay RunOfSeed(const Arguments& arguments, std::uint64_t nSeed) {
    simulation::Replay run;
    simulation::CRandom random(nSeed, kWorldStream);
    run.strWorld = WorldOf(arguments, random).szName;
    run.nSeed = run.nSchedule = nSeed;
    run.nFaults = arguments.faults;
    run.memory = arguments.memory;
    run.nAllocation = arguments.nAllocation;
    run.bForGood = arguments.bForGood;
    return run;
}

void RunOne(const Arguments& arguments, const simulation::Replay& run, Shared& shared) {
    simulation::CRandom worlds(run.nSeed, kWorldStream);
    simulation::CRandom faults(run.nSeed, kFaultStream);
    // The draw between worlds is part of the stream, unless one is named.
    const bool bNamed = arguments.pWorld != nullptr || !arguments.strReplay.empty();
    const simulation::World& world = bNamed ? *FindWorld(run.strWorld) : WorldOf(arguments, worlds);
    simulation::Options options = simulation::OptionsOfSeed(run.nSchedule);
    options.strName = std::string("world ") + world.szName;
    constexpr std::uint64_t kRates[] = {0, 0, 300, 40};
    options.nFaults = run.nFaults.value_or(kRates[faults.Below(std::size(kRates))]);
    // The whole helper has a watch that takes such a jump for a thread that hangs.
    options.nJumps = faults.OneIn(4) && !world.bAlone ? 200 : 0;
    options.bClocksJump = simulation::CRandom(run.nSeed, kClockStream).OneIn(2);
    // In half of the runs with faults, memory fails too.
    constexpr std::uint64_t kMemoryRates[] = {0, 0, 30000, 1000};
    const std::uint64_t nMemory = options.nFaults != 0 ? kMemoryRates[faults.Below(std::size(kMemoryRates))] : 0;
    options.memory = {run.memory.value_or(nMemory), run.nAllocation, run.bForGood};
    options.nEdges = run.nEdges.value_or(options.nEdges);
    options.bFree = arguments.bFree;
    if (!run.bDraws) {
        options.strategy = simulation::StrategyKind::Replay;
        options.kept = run.choices;
    }
    simulation::LeaveOut(run.off);
    g_run = run;
    simulation::Outcome outcome = simulation::Run(options, [&] {
        world.pfnRun(worlds);
        if (!g_strPage.empty() && arguments.nSeeds == 1 && arguments.nMinutes == 0) {
            const simulation::CScheduler::CInside inside(*simulation::g_pScheduler);
            WritePage(*simulation::g_pScheduler, "the run has ended");
        }
    });
    g_run.choices = std::move(outcome.chosen);
    shared.nSteps += outcome.nSteps;
    shared.nVirtualMs += outcome.nMilliseconds;
    shared.nAllocations = outcome.nAllocations;
    shared.nAllocationsFailed = outcome.nAllocationsFailed;
    shared.nMemoryRuns += outcome.nAllocationsFailed != 0 ? 1 : 0;
    if (outcome.nThreadsLeft > 0) {
        std::fprintf(stderr, "== %u threads are left, seed %llu\n", outcome.nThreadsLeft,
                     static_cast<unsigned long long>(run.nSeed));
        KeepRun("threads are left");
        std::_Exit(1);
    }
}

// Static objects of the product are not destroyed: their destructors would need the machine.
[[noreturn]] void EndChild(bool bAlone) {
    // What a simulated process has that was ended is not a leak.
    if (!bAlone) {
        simulation::LookForLeaks();
    }
    std::_Exit(0);
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
    std::printf(
        "%llu seeds, %.1f a second, %llu steps, %llu virtual hours, %u of %u edges reached, "
        "%llu runs with allocations that failed\n",
        static_cast<unsigned long long>(shared.nDone), static_cast<double>(shared.nDone) / seconds,
        static_cast<unsigned long long>(shared.nSteps), static_cast<unsigned long long>(shared.nVirtualMs / 3600000),
        nReached, simulation::EdgeCount(), static_cast<unsigned long long>(shared.nMemoryRuns));
    std::fflush(stdout);
}

// The run that is in a file, once, or until it is shorter.
int RunReplay(const Arguments& arguments, Shared& shared) {
    const auto runHere = [&](const simulation::Replay& run) {
        RunOne(arguments, run, shared);
        EndChild(FindWorld(run.strWorld)->bAlone);
    };
    const std::optional<simulation::Replay> run = simulation::ReadReplay(arguments.strReplay);
    if (!run || FindWorld(run->strWorld) == nullptr) {
        std::fprintf(stderr, "simulate: %s does not hold a run\n", arguments.strReplay.c_str());
        return 2;
    }
    if (arguments.bShorten) {
        const bool bDone = simulation::ShrinkFile(arguments.strReplay, arguments.nShorten,
                                                  [&](const simulation::Replay& candidate, const std::string& strKeep) {
                                                      g_strKeep = strKeep;
                                                      runHere(candidate);
                                                  });
        return bDone ? 0 : 1;
    }
    runHere(*run);
    return 0;
}

// Beside the folder of the program.
std::string FailureFile(const simulation::Replay& run) {
    std::error_code ignored;
    const std::filesystem::path folder =
        std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path().parent_path() / "failures";
    std::filesystem::create_directories(folder, ignored);
    return (folder / (run.strWorld + "-" + std::to_string(run.nSeed) + ".replay")).string();
}

// A run of its own is told with the whole stacks of the calls that took and freed memory: the program begins anew.
void TellWholeStacks(char** argv) {
#if NEXLET_ASAN
    if (setenv("ASAN_OPTIONS", "malloc_context_size=30", /*bReplace=*/0) == 0 &&
        getenv("NEXLET_WHOLE_STACKS") == nullptr) {
        setenv("NEXLET_WHOLE_STACKS", "1", 1);
        execv("/proc/self/exe", argv);
    }
#else
    (void)argv;
#endif
}

// Runs this program again, and waits for it.
void RunAgain(const char* szFirst, const char* szSecond = nullptr) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        execl("/proc/self/exe", "simulate", szFirst, szSecond, nullptr);
        std::_Exit(1);
    }
    waitpid(child, nullptr, 0);
}

// Makes the failing run shorter, and shows what is left of it.
void Shorten(const simulation::Replay& run, std::uint64_t nSeconds) {
    const std::string strFile = FailureFile(run);
    if (!simulation::WriteReplay(strFile, run)) {
        return;
    }
    const std::string strReplay = "--replay=" + strFile;
    // Places as addresses: to find their names takes longer than a run.
    constexpr const char* kOptions[] = {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"};
    for (const char* szOptions : kOptions) {
        setenv(szOptions, "symbolize=0", 1);
    }
    RunAgain(strReplay.c_str(), ("--shorten=" + std::to_string(nSeconds)).c_str());
    for (const char* szOptions : kOptions) {
        unsetenv(szOptions);
    }
    std::printf("the shorter run, again with %s\n", strReplay.c_str());
    const std::string strPage = strFile.substr(0, strFile.rfind('.')) + ".html";
    RunAgain(strReplay.c_str(), ("--page=" + strPage).c_str());
    std::printf("as a page: %s\n", strPage.c_str());
}

}  // namespace

int main(int argc, char** argv) {
    Arguments arguments;
    if (!Read(argc, argv, arguments)) {
        std::fprintf(stderr,
                     "usage: simulate [--seed=N] [--seeds=COUNT] [--minutes=M] [--world=NAME] [--faults=N] "
                     "[--memory=N] [--trace]\n"
                     "                [--page=FILE] [--shorten=S]\n"
                     "       simulate --each-allocation[=STEP] [--for-good] [--seed=N] [--seeds=COUNT]\n"
                     "       simulate --replay=FILE [--trace] [--page=FILE] [--shorten=S] [--keep=FILE]\n"
                     "       simulate --free [--seed=N] [--seeds=COUNT] [--minutes=M] [--world=NAME] [--faults=N] "
                     "[--trace], under ThreadSanitizer\n");
        return 2;
    }
    if (arguments.nSeeds == 1 && arguments.nMinutes == 0 && arguments.nStep == 0 && !arguments.bShorten) {
        TellWholeStacks(argv);
    }
    g_strKeep = arguments.strKeep;
    g_strPage = arguments.strPage;
    if (!g_strPage.empty()) {
        simulation::CTrace::KeepAll();
    }
    simulation::CScheduler::WhenFailing(&KeepRun);
    simulation::WhenCrashing(&KeepRunOfCrash);
    auto* const pShared = Share<Shared>(1);
    auto* const pEdges = Share<unsigned char>(simulation::EdgeCount() + 1);
    simulation::RecordEdges(pEdges);
    const Clock::time_point begin = Clock::now();
    Clock::time_point told = begin;
    const auto bMore = [&] {
        return arguments.nMinutes != 0 ? Seconds(begin) < 60.0 * static_cast<double>(arguments.nMinutes)
                                       : pShared->nDone < arguments.nSeeds;
    };
    if (!arguments.strReplay.empty()) {
        return RunReplay(arguments, *pShared);
    }
    int nStatus = 0;
    while (nStatus == 0 && bMore()) {
        const pid_t child = fork();
        if (child == 0) {
            // The product tells of what it fetches.
            (void)std::freopen("/dev/null", "w", stdout);
            for (std::uint64_t i = 0; i < kSeedsOfAChild && bMore(); ++i) {
                const std::uint64_t nSeed = arguments.nSeed + pShared->nDone;
                // The threads of a free run that have not ended stay.
                const bool bAlone = arguments.bFree || IsAlone(arguments, nSeed);
                if (bAlone && i > 0) {
                    break;
                }
                pShared->nSeed = nSeed;
                RunOne(arguments, RunOfSeed(arguments, nSeed), *pShared);
                // The same seed again with the next allocation, until there is none.
                if (arguments.nStep == 0 || pShared->nAllocationsFailed == 0) {
                    ++pShared->nDone;
                }
                if (bAlone) {
                    EndChild(bAlone);
                }
            }
            EndChild(/*bAlone=*/false);
        }
        waitpid(child, &nStatus, 0);
        if (arguments.nStep != 0 && nStatus == 0) {
            arguments.nAllocation = pShared->nAllocationsFailed != 0 ? arguments.nAllocation + arguments.nStep : 1;
        }
        if (Clock::now() - told > kProgressEvery) {
            told = Clock::now();
            Tell(*pShared, pEdges, Seconds(begin));
        }
    }
    Tell(*pShared, pEdges, Seconds(begin));
    if (nStatus == 0) {
        return 0;
    }
    std::printf("failed at seed %llu; again with%s --seed=%llu%s%s", static_cast<unsigned long long>(pShared->nSeed),
                arguments.bFree ? " --free" : "", static_cast<unsigned long long>(pShared->nSeed),
                arguments.pWorld != nullptr ? " --world=" : "",
                arguments.pWorld != nullptr ? arguments.pWorld->szName : "");
    if (arguments.nAllocation != 0) {
        std::printf(" --allocation=%llu%s", static_cast<unsigned long long>(arguments.nAllocation),
                    arguments.bForGood ? " --for-good" : "");
    }
    std::printf("\n");
    std::fflush(stdout);
    // A free run has no schedule that could be kept.
    if (arguments.nShorten != 0 && !arguments.bFree) {
        Shorten(RunOfSeed(arguments, pShared->nSeed), arguments.nShorten);
    }
    return 1;
}
