// What the C++ library does without the system's interface, put under the scheduler: the linker's --wrap sends each of
// these calls here. Outside of a run they do what they always did.

// Newer versions of the C++ library keep the type that std::thread starts private unless this is defined.
#define _GLIBCXX_THREAD_IMPL  // NOLINT(bugprone-reserved-identifier): the library's own

#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <thread>

#include "simulation/kernel/machine.h"

using namespace simulation;

namespace {

constexpr std::uint64_t kStartSeconds = kStartUnixSeconds;

CWaitList& WaitersAt(const void* pAddress) {
    return g_pScheduler->WaitersAt(pAddress);
}

void WakeAllAt(const void* pAddress) {
    g_pScheduler->WakeAll(WaitersAt(pAddress));
}

Nanoseconds FromTimespec(const timespec& time) {
    return static_cast<Nanoseconds>(time.tv_sec) * kSecond + static_cast<Nanoseconds>(time.tv_nsec);
}

}  // namespace

extern "C" {

int __real_pthread_mutex_lock(pthread_mutex_t* pMutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* pMutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* pMutex) {
    if (!IsSimulated()) {
        return __real_pthread_mutex_lock(pMutex);
    }
    const CScheduler::CInside inside(*g_pScheduler);
    g_pScheduler->Point();
    while (pthread_mutex_trylock(pMutex) != 0) {
        g_pScheduler->Park({&WaitersAt(pMutex)}, kNever, "a std::mutex");
    }
    HappensAfter(pMutex);
    return 0;
}
int __wrap_pthread_mutex_unlock(pthread_mutex_t* pMutex) {
    const int nResult = __real_pthread_mutex_unlock(pMutex);
    if (IsSimulated()) {
        const CScheduler::CInside inside(*g_pScheduler);
        WakeAllAt(pMutex);
        g_pScheduler->Point();
    }
    return nResult;
}

int __real_pthread_cond_clockwait(pthread_cond_t* pCondition, pthread_mutex_t* pMutex, clockid_t clock,
                                  const timespec* pUntil);
int __wrap_pthread_cond_clockwait(pthread_cond_t* pCondition, pthread_mutex_t* pMutex, clockid_t clock,
                                  const timespec* pUntil) {
    if (!IsSimulated()) {
        return __real_pthread_cond_clockwait(pCondition, pMutex, clock, pUntil);
    }
    bool bWoken = false;
    {
        const CScheduler::CInside inside(*g_pScheduler);
        HappensBefore(pMutex);
        __real_pthread_mutex_unlock(pMutex);
        WakeAllAt(pMutex);
        const Nanoseconds nUntil = FromTimespec(*pUntil) - kStartSeconds * kSecond;
        bWoken = g_pScheduler->Park({&WaitersAt(pCondition)}, nUntil, "a std::condition_variable");
    }
    __wrap_pthread_mutex_lock(pMutex);
    return bWoken ? 0 : ETIMEDOUT;
}

void __real__ZNSt18condition_variable4waitERSt11unique_lockISt5mutexE(std::condition_variable* pCondition,
                                                                      std::unique_lock<std::mutex>* pLock);
void __wrap__ZNSt18condition_variable4waitERSt11unique_lockISt5mutexE(std::condition_variable* pCondition,
                                                                      std::unique_lock<std::mutex>* pLock) {
    if (!IsSimulated()) {
        __real__ZNSt18condition_variable4waitERSt11unique_lockISt5mutexE(pCondition, pLock);
        return;
    }
    pthread_mutex_t* const pMutex = pLock->mutex()->native_handle();
    {
        const CScheduler::CInside inside(*g_pScheduler);
        HappensBefore(pMutex);
        __real_pthread_mutex_unlock(pMutex);
        WakeAllAt(pMutex);
        g_pScheduler->Park({&WaitersAt(pCondition)}, kNever, "a std::condition_variable");
    }
    __wrap_pthread_mutex_lock(pMutex);
}

void __real__ZNSt18condition_variable10notify_allEv(std::condition_variable* pCondition);
void __wrap__ZNSt18condition_variable10notify_allEv(std::condition_variable* pCondition) {
    if (!IsSimulated()) {
        __real__ZNSt18condition_variable10notify_allEv(pCondition);
        return;
    }
    const CScheduler::CInside inside(*g_pScheduler);
    g_pScheduler->Point();
    WakeAllAt(pCondition);
}
void __real__ZNSt18condition_variable10notify_oneEv(std::condition_variable* pCondition);
void __wrap__ZNSt18condition_variable10notify_oneEv(std::condition_variable* pCondition) {
    if (!IsSimulated()) {
        __real__ZNSt18condition_variable10notify_oneEv(pCondition);
        return;
    }
    const CScheduler::CInside inside(*g_pScheduler);
    g_pScheduler->Point();
    g_pScheduler->WakeOne(WaitersAt(pCondition));
}

// std::thread. Its handle holds the number of the simulated thread.
using ThreadState = std::thread::_State;
void __real__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(
    std::thread* pThread, std::unique_ptr<ThreadState>* pState, void (*pfnDepend)());
void __wrap__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(
    std::thread* pThread, std::unique_ptr<ThreadState>* pState, void (*pfnDepend)()) {
    if (!IsSimulated()) {
        // A fuzzer's own.
        __real__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(pThread, pState,
                                                                                                     pfnDepend);
        return;
    }
    const CScheduler::CInside inside(*g_pScheduler);
    const std::shared_ptr<CThread> pStarted = g_pMachine->StartThread(
        g_pMachine->Process(),
        [pOwned = std::shared_ptr<ThreadState>(std::move(*pState))]() mutable {
            pOwned->_M_run();
            pOwned.reset();
            return 0U;
        },
        /*bSuspended=*/false);
    *reinterpret_cast<std::uint64_t*>(pThread) = pStarted->m_pTask->m_nId;
    g_pScheduler->Point();
}
void __real__ZNSt6thread4joinEv(std::thread* pThread);
void __wrap__ZNSt6thread4joinEv(std::thread* pThread) {
    if (!IsSimulated()) {
        __real__ZNSt6thread4joinEv(pThread);
        return;
    }
    const CScheduler::CInside inside(*g_pScheduler);
    g_pScheduler->Point();
    auto& nId = *reinterpret_cast<std::uint64_t*>(pThread);
    const CTask& task = *g_pScheduler->Tasks()[nId - 1];
    if (const std::shared_ptr<CThread> pJoined = g_pMachine->ThreadOf(task)) {
        WaitForObjects({pJoined}, /*bAll=*/false, kNever);
    }
    HappensAfter(&task);
    nId = 0;
}
void __real__ZNSt6thread6detachEv(std::thread* pThread);
void __wrap__ZNSt6thread6detachEv(std::thread* pThread) {
    if (!IsSimulated()) {
        __real__ZNSt6thread6detachEv(pThread);
        return;
    }
    *reinterpret_cast<std::uint64_t*>(pThread) = 0;
}

// What std::latch, std::atomic::wait and their kin wait with.
long __real_syscall(long nNumber, ...);
long __wrap_syscall(long nNumber, ...) {
    va_list list;
    va_start(list, nNumber);
    long arguments[6];
    for (long& nArgument : arguments) {
        nArgument = va_arg(list, long);
    }
    va_end(list);
    if (!IsSimulated() || nNumber != SYS_futex) {
        return __real_syscall(nNumber, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4],
                              arguments[5]);
    }
    const CScheduler::CInside inside(*g_pScheduler);
    auto* const pWord = reinterpret_cast<std::atomic<int>*>(arguments[0]);
    const long nOperation = arguments[1] & FUTEX_CMD_MASK;
    if (nOperation == FUTEX_WAIT || nOperation == FUTEX_WAIT_BITSET) {
        if (pWord->load() == static_cast<int>(arguments[2])) {
            g_pScheduler->Park({&WaitersAt(pWord)}, kNever, "an atomic's change");
        }
        return 0;
    }
    WakeAllAt(pWord);
    g_pScheduler->Point();
    return 0;
}

