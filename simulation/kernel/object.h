// What handles refer to, and waiting for it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "simulation/kernel/happens_before.h"
#include "simulation/kernel/task.h"

namespace simulation {

// An object lives while a handle, an operation or another object holds it.
class CObject : public std::enable_shared_from_this<CObject> {
  public:
    virtual ~CObject() = default;

    // Whether a wait of this thread would end at once.
    virtual bool IsSignalled(const CTask&) const { return false; }
    // A wait of this thread ends. True when it ends with an abandoned mutex.
    virtual bool Take(CTask&) { return false; }
    // The last handle was closed.
    virtual void LastHandleClosed() {}
    virtual const char* Kind() const = 0;

    // Ends the waits that can end now. To be called whenever IsSignalled may have become true: a thread that waits at
    // that moment is let through even if the object changes back before it runs.
    void Signal();

    CWaitList m_waiters;
    std::uint32_t m_nHandles = 0;
    std::wstring m_strName;  // empty: none
};

using ObjectPointer = std::shared_ptr<CObject>;

// One wait for objects; lives on the waiting thread's stack.
struct ObjectWait {
    const std::vector<ObjectPointer>& objects;
    bool bAll;
    std::uint32_t* pResult;
};

// As the system's waits: WAIT_OBJECT_0 or WAIT_ABANDONED_0 with the index, or WAIT_TIMEOUT.
std::uint32_t WaitForObjects(const std::vector<ObjectPointer>& objects, bool bAll, Nanoseconds nDeadline);

class CEvent final : public CObject {
  public:
    CEvent(bool bManual, bool bSet) : m_bManual(bManual), m_bSet(bSet) {}
    bool IsSignalled(const CTask&) const override { return m_bSet; }
    bool Take(CTask&) override {
        m_bSet = m_bSet && m_bManual;
        return false;
    }
    const char* Kind() const override { return "event"; }
    void Set() {
        HappensBefore(this);
        m_bSet = true;
        Signal();
    }
    // Whether it was set.
    bool Reset() {
        if (m_bSet) {
            HappensAfter(this);
        }
        return std::exchange(m_bSet, false);
    }

  private:
    const bool m_bManual;
    bool m_bSet;
};

class CMutex final : public CObject {
  public:
    bool IsSignalled(const CTask& task) const override { return m_pOwner == nullptr || m_pOwner == &task; }
    bool Take(CTask& task) override;
    const char* Kind() const override { return "mutex"; }
    // False when the thread does not hold it.
    bool Release(CTask& task);
    // The thread has ended.
    void Abandon(const CTask& task);

  private:
    CTask* m_pOwner = nullptr;
    std::uint32_t m_nDepth = 0;
    bool m_bAbandoned = false;
};

// A thread or a process: signalled once it has ended.
class CEnding : public CObject {
  public:
    bool IsSignalled(const CTask&) const override { return m_bEnded; }
    void End(std::uint32_t nExitCode) {
        if (!m_bEnded) {
            HappensBefore(this);
            m_bEnded = true;
            m_nExitCode = nExitCode;
            Signal();
        }
    }

    bool m_bEnded = false;
    std::uint32_t m_nExitCode = 259;  // STILL_ACTIVE
};

}  // namespace simulation
