// The whole helper, from its start to its end, with up to 64 callers, second starts, programs that knock at its own
// pipe, and SDKs.
//
// What must hold: a caller that stays gets a reply to every request, in order and once, and keeps its connection; the
// model of helper_model.h agrees with the helper's log; nobody waits for ever; the process ends by itself when all have
// left, through its message loop and in the time that its rules allow; a helper that stays keeps nothing of callers.

#include <deque>
#include <memory>

#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "foundation/thread.h"
#include "host/forwarder.h"
#include "host/helper_host.h"
#include "ipc/transport/pipe_names.h"
#include "simulation/kernel/faults.h"
#include "simulation/kernel/machine.h"
#include "simulation/seams/memory.h"
#include "simulation/worlds/helper_caller.h"
#include "simulation/worlds/helper_model.h"
#include "simulation/worlds/helper_surroundings.h"
#include "simulation/worlds/sdk_stand_ins.h"
#include "simulation/worlds/world.h"
#include "support/envelope/base64_encode.h"

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR szArguments, int);

namespace simulation {
namespace {

constexpr DWORD kMinuteMs = 60 * 1000;
// The longest that a table stays filled after the last caller has left: a look at the pipes each minute, a delayed
// check of half a minute, and a walk each ten seconds. Calls of slow SDKs come one after the other.
constexpr DWORD kQuietMs = 3 * kMinuteMs;
constexpr DWORD kSlowQuietMs = 10 * kMinuteMs;
// The longer timer of the mark "ml" comes after that.
constexpr DWORD kEndMs = kSlowQuietMs + 12 * kMinuteMs;
constexpr std::uint32_t kFaultExit = 3;  // a lock, a port or memory that the system cannot give

struct Helper {
    CKernelHandle hProcess;
    bool bStarted = false;
    bool bOver = false;       // nobody looks at it any more
    std::wstring strRequest;  // the switches of a request that the first start carries
};

Helper* g_pHelper = nullptr;

std::wstring CommandLine(const std::wstring& strMark, const std::string& strId) {
    // The type of a plain start may be said, too.
    const std::wstring strType = strId.size() % 2 == 0 ? L" /type:1" : L"";
    return L"/from:" + strMark + strType + L" /service_id:" + Utf8ToUtf16(strId);
}

std::shared_ptr<CProcess> HelperProcess() {
    return g_pMachine->Process().FindAs<CProcess>(g_pHelper->hProcess.get());
}

CallerPlan Draw(CRandom& random, CallerFacts& facts, bool bFirst) {
    CallerPlan plan;
    plan.pFacts = &facts;
    plan.nSeed = random.Next();
    plan.bStartsHelper = bFirst;
    plan.nComesAfterMs = bFirst ? 0 : static_cast<std::uint32_t>(random.Below(random.OneIn(3) ? 90000 : 3000));
    plan.nQuota = random.OneIn(2) ? 0 : 1U << random.Below(14);
    plan.bGate = !random.OneIn(3);
    plan.bAims = random.OneIn(2);
    plan.bHoldsGate = plan.bGate && random.OneIn(6);
    plan.bBroken = random.OneIn(10);
    plan.bReads = !random.OneIn(8);
    plan.nAsksForExit = random.OneIn(3) ? static_cast<std::uint32_t>(1 + random.Below(random.OneIn(2) ? 12 : 1)) : 0;
    plan.nStaysMs = static_cast<std::uint32_t>(random.Below(random.OneIn(3) ? 150000 : 4000));
    if (random.OneIn(3)) {
        plan.vanishAt = random.Below(50);
    }
    for (std::uint64_t i = random.Below(6); i > 0; --i) {
        plan.requests.push_back(static_cast<int>(2 + random.Below(7)));
    }
    return plan;
}

void LeaveOutParts(CallerPlan& plan, const std::string& strName) {
    const auto leaveOut = [&](bool& bHas, const char* szPart) { bHas = bHas && IsOn(strName + szPart); };
    leaveOut(plan.bAims, " aims at the walk");
    leaveOut(plan.bHoldsGate, " holds the gate");
    leaveOut(plan.bBroken, " sends something else");
    if (plan.nAsksForExit > 0 && !IsOn(strName + " asks for its end")) {
        plan.nAsksForExit = 0;
    }
    if (plan.vanishAt && !IsOn(strName + " vanishes")) {
        plan.vanishAt.reset();
    }
    std::vector<int> requests;
    for (std::size_t i = 0; i < plan.requests.size(); ++i) {
        if (IsOn(strName + ", request " + std::to_string(i))) {
            requests.push_back(plan.requests[i]);
        }
    }
    plan.requests = std::move(requests);
}

// All lives under one service id, one after the other.
void LiveAgainAndAgain(std::deque<CallerPlan> lives) {
    const CFaults::CHold noFaults;
    for (const CallerPlan& plan : lives) {
        const CKernelHandle hLife(StartProcess([plan] {
            WatchNoRaces();
            RunCaller(plan);
        }));
        Hold(WaitForSingleObject(hLife.get(), 3 * 3600 * 1000) == WAIT_OBJECT_0, "a caller never ends");
    }
}

// An open that is under way before the helper has a window.
std::wstring StartRequest(CRandom& random) {
    CRandom text(random.Next() | 1, 0);
    bool bUnused = false;
    constexpr int kOpen = 6;
    const std::string strOpen = RequestText(kOpen, "0", -1, text, bUnused);
    return L" /type:6 /param:" +
           Utf8ToUtf16(Base64EncodeNoBreaks(reinterpret_cast<const std::uint8_t*>(strOpen.data()), strOpen.size()));
}

// Sees that the process is ended when its main thread does not come back to its messages.
void WatchMainThread() {
    // The watch sends after a pause of a second and waits for 15.
    constexpr int kLongestSeconds = 20;
    int nSilent = 0;
    while (!g_pHelper->bOver) {
        Sleep(1000);
        const CScheduler::CInside inside(*g_pScheduler);
        const std::shared_ptr<CProcess> pProcess = g_pHelper->hProcess ? HelperProcess() : nullptr;
        if (!pProcess || pProcess->m_vecThreads.empty()) {
            continue;
        }
        const CTask& main = *pProcess->m_vecThreads.front()->m_pTask;
        nSilent = std::string_view(main.m_szWaitsFor) == "a message" ? 0 : nSilent + 1;
        Hold(nSilent < kLongestSeconds, "the main thread hangs, and nobody ends the process");
    }
}

// A helper of the mark "ml" without callers: what it keeps does not grow with the number of its callers.
void ExpectNothingKept(const std::deque<CallerFacts>& facts) {
    for (const CallerFacts& fact : facts) {
        InstanceParam param;
        Hold(!CommzoltHelperS::GetInstance()->GetInstanceParam(fact.strId, param), "a record outlives its instance");
    }
    Hold(CommzoltHelperS::GetInstance()->InstanceCount() == 0, "an instance stays without a caller");
    Hold(ModelInstances() == 0, "an instance ended without a line in the log");
    std::map<std::string, std::size_t> kinds;
    for (const ObjectPointer& pObject : HelperProcess()->Objects()) {
        ++kinds[pObject->Kind()];
    }
    Hold(kinds["pipe"] <= 1, "the helper keeps the ends of pipes");
    Hold(kinds["completion port"] <= 1, "the helper keeps completion ports");
    Hold(kinds["thread"] <= 3, "the helper keeps handles of threads");
    Hold(kinds["event"] <= 12, "the helper keeps events");
    Hold(HelperProcess()->m_vecThreads.size() <= 6, "the helper keeps threads");
}

// A caller that comes, has some replies, asks for its end and leaves.
void Visit(CallerFacts& facts) {
    CallerPlan plan;
    plan.pFacts = &facts;
    plan.nSeed = 1;
    plan.nQuota = 4096;
    plan.bGate = true;
    plan.nAsksForExit = 1;
    plan.requests = {2, 3, 4, 5};
    const CKernelHandle hLife(StartProcess([plan] {
        WatchNoRaces();
        RunCaller(plan);
    }));
    Hold(WaitForSingleObject(hLife.get(), 3 * 3600 * 1000) == WAIT_OBJECT_0, "a caller never ends");
}

// What a visitor costs comes back when it has left, the second time at the latest: some things are made once and kept.
// Others, which have nothing to do with callers, may be made during a visit, so one visit of these is enough.
void ExpectNoMemoryLost(const HelperRules& rules) {
    constexpr int kVisits = 4;
    // From the request for its end to the walk after the delayed destroy.
    constexpr DWORD kLeavesMs = 25 * 1000;
    CallerFacts visitor;
    visitor.strId = "visitor";
    visitor.strMark = rules.strMark;
    visitor.bForeignExits = true;  // it may meet the end of the helper
    for (int i = 0; i < kVisits; ++i) {
        const std::size_t nBefore = g_pMemory->Blocks();
        Visit(visitor);
        if (WaitForSingleObject(g_pHelper->hProcess.get(), kLeavesMs) == WAIT_OBJECT_0) {
            return;
        }
        if (i > 0 && g_pMemory->Blocks() <= nBefore) {
            return;
        }
    }
    Hold(ModelInstances() != 0, "the helper keeps memory of callers that have left");
}

// Waits for the end of a helper whose callers have all left.
void ExpectTheEnd(const HelperRules& rules, const std::deque<CallerFacts>& facts, bool bMayStay) {
    const HANDLE hProcess = g_pHelper->hProcess.get();
    const DWORD nQuietMs = rules.bMayHang ? kSlowQuietMs : kQuietMs;
    if (rules.strMark == L"ml" && !bMayStay && WaitForSingleObject(hProcess, nQuietMs) == WAIT_TIMEOUT) {
        ExpectNothingKept(facts);
        ExpectNoMemoryLost(rules);
        Sleep(2 * kMinuteMs);  // the second starts of the visits end by themselves
    }
    // The patient mark has the longer timer alone.
    const bool bEnded =
        WaitForSingleObject(hProcess, rules.strMark == L"ml" || bMayStay ? kEndMs : nQuietMs) == WAIT_OBJECT_0;
    Hold(bEnded || bMayStay, "the helper does not end when all have left");
    if (!bEnded) {
        TerminateProcess(hProcess, 0);
        return;
    }
    DWORD nExitCode = 0;
    GetExitCodeProcess(hProcess, &nExitCode);
    Hold(nExitCode == 0 || (rules.bMayFault && nExitCode == kFaultExit),
         "the helper ends with " + std::to_string(nExitCode));
    Hold(nExitCode != kFaultExit || HasSaidUncaught() || g_pMemory->Failed() > 1,
         "the helper ends by an exception without a line in the log");
    Hold(HasLeftItsLoop() || rules.bMayHang || rules.bMayFault, "the helper ends by something else than its timers");
}

}  // namespace

void* StartHelper(const std::wstring& strMark, const std::string& strId) {
    if (g_pHelper->bStarted) {
        return StartSecond(strMark, strId);
    }
    g_pHelper->bStarted = true;
    return StartProcess(
        [strLine = CommandLine(strMark, strId) + g_pHelper->strRequest]() mutable {
            // The process's handle belongs to the world.
            wWinMain(nullptr, nullptr, strLine.data(), 0);
        },
        L"C:\\product\\bin\\nexlet.exe",
        [](const std::shared_ptr<CProcess>& pProcess) {
            g_pMemory->Watch(pProcess->m_nId);
            g_pHelper->hProcess.reset(g_pMachine->FindProcess(1)->Open(pProcess));
        });
}

void* StartSecond(const std::wstring& strMark, const std::string& strId) {
    return StartProcess([strMark, strLine = CommandLine(strMark, strId)] {
        WatchNoRaces();
        const CFaults::CHold noFaults;
        const CKernelHandle mutex(CreateMutexW(nullptr, TRUE, HostMutexName(strMark).c_str()));
        // A process that would be the first one again cannot be: the static objects of the first are still there.
        if (GetLastError() == ERROR_ALREADY_EXISTS) {
            ExistzoltExcute(strLine);
            Sleep(kMinuteMs);  // the end of its worker, which nobody waits for, is looked at too
        }
    });
}

void RunHelperWorld(CRandom random) {
    WatchNoRaces();
    static Helper helper;
    g_pHelper = &helper;
    const bool bFaults = !g_pFaults->IsNever();
    const bool bMayEnd = bFaults || !g_pMemory->IsNever();  // by an exception
    HelperRules rules;
    rules.strMark = random.OneIn(2) ? L"ml" : L"world";
    SdkHabits habits;
    habits.bThere = random.OneIn(2);
    habits.bSlow = random.OneIn(2);
    habits.bHangs = habits.bThere && random.OneIn(8);
    habits.bRefuses = random.OneIn(3);
    habits.bThere = habits.bThere && IsOn("SDKs");
    habits.bSlow = habits.bSlow && IsOn("slow SDKs");
    habits.bHangs = habits.bHangs && IsOn("hanging SDKs");
    habits.bRefuses = habits.bRefuses && IsOn("refusing SDKs");
    const Surroundings surroundings = DrawSurroundings(random);
    // A helper that uses too much of the processor is closed or ended while callers are there.
    rules.bMayHang = surroundings.bBurns || (habits.bThere && (habits.bHangs || habits.bSlow));
    rules.bMayFault = bMayEnd;
    if (rules.strMark == L"ml" && !bMayEnd) {
        g_pMemory->KeepCensus();
    }
    WatchHelper(rules);
    InstallSdks(habits, CRandom(random.Next() | 1, 0));
    InstallSurroundings(surroundings);

    const auto nIds = static_cast<std::uint32_t>(1 + random.Below(random.OneIn(20) ? 64 : random.OneIn(4) ? 12 : 4));
    const bool bKnocks = random.OneIn(3);
    const bool bKnocksExits = random.OneIn(2);
    if (random.OneIn(6)) {
        helper.strRequest = StartRequest(random);
    }
    std::deque<CallerFacts> facts;
    std::vector<std::string> ids;
    std::vector<CKernelHandle> waiters;
    for (std::uint32_t i = 0; i < nIds; ++i) {
        CallerFacts& fact = facts.emplace_back();
        fact.strId = std::to_string(i);
        fact.strMark = rules.strMark;
        fact.bKnocked = bKnocks;
        fact.bForeignExits = bKnocks && bKnocksExits;
        fact.bMayHang = rules.bMayHang;
        fact.bFaults = bMayEnd;
        ids.push_back(fact.strId);
        const std::string strName = "service id " + fact.strId;
        std::deque<CallerPlan> lives;
        for (std::uint64_t k = 1 + (random.OneIn(3) ? random.Below(3) : 0); k > 0; --k) {
            lives.push_back(Draw(random, fact, i == 0 && lives.empty()));
            lives.back().bFirstLife = lives.size() == 1;
            LeaveOutParts(lives.back(), strName + ", life " + std::to_string(lives.size()));
        }
        if (lives.size() > 1 && !IsOn(strName + ", further lives")) {
            lives.resize(1);
        }
        if (!IsOn(strName, 1)) {
            continue;
        }
        const CFaults::CHold noFaults;
        waiters.push_back(LaunchThread([lives] {
            LiveAgainAndAgain(lives);
            return 0U;
        }));
    }
    const CFaults::CHold noFaults;
    CKernelHandle watch;
    if (!bFaults) {
        watch = LaunchThread([] {
            WatchMainThread();
            return 0U;
        });
    }
    CKernelHandle knocker;
    if (bKnocks) {
        const std::uint64_t nSeed = random.Next();
        if (IsOn("knocker", 1)) {
            knocker.reset(StartProcess([=] {
                WatchNoRaces();
                RunKnocker(rules.strMark, ids, bKnocksExits, nSeed);
            }));
        }
    }
    for (const CKernelHandle& waiter : waiters) {
        Hold(WaitForSingleObject(waiter.get(), INFINITE) == WAIT_OBJECT_0, "a caller never ends");
    }
    // A server that lacks its thread or its port takes a connection and reads nothing.
    if (knocker && WaitForSingleObject(knocker.get(), 60 * kMinuteMs) != WAIT_OBJECT_0) {
        Hold(rules.bMayFault || rules.bMayHang, "the helper's own pipe is not read");
        TerminateProcess(knocker.get(), 0);
    }
    Sleep(2 * kMinuteMs);  // second starts end by themselves
    EndMonitor();
    if (helper.hProcess) {
        bool bMayStay = bFaults || habits.bHangs;
        for (const CallerFacts& fact : facts) {
            bMayStay = bMayStay || fact.bMayStay;
        }
        ExpectTheEnd(rules, facts, bMayStay);
    }
    helper.bOver = true;
    if (watch) {
        WaitForSingleObject(watch.get(), INFINITE);
    }
}

}  // namespace simulation
