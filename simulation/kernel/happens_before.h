// What ThreadSanitizer is told: which calls of one thread come before which of another for certain, and which code is
// the simulation's own. Nothing without it.
#pragma once

#if NEXLET_TSAN
#include <sanitizer/tsan_interface.h>

extern "C" void __tsan_ignore_thread_begin();
extern "C" void __tsan_ignore_thread_end();
extern "C" void AnnotateIgnoreSyncBegin(const char* szFile, int nLine);
extern "C" void AnnotateIgnoreSyncEnd(const char* szFile, int nLine);
extern "C" void AnnotateBenignRaceSized(const char* szFile, int nLine, const void* pAddress, unsigned long nSize,
                                        const char* szWhy);
#endif

namespace simulation {

// Of one simulated thread. A change of threads changes it, see fiber.cpp.
struct Watching {
    int nOwnWork = 0;
    // The thread is of a process that is not watched: what it does is never a race, and orders nothing.
    bool bForeign = false;
};
inline thread_local Watching g_watching;

// Reads and writes are no race, and locks and atomics are no order, while this is so.
inline void Ignore([[maybe_unused]] bool bIgnore) {
#if NEXLET_TSAN
    if (bIgnore) {
        __tsan_ignore_thread_begin();
        AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
    } else {
        AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
        __tsan_ignore_thread_end();
    }
#endif
}

// What all simulated threads use in turn, each with a value of its own, is no race.
inline void EachHasItsOwn([[maybe_unused]] const void* pAddress, [[maybe_unused]] unsigned long nSize) {
#if NEXLET_TSAN
    AnnotateBenignRaceSized(__FILE__, __LINE__, pAddress, nSize, "each thread has its own");
#endif
}

// What the calling simulated thread has done so far comes before what another one does after HappensAfter for the same
// address.
inline void HappensBefore([[maybe_unused]] const void* pAddress) {
#if NEXLET_TSAN
    if (g_watching.bForeign) {
        return;
    }
    if (g_watching.nOwnWork != 0) {
        AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
    }
    __tsan_release(const_cast<void*>(pAddress));
    if (g_watching.nOwnWork != 0) {
        AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
    }
#endif
}
inline void HappensAfter([[maybe_unused]] const void* pAddress) {
#if NEXLET_TSAN
    if (g_watching.bForeign) {
        return;
    }
    if (g_watching.nOwnWork != 0) {
        AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
    }
    __tsan_acquire(const_cast<void*>(pAddress));
    if (g_watching.nOwnWork != 0) {
        AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
    }
#endif
}

// The calling thread's reads and writes are the simulation's from here on: no race, and its locks and counts of
// references are no order. They nest.
inline void BeginOwnWork() {
    if (g_watching.nOwnWork++ == 0) {
        Ignore(true);
    }
}
inline void EndOwnWork() {
    if (--g_watching.nOwnWork == 0) {
        Ignore(false);
    }
}

// From here on the calling thread is one of a process that is not watched.
inline void BecomeForeign() {
    if (!g_watching.bForeign) {
        g_watching.bForeign = true;
        BeginOwnWork();
    }
}

// The running thread tells of no order while this lives.
class CNoOrder {
  public:
    explicit CNoOrder(bool bNone) : m_bBefore(g_watching.bForeign) { g_watching.bForeign = bNone || m_bBefore; }
    ~CNoOrder() { g_watching.bForeign = m_bBefore; }
    CNoOrder(const CNoOrder&) = delete;
    CNoOrder& operator=(const CNoOrder&) = delete;

  private:
    const bool m_bBefore;
};

// Before a thread leaves its stack for good.
inline void EndAllOwnWork() {
    if (g_watching.nOwnWork != 0) {
        g_watching = {};
        Ignore(false);
    }
}

}  // namespace simulation
