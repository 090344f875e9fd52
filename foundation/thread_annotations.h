// What a lock guards and who holds it, in words that clang checks (-Wthread-safety). Other compilers pass over them.
#pragma once

#if defined(__clang__)
#define NXL_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define NXL_THREAD_ATTRIBUTE(x)
#endif

// A class of locks, and one that holds a lock for a scope.
#define NXL_LOCK_CLASS NXL_THREAD_ATTRIBUTE(capability("lock"))
#define NXL_SCOPED_LOCK_CLASS NXL_THREAD_ATTRIBUTE(scoped_lockable)

// A member is read and written with the lock held.
#define NXL_GUARDED_BY(lock) NXL_THREAD_ATTRIBUTE(guarded_by(lock))

// A thread that holds the other lock does not take this one.
#define NXL_ACQUIRED_BEFORE(other) NXL_THREAD_ATTRIBUTE(acquired_before(other))

// A function is called with the lock held.
#define NXL_REQUIRES(lock) NXL_THREAD_ATTRIBUTE(requires_capability(lock))

// A function takes a lock, tries to, or releases it.
#define NXL_ACQUIRE(...) NXL_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define NXL_TRY_ACQUIRE(...) NXL_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define NXL_RELEASE(...) NXL_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))

// A function whose caller holds the lock where clang cannot see it.
#define NXL_ASSERTS_LOCK(...) NXL_THREAD_ATTRIBUTE(assert_capability(__VA_ARGS__))

// A function that clang does not look into. The reason is beside each use.
#define NXL_NO_THREAD_ANALYSIS NXL_THREAD_ATTRIBUTE(no_thread_safety_analysis)
