// The one place where simulated threads run, wait and wake, and where time passes.
//
// One thread runs at a time, on a stack of its own, all of them on one thread of the operating system. It runs until it
// comes to a point (a system call, a lock, an edge of the product's code that the compiler has marked) at which the
// strategy takes another. Time stops while a thread can run, except for a microsecond each call, and jumps to the
// next end of a wait when none can.
//
// A free run is another way: each simulated thread is one of the operating system, and they run at the same time. The
// machine has one lock. A thread holds it while the simulation works for it, but not while it waits. A thread of a
// process that is not watched holds it whenever it runs. Nothing is chosen then, and a seed does not repeat a run.
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
#include "simulation/kernel/parallel.h"
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
    bool bFree = false;
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

    CTask& Current() { return *s_pCurrent; }
    bool IsFree() const { return m_bFree; }
    // The running thread is of a process that is not watched, from here on.
    void BecomeForeign();
    // Whether code of the product runs now, in this process, whose calls may fail.
    bool IsProduct(std::uint32_t nProcess) const {
        return s_nInside == 0 && s_pCurrent != nullptr && s_pCurrent->m_nProcess == nProcess &&
               s_pCurrent->m_nFaultsHeld == 0;
    }
    // That of the running thread; 0 outside of a run.
    std::uint32_t RunningProcess() const { return s_pCurrent != nullptr ? s_pCurrent->m_nProcess : 0; }
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
    void LeaveOutThread() { ++s_pCurrent->m_nChildren; }
    const std::vector<std::unique_ptr<CTask>>& Tasks() const { return m_vecTasks; }

    // A place at which another thread may be taken.
    void Point();
    // The same, for one in so many of the product's marked edges.
    void Edge() {
        // Objects of the program are destroyed when no thread of the machine runs any more.
        if (s_nInside != 0 || s_pCurrent == nullptr || m_bFree) {
            return;
        }
        const bool bDrawn = m_nEdges != 0 && --m_nEdgesLeft == 0;
        if (!bDrawn && s_pCurrent->m_pKept == nullptr) {
            ++s_pCurrent->m_nPosition;
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
            ++s_nInside;
            m_scheduler.TakeMachine();
        }
        ~CInside() {
            m_scheduler.ReleaseMachine();
            --s_nInside;
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
            : m_scheduler(scheduler), m_nInside(std::exchange(s_nInside, 0)), m_nTaken(scheduler.LendMachine()) {
            for (int i = 0; i < m_nInside; ++i) {
                EndOwnWork();
            }
        }
        ~COutside() {
            for (int i = 0; i < m_nInside; ++i) {
                BeginOwnWork();
            }
            s_nInside = m_nInside;
            m_scheduler.TakeMachineBack(m_nTaken);
        }
        COutside(const COutside&) = delete;
        COutside& operator=(const COutside&) = delete;

      private:
        CScheduler& m_scheduler;
        const int m_nInside;
        const int m_nTaken;
    };

    // For code of a world whose threads share what they know without a lock: in a free run no other thread of that kind
    // runs meanwhile, and none of the simulation. Not an order for ThreadSanitizer.
    class CHeld {
      public:
        explicit CHeld(CScheduler& scheduler) : m_scheduler(scheduler) { m_scheduler.TakeMachine(); }
        ~CHeld() { m_scheduler.ReleaseMachine(); }
        CHeld(const CHeld&) = delete;
        CHeld& operator=(const CHeld&) = delete;

      private:
        CScheduler& m_scheduler;
    };

    // While such code calls the product.
    class CLent {
      public:
        explicit CLent(CScheduler& scheduler) : m_scheduler(scheduler), m_nTaken(scheduler.LendMachine()) {}
        ~CLent() { m_scheduler.TakeMachineBack(m_nTaken); }
        CLent(const CLent&) = delete;
        CLent& operator=(const CLent&) = delete;

      private:
        CScheduler& m_scheduler;
        const int m_nTaken;
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
    // It runs no more. What it waited for forgets it.
    void MarkEnded(CTask& task);
    void EdgeOfChoice(bool bDrawn);
    void WakeExpired();
    // No thread can run: time jumps until one can. False when the run is over.
    bool PassTime();
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

    // In free runs; they do nothing in others. The lock of the machine nests.
    void TakeMachine() {
        if (m_bFree && s_nTaken++ == 0) {
            EnterMachine();
        }
    }
    void ReleaseMachine() {
        if (m_bFree && --s_nTaken == 0) {
            m_machine.Release();
        }
    }
    int LendMachine();
    void TakeMachineBack(int nTaken);
    // A thread that was suspended or ended meanwhile goes no further.
    void EnterMachine();
    void RunFree(CTask& task);
    // Waits until the thread can run. It holds the lock of the machine, which is released meanwhile.
    void AwaitTurn(CTask& task);
    // The thread is about to wait, or has ended. When it was the last that ran, time passes, or the run is over.
    void MarkStopped(CTask& task);

    static inline thread_local CTask* s_pCurrent = nullptr;
    static inline thread_local int s_nInside = 0;
    static inline thread_local int s_nTaken = 0;  // how often the running thread has taken the machine

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
    CTask* m_pMain = nullptr;
    std::unique_ptr<CFiber> m_pDead;  // its stack is free once another fiber runs
    CFiber m_outside;
    bool m_bEnding = false;
    std::unordered_map<const void*, CWaitList> m_waitersAt;
    const bool m_bReplay;
    ReplayPlan m_plan;
    Choices m_chosen;
    bool m_bYielded = false;
    CTrace m_trace;

    const bool m_bFree;
    CMachineLock m_machine;
    std::size_t m_nRunning = 0;  // threads of the operating system that do not wait
    CTurn m_over;
};

// The one of the run under way; null outside of one.
extern CScheduler* g_pScheduler;

// Whether the caller is a simulated thread.
inline bool IsSimulated() {
    return g_pScheduler != nullptr;
}

}  // namespace simulation
