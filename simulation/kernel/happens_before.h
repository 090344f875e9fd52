// What ThreadSanitizer is told: which calls of one thread come before which of another for certain, and which code is
// the simulation's own. Nothing without it.
#pragma once

#if NEXLET_TSAN
#include <sanitizer/tsan_interface.h>

extern "C" void __tsan_ignore_thread_begin();
extern "C" void __tsan_ignore_thread_end();
#endif

namespace simulation {

// What the calling simulated thread has done so far comes before what another one does after HappensAfter for the same
// address.
inline void HappensBefore([[maybe_unused]] const void* pAddress) {
#if NEXLET_TSAN
    __tsan_release(const_cast<void*>(pAddress));
#endif
}
inline void HappensAfter([[maybe_unused]] const void* pAddress) {
#if NEXLET_TSAN
    __tsan_acquire(const_cast<void*>(pAddress));
#endif
}

// The calling thread's reads and writes are the simulation's from here on, and no race. They nest.
inline void BeginOwnWork() {
#if NEXLET_TSAN
    __tsan_ignore_thread_begin();
#endif
}
inline void EndOwnWork() {
#if NEXLET_TSAN
    __tsan_ignore_thread_end();
#endif
}

}  // namespace simulation