// Static objects of functions: the first thread makes one, the others wait.
int __wrap___cxa_guard_acquire(std::uint64_t* pGuard) {
    auto* const pBytes = reinterpret_cast<std::atomic<unsigned char>*>(pGuard);
    while (pBytes[0].load() == 0) {
        if (pBytes[1].exchange(1) == 0) {
            return 1;
        }
        if (!IsSimulated()) {
            std::abort();  // a run has been left in the middle of it
        }
        const CScheduler::CInside inside(*g_pScheduler);
        if (pBytes[1].load() != 0) {
            g_pScheduler->Park({&WaitersAt(pGuard)}, kNever, "the making of a static object");
        }
    }
    HappensAfter(pGuard);
    return 0;
}
void __wrap___cxa_guard_release(std::uint64_t* pGuard) {
    HappensBefore(pGuard);
    auto* const pBytes = reinterpret_cast<std::atomic<unsigned char>*>(pGuard);
    pBytes[0].store(1);
    pBytes[1].store(0);
    if (IsSimulated()) {
        const CScheduler::CInside inside(*g_pScheduler);
        WakeAllAt(pGuard);
    }
}
void __wrap___cxa_guard_abort(std::uint64_t* pGuard) {
    auto* const pBytes = reinterpret_cast<std::atomic<unsigned char>*>(pGuard);
    pBytes[1].store(0);
    if (IsSimulated()) {
        const CScheduler::CInside inside(*g_pScheduler);
        WakeAllAt(pGuard);
    }
}

// Clocks and pauses.
std::int64_t __real__ZNSt6chrono3_V212steady_clock3nowEv();
std::int64_t __wrap__ZNSt6chrono3_V212steady_clock3nowEv() {
    return IsSimulated() ? static_cast<std::int64_t>(kStartSeconds * kSecond + g_pScheduler->Now())
                         : __real__ZNSt6chrono3_V212steady_clock3nowEv();
}
std::int64_t __real__ZNSt6chrono3_V212system_clock3nowEv();
std::int64_t __wrap__ZNSt6chrono3_V212system_clock3nowEv() {
    return IsSimulated() ? static_cast<std::int64_t>(g_pMachine->WorldTime())
                         : __real__ZNSt6chrono3_V212system_clock3nowEv();
}
time_t __real_time(time_t* pTime);
time_t __wrap_time(time_t* pTime) {
    if (!IsSimulated()) {
        return __real_time(pTime);
    }
    const auto nNow = static_cast<time_t>(g_pMachine->WorldTime() / kSecond);
    if (pTime != nullptr) {
        *pTime = nNow;
    }
    return nNow;
}
int __real_nanosleep(const timespec* pTime, timespec* pLeft);
int __wrap_nanosleep(const timespec* pTime, timespec* pLeft) {
    if (!IsSimulated()) {
        return __real_nanosleep(pTime, pLeft);
    }
    const CScheduler::CInside inside(*g_pScheduler);
    g_pScheduler->Park({}, g_pScheduler->Now() + FromTimespec(*pTime), "a time");
    return 0;
}
int __real_sched_yield();
int __wrap_sched_yield() {
    if (!IsSimulated()) {
        return __real_sched_yield();
    }
    const CScheduler::CInside inside(*g_pScheduler);
    g_pScheduler->Yield();
    return 0;
}

}  // extern "C"
