// The one place where simulated threads run, wait and wake, and where time passes.
//
// One thread runs at a time, on a stack of its own, all of them on one thread of the operating system. It runs until it
// comes to a point (a system call, a lock, an edge of the product's code that the compiler has marked) at which the
// strategy takes another. Time stops while a thread can run, except for a microsecond each call, and jumps to the
// next end of a wait when none can.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "simulation/kernel/happens_before.h"
#include "simulation/kernel/random.h"
#include "simulation/kernel/strategy.h"
#include "simulation/kernel/task.h"
#include "simulation/kernel/trace.h"

namespace simulation {

struct SchedulerOptions {
    std::uint64_t nSeed = 1;
    // On average one in so many marked edges is a point, beside every call. 0: none.
    std::uint64_t nEdges = 0;
    // One in so many points lets time jump to the next end of a wait although threads can run, as on a machine that is
    // busy with something else. 0: never.
    std::uint64_t nJumps = 0;
    std::unique_ptr<IStrategy> pStrategy;
    // The run follows these choices and draws none.
    bool bReplay = false;
    Choices kept;
};

class CScheduler {
  public:
    explicit CScheduler(SchedulerOptions options);
    ~CScheduler();
    CScheduler(const CScheduler&) = delete;
    CScheduler& operator=(const CScheduler&) = delete;

    // Runs the main thread, one of Add's, and all that it starts, until it has ended and no other thread can run
    // without the passing of time. Threads that still wait then are left where they are.
    void Run(CTask& main);

    CTask& Add(std::uint32_t nProcess, std::string strName, std::function<void()> work, bool bSuspended);
    void Suspend(CTask& task);
    // How often it was suspended before.
    std::uint32_t Resume(CTask& task);
    // Ends a thread where it is. Does not return when it is the running one.
    void End(CTask& task);

    CTask& Current() { return *m_pCurrent; }
    // Whether code of the product runs now, in this process, whose calls may fail.
    bool IsProduct(std::uint32_t nProcess) const {
        return m_nInside == 0 && m_pCurrent != nullptr && m_pCurrent->m_nProcess == nProcess &&
               m_pCurrent->m_nFaultsHeld == 0;
    }
    // That of the running thread; 0 outside of a run.
    std::uint32_t RunningProcess() const { return m_pCurrent != nullptr ? m_pCurrent->m_nProcess : 0; }
    Nanoseconds Now() const { return m_nNow; }
    // After the end of a wait of so many milliseconds that begins now; 0xFFFFFFFF is never.
    Nanoseconds Deadline(std::uint32_t nMilliseconds) const;
    std::uint64_t Steps() const { return m_nStep; }
    CRandom& Random() { return m_random; }
    CTrace& Trace() { return m_trace; }
    // What was chosen so far, in the order of time.
    const Choices& Chosen() const { return m_chosen; }
    // Of these errors the one with which the running thread's call fails, or 0: the place of a choice. draw is asked in
    // a run that draws.
    std::uint32_t Fault(const std::function<std::uint32_t()>& draw);
    // The running thread would have started a further thread here: the paths of its later ones stay as they are.
    void LeaveOutThread() { ++m_pCurrent->m_nChildren; }
    const std::vector<std::unique_ptr<CTask>>& Tasks() const { return m_vecTasks; }

    // A place at which another thread may be taken.
    void Point();
    // The same, for one in so many of the product's marked edges.
    void Edge() {
        // Objects of the program are destroyed when no thread of the machine runs any more.
        if (m_nInside != 0 || m_pCurrent == nullptr) {
            return;
        }
        const bool bDrawn = m_nEdges != 0 && --m_nEdgesLeft == 0;
        if (!bDrawn && m_pCurrent->m_pKept == nullptr) {
            ++m_pCurrent->m_nPosition;
            return;
        }
        EdgeOfChoice(bDrawn);
    }
    // A place at which another thread should be taken.
    void Yield();

