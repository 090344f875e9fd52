// A lock and a condition of the system itself. They need no thread runtime of the compiler's, of which the program that
// loads the library may hold a copy of its own.
#pragma once

#include "client/deadline.h"
#include "foundation/thread_annotations.h"
#include "foundation/windows_headers.h"

// Not re-entrant.
class NXL_LOCK_CLASS CNativeLock {
  public:
    constexpr CNativeLock() = default;
    CNativeLock(const CNativeLock&) = delete;
    CNativeLock& operator=(const CNativeLock&) = delete;

    // What these call is not annotated.
    void Take() NXL_ACQUIRE() NXL_NO_THREAD_ANALYSIS { AcquireSRWLockExclusive(&m_lock); }
    void Release() NXL_RELEASE() NXL_NO_THREAD_ANALYSIS { ReleaseSRWLockExclusive(&m_lock); }
    // For code that is called with the lock held, where clang cannot see it: the body of a lambda.
    void AssertHeld() const NXL_ASSERTS_LOCK() {}

  private:
    friend class CNativeCondition;
    SRWLOCK m_lock = SRWLOCK_INIT;
};

// Holds a lock for the rest of a scope.
class NXL_SCOPED_LOCK_CLASS CNativeGuard {
  public:
    explicit CNativeGuard(CNativeLock& lock) NXL_ACQUIRE(lock) : m_lock(lock) { m_lock.Take(); }
    ~CNativeGuard() NXL_RELEASE() { m_lock.Release(); }
    CNativeGuard(const CNativeGuard&) = delete;
    CNativeGuard& operator=(const CNativeGuard&) = delete;

  private:
    CNativeLock& m_lock;
};

// The same, for a thread that releases the lock in between: in a wait, or by Release until Take.
class NXL_SCOPED_LOCK_CLASS CNativeHold {
  public:
    explicit CNativeHold(CNativeLock& lock) NXL_ACQUIRE(lock) : m_lock(lock) { m_lock.Take(); }
    ~CNativeHold() NXL_RELEASE() {
        if (m_bHeld) {
            m_lock.Release();
        }
    }
    CNativeHold(const CNativeHold&) = delete;
    CNativeHold& operator=(const CNativeHold&) = delete;

    void Take() NXL_ACQUIRE() NXL_NO_THREAD_ANALYSIS {
        m_lock.Take();
        m_bHeld = true;
    }
    void Release() NXL_RELEASE() NXL_NO_THREAD_ANALYSIS {
        m_bHeld = false;
        m_lock.Release();
    }

  private:
    friend class CNativeCondition;
    CNativeLock& m_lock;
    bool m_bHeld = true;
};

// What a waiter waits for may have changed whenever a wait returns.
class CNativeCondition {
  public:
    constexpr CNativeCondition() = default;
    CNativeCondition(const CNativeCondition&) = delete;
    CNativeCondition& operator=(const CNativeCondition&) = delete;

    void NotifyAll() { WakeAllConditionVariable(&m_condition); }
    void Wait(CNativeHold& hold, DWORD timeoutMs) {
        SleepConditionVariableSRW(&m_condition, &hold.m_lock.m_lock, timeoutMs, 0);
    }

  private:
    CONDITION_VARIABLE m_condition = CONDITION_VARIABLE_INIT;
};
