#include "simulation/kernel/scheduler.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

extern "C" int __real_sched_yield();

namespace simulation {

CScheduler* g_pScheduler = nullptr;

namespace {

constexpr int kFailureExit = 86;
constexpr std::uint64_t kMostPoints = 50'000'000;
// Longer than any world lasts. Threads that only come back from time to time hide that another waits for ever.
constexpr Nanoseconds kLongestRun = 1000 * 3600 * kSecond;
constexpr std::uint64_t kRandomStream = 1;
constexpr std::uint64_t kEdgeStream = 2;

void Remove(std::vector<CTask*>& list, const CTask* pTask) {
    list.erase(std::remove(list.begin(), list.end(), pTask), list.end());
}

// The stack of a thread that was ended where it was, or still waits. What it owned is reached from there, so it is
// not a leak, and nothing can give it back.
void KeepForGood(std::unique_ptr<CFiber> pFiber) {
    static auto& kept = *new std::vector<std::unique_ptr<CFiber>>;
    pFiber->KeepOwned();
    kept.push_back(std::move(pFiber));
}

}  // namespace

CScheduler::CScheduler(SchedulerOptions options)
    : m_random(options.nSeed, kRandomStream),
      m_edges(options.nSeed, kEdgeStream),
      m_nEdges(options.nEdges),
      m_nJumps(options.nJumps),
      m_pStrategy(std::move(options.pStrategy)),
      m_bReplay(options.bReplay),
      m_plan(PlanOf(options.kept)),
      m_bFree(options.bFree) {
    m_nEdgesLeft = m_edges.Below(2 * m_nEdges) + 1;
    HappensBefore(this);
    // Until Run: no thread begins before.
    TakeMachine();
}

CScheduler::~CScheduler() {
    for (const std::unique_ptr<CTask>& pTask : m_vecTasks) {
        if (pTask->m_pFiber) {
            KeepForGood(std::move(pTask->m_pFiber));
        }
    }
}

void CScheduler::Run(CTask& main) {
    m_pMain = &main;
    g_pScheduler = this;
    if (m_bFree) {
        const std::uint32_t nGiven = m_over.Given();
        ReleaseMachine();
        m_over.Await(nGiven);
        TakeMachine();  // the last thread has left it
        ReleaseMachine();
        g_pScheduler = nullptr;
        return;
    }
    s_pCurrent = m_pMain;
    CFiber::Switch(m_outside, *m_pMain->m_pFiber);
    HappensAfter(m_pMain);
    g_pScheduler = nullptr;
    s_pCurrent = nullptr;
}

CTask& CScheduler::Add(std::uint32_t nProcess, std::string strName, std::function<void()> work, bool bSuspended) {
    const auto nId = static_cast<std::uint32_t>(m_vecTasks.size() + 1);
    const std::string strPath =
        s_pCurrent != nullptr ? s_pCurrent->m_strPath + "." + std::to_string(++s_pCurrent->m_nChildren) : "1";
    m_vecTasks.push_back(std::make_unique<CTask>(nId, nProcess, std::move(strName), strPath, std::move(work)));
    CTask& task = *m_vecTasks.back();
    if (const auto found = m_plan.find(strPath); found != m_plan.end()) {
        task.m_pKept = &found->second;
    }
    task.m_nSuspended = bSuspended ? 1 : 0;
    HappensBefore(&task.m_nSuspended);
    m_pStrategy->Added(task);
    if (task.IsReady()) {
        SetReady(task);
    }
    if (m_bFree) {
        StartDetached([this, &task] { RunFree(task); });
        return task;
    }
    task.m_pFiber = std::make_unique<CFiber>([this, &task]() noexcept {
        m_pDead.reset();
        // After what was done before the run, and after what its starter had done.
        HappensAfter(this);
        HappensAfter(&task.m_nSuspended);
        task.m_work();
        // Until it leaves for good.
        BeginOwnWork();
        task.m_work = nullptr;
        End(task);
    });
    return task;
}

void CScheduler::RunFree(CTask& task) {
    BeginOwnWork();
    s_pCurrent = &task;
    TakeMachine();
    ReleaseMachine();
    EndOwnWork();
    HappensAfter(this);
    HappensAfter(&task.m_nSuspended);
    task.m_work();
    BeginOwnWork();
    // A thread that is not watched has it already.
    TakeMachine();
    task.m_work = nullptr;
    MarkEnded(task);
    MarkStopped(task);
    m_machine.Release();
    s_pCurrent = nullptr;
    EndAllOwnWork();
}

void CScheduler::EnterMachine() {
    m_machine.Take();
    if (s_pCurrent != nullptr && !s_pCurrent->IsReady()) {
        AwaitTurn(*s_pCurrent);
    }
}

int CScheduler::LendMachine() {
    if (!m_bFree || g_watching.bForeign) {
        return 0;
    }
    const int nTaken = std::exchange(s_nTaken, 0);
    if (nTaken > 0) {
        m_machine.Release();
    }
    return nTaken;
}

void CScheduler::TakeMachineBack(int nTaken) {
    if (nTaken > 0) {
        EnterMachine();
        s_nTaken = nTaken;
    }
}

void CScheduler::BecomeForeign() {
    if (!g_watching.bForeign) {
        simulation::BecomeForeign();
        TakeMachine();
    }
}

void CScheduler::MarkStopped(CTask& task) {
    if (std::exchange(task.m_bRuns, false) && --m_nRunning == 0 && !PassTime()) {
        m_over.Give();
    }
}

void CScheduler::AwaitTurn(CTask& task) {
    while (!task.IsReady()) {
        const std::uint32_t nGiven = task.m_turn.Given();
        HappensBefore(&task.m_turn);
        MarkStopped(task);
        if (!task.m_bRuns) {
            m_machine.Release();
            task.m_turn.Await(nGiven);
            m_machine.Take();
        }
    }
}

void CScheduler::SetReady(CTask& task) {
    m_vecReady.insert(
        std::upper_bound(m_vecReady.begin(), m_vecReady.end(), &task,
                         [](const CTask* pOne, const CTask* pOther) { return pOne->m_nId < pOther->m_nId; }),
        &task);
    if (m_bFree && !task.m_bRuns) {
        task.m_bRuns = true;
        ++m_nRunning;
        task.m_turn.Give();
    }
}

void CScheduler::RemoveReady(CTask& task) {
    Remove(m_vecReady, &task);
}

void CScheduler::Suspend(CTask& task) {
    if (task.IsReady()) {
        RemoveReady(task);
    }
    ++task.m_nSuspended;
    if (&task == s_pCurrent) {
        Dispatch();
    }
}

std::uint32_t CScheduler::Resume(CTask& task) {
    const std::uint32_t nBefore = task.m_nSuspended;
    HappensBefore(&task.m_nSuspended);
    if (nBefore > 0 && --task.m_nSuspended == 0 && task.m_state == CTask::State::Ready) {
        SetReady(task);
    }
    return nBefore;
}

void CScheduler::End(CTask& task) {
    if (task.m_state == CTask::State::Ended) {
        return;
    }
    MarkEnded(task);
    if (&task == s_pCurrent) {
        Dispatch();
    }
}

void CScheduler::MarkEnded(CTask& task) {
    if (task.IsReady()) {
        RemoveReady(task);
    }
    for (CWaitList* const pList : task.m_vecLists) {
        Remove(*pList, &task);
    }
    task.m_vecLists.clear();
    Remove(m_vecTimed, &task);
    task.m_state = CTask::State::Ended;
    m_bEnding = m_bEnding || &task == m_pMain;
}

Nanoseconds CScheduler::Deadline(std::uint32_t nMilliseconds) const {
    return nMilliseconds == 0xFFFFFFFFU ? kNever : m_nNow + nMilliseconds * kMillisecond;
}

void CScheduler::WakeExpired() {
    if (m_nNow < m_nEarliest) {
        return;
    }
    m_nEarliest = kNever;
    for (std::size_t i = 0; i < m_vecTimed.size();) {
        CTask& task = *m_vecTimed[i];
        if (task.m_nDeadline > m_nNow) {
            m_nEarliest = std::min(m_nEarliest, task.m_nDeadline);
            ++i;
            continue;
        }
        m_vecTimed.erase(m_vecTimed.begin() + static_cast<std::ptrdiff_t>(i));
        for (CWaitList* const pList : task.m_vecLists) {
            Remove(*pList, &task);
        }
        task.m_vecLists.clear();
        task.m_bWoken = false;
        task.m_state = CTask::State::Ready;
        if (task.IsReady()) {
            SetReady(task);
        }
    }
}

CTask* CScheduler::Choose() {
    CTask* const pCurrent = s_pCurrent->IsReady() ? s_pCurrent : nullptr;
    CTask* const pByItself = NextByItself(std::exchange(m_bYielded, false));
    CTask* const pKept = KeptNext(*s_pCurrent);
    ++m_nStep;
    CTask* const pNext = pKept != nullptr ? pKept : m_pStrategy->Choose(m_nStep, m_vecReady, pCurrent, pByItself);
    if (pNext != pByItself) {
        Keep(ChoiceKind::Switch, *s_pCurrent, pNext->m_strPath);
    }
    return pNext;
}

CTask* CScheduler::NextByItself(bool bYielded) const {
    if (!s_pCurrent->IsReady()) {
        return m_vecReady.front();
    }
    if (!bYielded) {
        return s_pCurrent;
    }
    const auto after =
        std::upper_bound(m_vecReady.begin(), m_vecReady.end(), s_pCurrent,
                         [](const CTask* pOne, const CTask* pOther) { return pOne->m_nId < pOther->m_nId; });
    return after != m_vecReady.end() ? *after : m_vecReady.front();
}

CTask* CScheduler::KeptNext(CTask& running) {
    const std::string* const pPath =
        running.m_pKept != nullptr ? running.m_pKept->Find(ChoiceKind::Switch, running.m_nPosition) : nullptr;
    if (pPath == nullptr) {
        return nullptr;
    }
    const auto found = std::find_if(m_vecReady.begin(), m_vecReady.end(),
                                    [&](const CTask* pTask) { return pTask->m_strPath == *pPath; });
    return found != m_vecReady.end() ? *found : nullptr;
}

bool CScheduler::JumpsHere() {
    CTask& task = *s_pCurrent;
    const bool bJumps =
        m_bReplay ? task.m_pKept != nullptr && task.m_pKept->Find(ChoiceKind::Jump, task.m_nPosition) != nullptr
                  : m_random.OneIn(m_nJumps);
    if (bJumps) {
        Keep(ChoiceKind::Jump, task, "");
    }
    return bJumps;
}

std::uint32_t CScheduler::Fault(const std::function<std::uint32_t()>& draw) {
    CTask& task = *s_pCurrent;
    ++task.m_nPosition;
    std::uint32_t nError = 0;
    if (!m_bReplay) {
        nError = draw();
    } else if (const std::string* const pError =
                   task.m_pKept != nullptr ? task.m_pKept->Find(ChoiceKind::Fault, task.m_nPosition) : nullptr) {
        nError = static_cast<std::uint32_t>(std::stoul(*pError));
    }
    if (nError != 0) {
        Keep(ChoiceKind::Fault, task, std::to_string(nError));
    }
    return nError;
}

void CScheduler::Keep(ChoiceKind kind, const CTask& task, std::string strValue) {
    m_chosen.push_back({kind, task.m_strPath, task.m_nPosition, std::move(strValue)});
    if (m_bReplay && kind == ChoiceKind::Switch) {
        CTrace::Line line;
        line.nAt = m_nNow;
        line.nTask = task.m_nId;
        line.szWhat = CTrace::kSwitch;
        line.strText = m_chosen.back().strValue;
        m_trace.Add(std::move(line));
    }
}

void CScheduler::Point() {
    ++s_pCurrent->m_nPosition;
    m_nNow += kMicrosecond;
    if (++m_nPoints > kMostPoints) {
        Fail("no end: threads go round and round without waiting for anything");
    }
    if (!m_vecTimed.empty()) {
        if (JumpsHere()) {
            for (const CTask* const pTask : m_vecTimed) {
                m_nNow = std::max(m_nNow, std::min(pTask->m_nDeadline, m_nNow + kSecond));
            }
        }
        WakeExpired();
    }
    if (m_vecReady.size() > 1 && !m_bFree) {
        SwitchTo(Choose());
    }
}

void CScheduler::EdgeOfChoice(bool bDrawn) {
    CTask& task = *s_pCurrent;
    // A kept choice makes its edge a point, whichever edges are points under the choices that are left.
    if (!bDrawn && (task.m_pKept == nullptr || !task.m_pKept->HasAt(task.m_nPosition + 1))) {
        ++task.m_nPosition;
        return;
    }
    const CInside inside(*this);
    if (bDrawn) {
        m_nEdgesLeft = m_edges.Below(2 * m_nEdges) + 1;
    }
    Point();
}

void CScheduler::Yield() {
    if (m_bFree) {
        Point();
        m_machine.Release();
        __real_sched_yield();
        EnterMachine();
        return;
    }
    m_pStrategy->Yielded(*s_pCurrent);
    m_bYielded = true;
    Point();
    m_bYielded = false;
}

bool CScheduler::Park(std::initializer_list<CWaitList*> lists, Nanoseconds nDeadline, const char* szWhat) {
    return Park(std::vector<CWaitList*>(lists), nDeadline, szWhat);
}

bool CScheduler::Park(const std::vector<CWaitList*>& lists, Nanoseconds nDeadline, const char* szWhat) {
    CTask& task = *s_pCurrent;
    RemoveReady(task);
    task.m_state = CTask::State::Parked;
    task.m_nDeadline = nDeadline;
    task.m_szWaitsFor = szWhat;
    task.m_bWoken = false;
    task.m_vecLists = lists;
    for (CWaitList* const pList : lists) {
        pList->push_back(&task);
    }
    if (nDeadline != kNever) {
        m_vecTimed.push_back(&task);
        m_nEarliest = std::min(m_nEarliest, nDeadline);
    }
    Dispatch();
    task.m_szWaitsFor = "";
    return task.m_bWoken;
}

void CScheduler::Wake(CTask& task) {
    if (task.m_state != CTask::State::Parked) {
        return;
    }
    for (CWaitList* const pList : task.m_vecLists) {
        Remove(*pList, &task);
    }
    task.m_vecLists.clear();
    Remove(m_vecTimed, &task);
    task.m_bWoken = true;
    task.m_state = CTask::State::Ready;
    if (task.IsReady()) {
        SetReady(task);
    }
}

void CScheduler::WakeAll(CWaitList& list) {
    while (!list.empty()) {
        Wake(*list.front());
    }
}

void CScheduler::WakeOne(CWaitList& list) {
    if (list.empty()) {
        return;
    }
    // The machine is switched off by none of its threads.
    if (s_pCurrent == nullptr) {
        Wake(*list.front());
        return;
    }
    CTask& running = *s_pCurrent;
    ++running.m_nPosition;
    CTask* pWoken = list.front();
    if (!m_bReplay) {
        pWoken = list[m_random.Below(list.size())];
    } else if (const std::string* const pPath = running.m_pKept != nullptr
                                                    ? running.m_pKept->Find(ChoiceKind::Wake, running.m_nPosition)
                                                    : nullptr) {
        const auto found =
            std::find_if(list.begin(), list.end(), [&](const CTask* pTask) { return pTask->m_strPath == *pPath; });
        pWoken = found != list.end() ? *found : pWoken;
    }
    if (pWoken != list.front()) {
        Keep(ChoiceKind::Wake, running, pWoken->m_strPath);
    }
    Wake(*pWoken);
}

void CScheduler::Dispatch() {
    ++s_pCurrent->m_nPosition;
    if (m_bFree) {
        AwaitTurn(*s_pCurrent);
    } else {
        SwitchTo(PassTime() ? Choose() : nullptr);
    }
}

bool CScheduler::PassTime() {
    while (m_vecReady.empty()) {
        if (m_bEnding) {
            return false;
        }
        if (m_vecTimed.empty()) {
            ReportDeadlock();
        }
        Nanoseconds nNext = kNever;
        for (const CTask* const pTask : m_vecTimed) {
            nNext = std::min(nNext, pTask->m_nDeadline);
        }
        m_nNow = std::max(m_nNow, nNext);
        if (m_nNow > kLongestRun) {
            Fail("no end: time passes, and a thread waits for ever");
        }
        WakeExpired();
    }
    return true;
}

void CScheduler::SwitchTo(CTask* pNext) {
    CTask* const pFrom = s_pCurrent;
    if (pNext == pFrom) {
        return;
    }
    CFiber* const pFiber = pFrom->m_pFiber.get();
    const bool bLast = pFrom->m_state == CTask::State::Ended && !pFrom->m_work;
    if (bLast) {
        m_pDead = std::move(pFrom->m_pFiber);
        EndAllOwnWork();
    }
    s_pCurrent = pNext;
    const int nInside = std::exchange(s_nInside, 0);
    CFiber::Switch(*pFiber, pNext != nullptr ? *pNext->m_pFiber : m_outside, bLast);
    s_nInside = nInside;
    m_pDead.reset();
}

void CScheduler::ReportDeadlock() {
    Fail("deadlock: every thread waits, and nothing is to come");
}

void CScheduler::Fail(const std::string& strReason) {
    const CInside inside(*this);
    std::fflush(stdout);
    std::fprintf(stderr, "== %s\n", m_strHeading.c_str());
    m_trace.Print(stderr);
    std::fprintf(stderr, "== threads\n");
    for (const std::unique_ptr<CTask>& pTask : m_vecTasks) {
        if (pTask->m_state == CTask::State::Ended) {
            continue;
        }
        std::fprintf(stderr, "thread %u of process %u, %s: %s %s", pTask->m_nId, pTask->m_nProcess,
                     pTask->m_strName.c_str(), pTask->m_state == CTask::State::Parked ? "waits for" : "can run",
                     pTask->m_szWaitsFor);
        if (pTask->m_nSuspended > 0) {
            std::fprintf(stderr, ", suspended");
        }
        for (const void* const pLock : pTask->m_vecHeld) {
            std::fprintf(stderr, ", holds %p", pLock);
        }
        std::fputc('\n', stderr);
    }
    std::fprintf(stderr, "== %s\n== %s, after %llu ms and %llu steps, %s\n", strReason.c_str(), m_strHeading.c_str(),
                 static_cast<unsigned long long>(m_nNow / kMillisecond), static_cast<unsigned long long>(m_nStep),
                 m_pStrategy->Name().c_str());
    std::fflush(stderr);
    if (s_pfnFailing != nullptr) {
        s_pfnFailing(strReason);
    }
    std::_Exit(kFailureExit);
}

}  // namespace simulation
