// A lock and a condition of the system itself. They need no thread runtime of the compiler's, of which the program that
// loads the library may hold a copy of its own.
#pragma once

#include <mutex>

#include "client/deadline.h"
#include "foundation/windows_headers.h"

// For std::lock_guard and std::unique_lock. Not re-entrant.
class CNativeLock {
  public:
    constexpr CNativeLock() = default;
    CNativeLock(const CNativeLock&) = delete;
    CNativeLock& operator=(const CNativeLock&) = delete;

    void lock() { AcquireSRWLockExclusive(&m_lock); }
    void unlock() { ReleaseSRWLockExclusive(&m_lock); }
    bool try_lock() { return TryAcquireSRWLockExclusive(&m_lock) != FALSE; }

  private:
    friend class CNativeCondition;
    SRWLOCK m_lock = SRWLOCK_INIT;
};

using CNativeGuard = std::lock_guard<CNativeLock>;
using CNativeHold = std::unique_lock<CNativeLock>;

// What a waiter waits for may have changed whenever a wait returns.
class CNativeCondition {
  public:
    constexpr CNativeCondition() = default;
    CNativeCondition(const CNativeCondition&) = delete;
    CNativeCondition& operator=(const CNativeCondition&) = delete;

    void NotifyAll() { WakeAllConditionVariable(&m_condition); }
    void Wait(CNativeHold& hold, DWORD timeoutMs) {
        SleepConditionVariableSRW(&m_condition, &hold.mutex()->m_lock, timeoutMs, 0);
    }

  private:
    CONDITION_VARIABLE m_condition = CONDITION_VARIABLE_INIT;
};
