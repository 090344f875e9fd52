// A stack of its own, and the way from one to another. The sanitizers are told about every change.
#pragma once

#include <cstddef>
#include <functional>

#include "simulation/kernel/happens_before.h"

namespace simulation {

// Switched to by one operating system thread only. A fiber whose work has ended is never switched to again.
class CFiber {
  public:
    // The stack that calls this.
    CFiber();
    // A new stack on which work will run. work never returns: it switches away for good.
    explicit CFiber(std::function<void()> work);
    ~CFiber();
    CFiber(const CFiber&) = delete;
    CFiber& operator=(const CFiber&) = delete;

    // It is left where it is, for good: what is reached from its stack is not a leak. It is not destroyed after that.
    void KeepOwned() const;

    // Leaves the running fiber, which is from, for to. Returns when another fiber switches to from; never, when it is
    // the last thing that from does.
    static void Switch(CFiber& from, CFiber& to, bool bLast = false);

    // What this fiber, which does not run, has done so far comes before what another one does after HappensAfter.
    void HappenedBefore(const void* pAddress);

  private:
    [[noreturn]] static void Begin();
    void Arrive();

    std::function<void()> m_work;
    void* m_pStackPointer = nullptr;
    const void* m_pBottom = nullptr;
    [[maybe_unused]] std::size_t m_nSize = 0;
    void* m_pMapped = nullptr;                      // null for the stack that was there
    [[maybe_unused]] void* m_pFakeStack = nullptr;  // AddressSanitizer's
    [[maybe_unused]] void* m_pThread = nullptr;     // ThreadSanitizer's
    // The C++ runtime's record of exceptions under way, which it keeps for each thread.
    void* m_pCaught = nullptr;
    unsigned m_nUncaught = 0;
    Watching m_watching;
    int m_nErrno = 0;
};

}  // namespace simulation
