// A program that uses the caller's library, and the helper that the library starts.
//
// The program has up to four clients of one mark, each with up to three threads that make calls of all kinds with
// limits of all sizes, inside and outside of callbacks, while another thread shuts the client down or closes it. The
// helper is the real one: it is ended at any moment, stopped for a while or for ever, and started again. In place of it
// the program may be one that ends at once, one that does nothing, or missing.
//
// What must hold: every call returns within its limit, with a result that its page names; a request that was begun
// tells its end once, one that was not never does; nothing is called after the close has returned; the loss of a helper
// is told once; a reply belongs to its request; nobody waits for ever; when all clients are closed the library has no
// thread and no handle.
#include <deque>
#include <vector>

#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "foundation/thread.h"
#include "simulation/kernel/faults.h"
#include "simulation/kernel/machine.h"
#include "simulation/worlds/client_callbacks.h"
#include "simulation/worlds/client_calls.h"
#include "simulation/worlds/helper_program.h"
#include "simulation/worlds/sdk_stand_ins.h"
#include "simulation/worlds/world.h"

namespace simulation {
namespace {

constexpr DWORD kMinuteMs = 60 * 1000;
constexpr wchar_t kMark[] = L"world";
// Longer than all that the threads of a client may do.
constexpr DWORD kEndMs = 60 * kMinuteMs;
// From the end of the helper to the word of it.
constexpr DWORD kLossMs = 3000;

struct ClientPlan {
    std::uint32_t nComesAfterMs = 0;
    std::uint32_t nThreads = 1;
    std::uint32_t nCalls = 0;        // of each thread
    std::uint32_t nPauseMs = 0;      // up to this long between two
    std::uint32_t nEndsAfterMs = 0;  // another thread closes the client then; 0: its last thread does
    bool bShutsFirst = false;
    bool bClosesTwice = false;  // by two threads at once
    std::uint64_t nSeed = 0;
};

CKernelHandle OnThread(std::function<void()> work) {
    const CFaults::CHold noFaults;
    return LaunchThread([work = std::move(work)] {
        const CScheduler::CHeld held(*g_pScheduler);
        work();
        return 0U;
    });
}

void Pause(std::uint32_t nMilliseconds) {
    Sleep(nMilliseconds);
}

void EndClient(ClientFacts& facts, const ClientPlan& plan) {
    if (plan.bShutsFirst) {
        ShutDown(facts);
    }
    CKernelHandle other;
    if (plan.bClosesTwice) {
        other = OnThread([&] { CloseFor(facts); });
    }
    CloseFor(facts);
    if (other) {
        WaitForSingleObject(other.get(), INFINITE);
    }
    Hold(facts.bClosed, "nobody's close has closed the client");
}

// A helper that has gone is told of before long, unless the client ends.
void ExpectLoss(const ClientFacts& facts) {
    if (!facts.bSpoke || facts.bEnding || !HelperProcesses().empty()) {
        return;
    }
    Pause(kLossMs);
    Hold(!facts.bSpoke || facts.bEnding || !HelperProcesses().empty(), "the loss of the helper is not told");
}

void RunThread(ClientFacts& facts, const ClientPlan& plan, std::uint64_t nSeed, bool bFirst) {
    CRandom random(nSeed, 0);
    if (bFirst && !random.OneIn(8)) {
        StartFor(facts, random.OneIn(3) ? 1000 : 30000, 0);
    }
    for (std::uint32_t i = 0; i < plan.nCalls; ++i) {
        MakeSomeCall(facts, random);
        if (plan.nPauseMs != 0) {
            Pause(static_cast<std::uint32_t>(random.Below(plan.nPauseMs)));
        }
        if (bFirst) {
            ExpectLoss(facts);
        }
    }
}

// All that happens with one client; a thread of its own.
void LiveOnce(ClientFacts& facts, const ClientPlan& plan) {
    Pause(plan.nComesAfterMs);
    const nexlet_result opened = OpenClient(facts);
    if (opened != NEXLET_OK) {
        const bool bRefused =
            opened == NEXLET_SYSTEM_ERROR || opened == NEXLET_NAME_TAKEN || opened == NEXLET_ACCESS_DENIED;
        Hold(bRefused && facts.pRules->bFaults, std::string("nexlet_open gives ") + nexlet_result_name(opened));
        return;
    }
    std::vector<CKernelHandle> threads;
    CRandom seeds(plan.nSeed, 0);
    for (std::uint32_t i = 0; i < plan.nThreads; ++i) {
        threads.push_back(OnThread([&, nSeed = seeds.Next(), i] { RunThread(facts, plan, nSeed, i == 0); }));
    }
    CKernelHandle closer;
    if (plan.nEndsAfterMs != 0) {
        closer = OnThread([&] {
            Pause(plan.nEndsAfterMs);
            EndClient(facts, plan);
        });
    }
    for (const CKernelHandle& thread : threads) {
        Hold(WaitForSingleObject(thread.get(), kEndMs) == WAIT_OBJECT_0, "a thread of the program never ends");
    }
    if (closer) {
        Hold(WaitForSingleObject(closer.get(), kEndMs) == WAIT_OBJECT_0, "a close never ends");
    } else {
        EndClient(facts, plan);
    }
    ExpectAllTold(facts);
    // A handle is not used again.
    Hold(InLibrary([&] { return nexlet_close(facts.client); }) == NEXLET_BAD_HANDLE, "a client is closed twice");
}

void SuspendHelper(CProcess& process) {
    for (const std::shared_ptr<CThread>& pThread : process.m_vecThreads) {
        g_pScheduler->Suspend(*pThread->m_pTask);
    }
}

void ResumeHelper(CProcess& process) {
    for (const std::shared_ptr<CThread>& pThread : process.m_vecThreads) {
        g_pScheduler->Resume(*pThread->m_pTask);
    }
}

// Ends the helper and stops it, again and again.
void Trouble(CRandom random, const bool& bOver) {
    while (!bOver) {
        Pause(static_cast<std::uint32_t>(random.Below(random.OneIn(2) ? 20000 : 1500)));
        // At a call that is not a round number of milliseconds after another.
        for (std::uint64_t i = random.Below(300); i > 0; --i) {
            Sleep(0);
        }
        const CScheduler::CInside inside(*g_pScheduler);
        const std::vector<std::shared_ptr<CProcess>> running = HelperProcesses();
        if (running.empty()) {
            continue;
        }
        CProcess& helper = *running[random.Below(running.size())];
        if (random.OneIn(2)) {
            g_pMachine->EndProcess(helper, 1);
            continue;
        }
        SuspendHelper(helper);
        const CScheduler::COutside outside(*g_pScheduler);
        Pause(static_cast<std::uint32_t>(random.Below(random.OneIn(3) ? 120000 : 4000)));
        const CScheduler::CInside again(*g_pScheduler);
        ResumeHelper(helper);
    }
}

ClientPlan Draw(CRandom& random, bool bFirst) {
    ClientPlan plan;
    plan.nComesAfterMs = bFirst ? 0 : static_cast<std::uint32_t>(random.Below(random.OneIn(3) ? 30000 : 300));
    plan.nThreads = 1 + static_cast<std::uint32_t>(random.Below(3));
    plan.nCalls = static_cast<std::uint32_t>(random.Below(random.OneIn(4) ? 25 : 8));
    plan.nPauseMs = random.OneIn(2) ? 0 : static_cast<std::uint32_t>(1 + random.Below(3000));
    plan.nEndsAfterMs =
        random.OneIn(3) ? 0 : static_cast<std::uint32_t>(1 + random.Below(random.OneIn(2) ? 60000 : 2500));
    plan.bShutsFirst = random.OneIn(3);
    plan.bClosesTwice = random.OneIn(4);
    plan.nSeed = random.Next();
    return plan;
}

std::vector<HelperStartKind> DrawStarts(CRandom& random) {
    std::vector<HelperStartKind> kinds;
    for (int i = 0; i < 4; ++i) {
        kinds.push_back(!random.OneIn(8)  ? HelperStartKind::Real
                        : random.OneIn(2) ? HelperStartKind::Ends
                                          : HelperStartKind::Idles);
    }
    return kinds;
}

// The program's threads, not those of the helpers.
std::size_t OwnThreads() {
    return g_pMachine->Process().m_vecThreads.size();
}

}  // namespace

void RunClientWorld(CRandom random) {
    const CScheduler::CHeld held(*g_pScheduler);
    ClientRules rules;
    rules.bFaults = !g_pFaults->IsNever();
    rules.bNoProgram = random.OneIn(12);
    SdkHabits habits;
    habits.bThere = random.OneIn(2);
    habits.bSlow = random.OneIn(3);
    habits.bRefuses = random.OneIn(3);
    InstallSdks(habits, CRandom(random.Next() | 1, 0));
    const std::vector<HelperStartKind> kinds = DrawStarts(random);
    if (!rules.bNoProgram) {
        InstallHelperProgram(kMark, kinds);
    }
    const bool bTrouble = random.OneIn(2);
    const std::uint64_t nTroubleSeed = random.Next();
    const auto nClients = static_cast<std::uint32_t>(1 + random.Below(random.OneIn(3) ? 4 : 2));
    std::deque<ClientFacts> facts;
    std::deque<ClientPlan> plans;
    for (std::uint32_t i = 0; i < nClients; ++i) {
        ClientFacts& fact = facts.emplace_back();
        fact.pRules = &rules;
        fact.strMark = Utf16ToUtf8(kMark);
        fact.strId = random.OneIn(4) ? "" : "svc" + std::to_string(i);
        fact.nDoneSleepsMs = random.OneIn(3) ? static_cast<std::uint32_t>(random.Below(800)) : 0;
        fact.callbackRandom = CRandom(random.Next() | 1, 0);
        plans.push_back(Draw(random, i == 0));
    }

    const std::size_t nThreadsBefore = OwnThreads();
    DWORD nHandlesBefore = 0;
    GetProcessHandleCount(GetCurrentProcess(), &nHandlesBefore);
    {
        bool bOver = false;
        CKernelHandle trouble;
        if (bTrouble && IsOn("trouble", 1)) {
            trouble = OnThread([&] {
                const CFaults::CHold noFaults;
                Trouble(CRandom(nTroubleSeed | 1, 0), bOver);
            });
        }
        std::vector<CKernelHandle> lives;
        for (std::uint32_t i = 0; i < nClients; ++i) {
            if (IsOn("client " + std::to_string(i), 1)) {
                lives.push_back(OnThread([&, i] { LiveOnce(facts[i], plans[i]); }));
            }
        }
        for (const CKernelHandle& life : lives) {
            Hold(WaitForSingleObject(life.get(), 2 * kEndMs) == WAIT_OBJECT_0, "a client never ends");
        }
        bOver = true;
        if (trouble) {
            WaitForSingleObject(trouble.get(), INFINITE);
        }
    }
    Hold(OwnThreads() == nThreadsBefore, "the library keeps threads");
    DWORD nHandles = 0;
    GetProcessHandleCount(GetCurrentProcess(), &nHandles);
    Hold(nHandles == nHandlesBefore, "the library keeps " + std::to_string(nHandles - nHandlesBefore) + " handles");
    // Callers that do not ask for it leave a helper behind, which ends by itself. Here it is ended.
    const CScheduler::CInside inside(*g_pScheduler);
    for (const std::shared_ptr<CProcess>& pProcess : HelperProcesses()) {
        g_pMachine->EndProcess(*pProcess, 0);
    }
}

}  // namespace simulation
