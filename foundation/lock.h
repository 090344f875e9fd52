// The program's lock, re-entrant on its owning thread, and its scope guard.
#pragma once

#include <memory>

#include "foundation/thread_annotations.h"

// One critical section. A section that cannot be made raises an exception that nothing catches: the process ends.
class NXL_LOCK_CLASS CLock {
  public:
    CLock();
    virtual ~CLock();
    CLock(const CLock&) = delete;
    CLock& operator=(const CLock&) = delete;

  private:
    friend class CAutoLock;
    friend class CAutoTryLock;
    // What these call is not annotated.
    void Enter() NXL_ACQUIRE() NXL_NO_THREAD_ANALYSIS;
    bool TryEnter() NXL_TRY_ACQUIRE(true) NXL_NO_THREAD_ANALYSIS;
    void Leave() NXL_RELEASE() NXL_NO_THREAD_ANALYSIS;

    struct Section;
    std::unique_ptr<Section> m_pSection;
};

// Holds a CLock for the rest of a scope. Lives on the stack of the function that it protects.
class NXL_SCOPED_LOCK_CLASS CAutoLock {
  public:
    explicit CAutoLock(CLock* lock) NXL_ACQUIRE(lock) : m_pLock(lock) { m_pLock->Enter(); }
    virtual ~CAutoLock() NXL_RELEASE() { m_pLock->Leave(); }
    CAutoLock(const CAutoLock&) = delete;
    CAutoLock& operator=(const CAutoLock&) = delete;

  private:
    CLock* m_pLock;  // weak
};

// The same for a thread that must not wait: holds the lock when no other thread has it, and otherwise nothing. Clang
// does not follow it, so what the lock guards cannot be used under it.
class CAutoTryLock {
  public:
    explicit CAutoTryLock(CLock* lock) : m_pLock(lock->TryEnter() ? lock : nullptr) {}
    ~CAutoTryLock() {
        if (m_pLock != nullptr) {
            m_pLock->Leave();
        }
    }
    CAutoTryLock(const CAutoTryLock&) = delete;
    CAutoTryLock& operator=(const CAutoTryLock&) = delete;

    bool IsHeld() const { return m_pLock != nullptr; }

  private:
    CLock* m_pLock;  // weak; null when it is not held
};
