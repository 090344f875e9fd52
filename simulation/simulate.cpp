#include "simulation/simulate.h"

#include <sys/single_threaded.h>

#include <cerrno>

#if NEXLET_ASAN
#include <sanitizer/lsan_interface.h>
#endif

#include "simulation/kernel/faults.h"
#include "simulation/kernel/machine.h"

#if NEXLET_TSAN
// The first report ends the process of its seed.
extern "C" const char* __tsan_default_options() {
    return "halt_on_error=1:report_signal_unsafe=0";
}
#endif

namespace simulation {
namespace {

constexpr std::uint64_t kOptionStream = 4;
constexpr std::uint64_t kStrategyStream = 5;
constexpr std::uint64_t kFlavourStream = 6;

std::unique_ptr<IStrategy> MakeStrategy(const Options& options) {
    const CRandom random(options.nSeed, kStrategyStream);
    switch (options.strategy) {
        case StrategyKind::Priorities:
            return MakePriorityStrategy(random, options.nDepth, options.nSteps);
        case StrategyKind::Replay:
            return MakeReplayStrategy();
        case StrategyKind::Bytes:
            return MakeBytesStrategy(options.bytes);
        case StrategyKind::Random:
            break;
    }
    return MakeRandomStrategy(random, options.nStay);
}

Flavour DrawFlavour(std::uint64_t nSeed, bool bClocksJump) {
    CRandom random(nSeed, kFlavourStream);
    Flavour flavour;
    flavour.nOwnHandleClosed = random.OneIn(2) ? ERROR_BROKEN_PIPE : ERROR_OPERATION_ABORTED;
    flavour.bClosedPortWakes = random.OneIn(2);
    flavour.bFirstCounts = random.OneIn(2);
    flavour.bForeignTimers = random.OneIn(2);
    constexpr Nanoseconds kTicks[] = {kMillisecond, 10 * kMillisecond, 15625 * kMicrosecond};
    flavour.nTick = kTicks[random.Below(std::size(kTicks))];
    if (bClocksJump) {
        constexpr std::uint64_t kMinutes = 15;
        constexpr std::uint64_t kWrap = std::uint64_t{1} << 32;
        if (random.OneIn(2)) {
            flavour.nStartTicks = kWrap - random.Below(kMinutes * 60 * 1000);
        }
        constexpr std::int64_t kFarthest[] = {2, 3600, 3 * 86400, 20 * 365 * 86400};
        Nanoseconds nAt = 0;
        for (std::uint64_t i = random.Below(4); i > 0; --i) {
            const std::int64_t nFarthest = kFarthest[random.Below(std::size(kFarthest))];
            nAt += random.Below(kMinutes * 60) * kSecond / 3;
            flavour.clockJumps.push_back(
                {nAt, static_cast<std::int64_t>(random.Below(static_cast<std::uint64_t>(2 * nFarthest))) - nFarthest});
        }
    }
    return flavour;
}

}  // namespace

Options OptionsOfSeed(std::uint64_t nSeed) {
    CRandom random(nSeed, kOptionStream);
    Options options;
    options.nSeed = nSeed;
    options.strategy = random.OneIn(2) ? StrategyKind::Priorities : StrategyKind::Random;
    constexpr std::uint64_t kStays[] = {1, 2, 4, 16, 64};
    options.nStay = kStays[random.Below(std::size(kStays))];
    options.nDepth = 2 + static_cast<std::uint32_t>(random.Below(4));
    constexpr std::uint64_t kSteps[] = {300, 2000, 10000, 50000};
    options.nSteps = kSteps[random.Below(std::size(kSteps))];
    constexpr std::uint64_t kEdges[] = {0, 10, 100, 1000};
    options.nEdges = kEdges[random.Below(std::size(kEdges))];
    return options;
}

Outcome Run(const Options& options, std::function<void()> main) {
    // To the C library a program with simulated threads has one. Its counts of references would not be atomic then, and
    // a thread could be left between the reading of a count and its writing.
    __libc_single_threaded = 0;
    // To the end of all that is destroyed here.
    const struct COwnWork {
        COwnWork() { BeginOwnWork(); }
        ~COwnWork() { EndOwnWork(); }
        COwnWork(const COwnWork&) = delete;
        COwnWork& operator=(const COwnWork&) = delete;
    } ownWork;
    EachHasItsOwn(&errno, sizeof errno);
    SchedulerOptions schedulerOptions;
    schedulerOptions.nSeed = options.nSeed;
    schedulerOptions.nEdges = options.nEdges;
    schedulerOptions.nJumps = options.nJumps;
    schedulerOptions.pStrategy = MakeStrategy(options);
    schedulerOptions.bReplay = options.strategy == StrategyKind::Replay;
    schedulerOptions.kept = options.kept;
    schedulerOptions.bFree = options.bFree;
    CScheduler scheduler(std::move(schedulerOptions));
    scheduler.m_strHeading =
        options.strName + (options.strName.empty() ? "seed " : ", seed ") + std::to_string(options.nSeed);
    CMachine machine(scheduler, DrawFlavour(options.nSeed, options.bClocksJump));
    CFaults faults(options.nSeed, options.nFaults);
    g_pFaults = &faults;
    CMemory memory(options.nSeed, options.memory);
    g_pMemory = &memory;
    const std::shared_ptr<CProcess> pProcess = machine.AddProcess(L"C:\\product\\bin\\program.exe");
    const std::shared_ptr<CThread> pMain = machine.StartThread(
        *pProcess,
        [&] {
            main();
            return 0U;
        },
        /*bSuspended=*/false);
    scheduler.Run(*pMain->m_pTask);
    machine.SwitchOff();
    g_pFaults = nullptr;
    g_pMemory = nullptr;

    Outcome outcome;
    outcome.nAllocations = memory.Count();
    outcome.nAllocationsFailed = memory.Failed();
    outcome.nSteps = scheduler.Steps();
    outcome.nMilliseconds = scheduler.Now() / kMillisecond;
    outcome.nExitCode = pProcess->m_nExitCode;
    outcome.chosen = scheduler.Chosen();
    for (const std::unique_ptr<CTask>& pTask : scheduler.Tasks()) {
        outcome.nThreadsLeft += pTask->m_state != CTask::State::Ended ? 1 : 0;
    }
    return outcome;
}

void LookForLeaks() {
#if NEXLET_ASAN
    __lsan_do_leak_check();
#endif
}

}  // namespace simulation