    // While the simulation itself works: what it shares with the product's code is not a point of the schedule then.
    class CInside {
      public:
        explicit CInside(CScheduler& scheduler) : m_scheduler(scheduler) {
            BeginOwnWork();
            ++m_scheduler.m_nInside;
        }
        ~CInside() {
            --m_scheduler.m_nInside;
            EndOwnWork();
        }
        CInside(const CInside&) = delete;
        CInside& operator=(const CInside&) = delete;

      private:
        CScheduler& m_scheduler;
    };

    // While the simulation calls the product's code, as for a message: its edges are points again.
    class COutside {
      public:
        explicit COutside(CScheduler& scheduler)
            : m_scheduler(scheduler), m_nInside(std::exchange(scheduler.m_nInside, 0)) {
            for (int i = 0; i < m_nInside; ++i) {
                EndOwnWork();
            }
        }
        ~COutside() {
            for (int i = 0; i < m_nInside; ++i) {
                BeginOwnWork();
            }
            m_scheduler.m_nInside = m_nInside;
        }
        COutside(const COutside&) = delete;
        COutside& operator=(const COutside&) = delete;

      private:
        CScheduler& m_scheduler;
        const int m_nInside;
    };

    // Waits until woken or until the deadline has passed; false for the second. szWhat is a literal.
    bool Park(std::initializer_list<CWaitList*> lists, Nanoseconds nDeadline, const char* szWhat);
    bool Park(const std::vector<CWaitList*>& lists, Nanoseconds nDeadline, const char* szWhat);
    void Wake(CTask& task);
    void WakeAll(CWaitList& list);
    void WakeOne(CWaitList& list);
    // The threads that wait for something at an address of the product's.
    CWaitList& WaitersAt(const void* pAddress) { return m_waitersAt[pAddress]; }

    // Ends the operating system's process with a report. Never returns.
    [[noreturn]] void Fail(const std::string& strReason);
    // Called after the report and before the end. For all runs.
    static void WhenFailing(void (*pfnFailing)(const std::string& strReason)) { s_pfnFailing = pfnFailing; }

    std::string m_strHeading;  // begins every report: what is run, with its seed

  private:
    void SetReady(CTask& task);
    void RemoveReady(CTask& task);
    void EdgeOfChoice(bool bDrawn);
    void WakeExpired();
    // Takes the next thread to run; the running one is parked or ended.
    void Dispatch();
    // Null: back to Run.
    void SwitchTo(CTask* pNext);
    CTask* Choose();
    // The thread that runs when nothing is chosen: the running one if it can and does not give its turn away.
    CTask* NextByItself(bool bYielded) const;
    CTask* KeptNext(CTask& running);
    bool JumpsHere();
    void Keep(ChoiceKind kind, const CTask& task, std::string strValue);
    [[noreturn]] void ReportDeadlock();

    static inline void (*s_pfnFailing)(const std::string& strReason) = nullptr;

    CRandom m_random;
    CRandom m_edges;
    const std::uint64_t m_nEdges;
    const std::uint64_t m_nJumps;
    std::uint64_t m_nEdgesLeft = 0;
    std::unique_ptr<IStrategy> m_pStrategy;

    Nanoseconds m_nNow = 0;
    std::uint64_t m_nStep = 0;  // choices between threads
    std::uint64_t m_nPoints = 0;
    std::vector<std::unique_ptr<CTask>> m_vecTasks;
    std::vector<CTask*> m_vecReady;    // by number
    std::vector<CTask*> m_vecTimed;    // parked with a deadline
    Nanoseconds m_nEarliest = kNever;  // no deadline of these comes before it
    CTask* m_pCurrent = nullptr;
    CTask* m_pMain = nullptr;
    std::unique_ptr<CFiber> m_pDead;  // its stack is free once another fiber runs
    CFiber m_outside;
    bool m_bEnding = false;
    int m_nInside = 0;
    std::unordered_map<const void*, CWaitList> m_waitersAt;
    const bool m_bReplay;
    ReplayPlan m_plan;
    Choices m_chosen;
    bool m_bYielded = false;
    CTrace m_trace;
};

// The one of the run under way; null outside of one.
extern CScheduler* g_pScheduler;

// Whether the caller is a simulated thread.
inline bool IsSimulated() {
    return g_pScheduler != nullptr;
}

}  // namespace simulation
