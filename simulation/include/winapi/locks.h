// Locks and conditions, which live in the caller's memory.
#pragma once

#include "simulation/include/winapi/types.h"

struct CRITICAL_SECTION {
    void* pOwner;  // the task that holds it
    std::uint32_t nDepth;
    std::uint32_t nMark;  // tells a section that was made from memory that was not
};
using LPCRITICAL_SECTION = CRITICAL_SECTION*;

BOOL InitializeCriticalSectionEx(LPCRITICAL_SECTION pSection, DWORD dwSpinCount, DWORD dwFlags);
void InitializeCriticalSection(LPCRITICAL_SECTION pSection);
void EnterCriticalSection(LPCRITICAL_SECTION pSection);
BOOL TryEnterCriticalSection(LPCRITICAL_SECTION pSection);
void LeaveCriticalSection(LPCRITICAL_SECTION pSection);
void DeleteCriticalSection(LPCRITICAL_SECTION pSection);

struct SRWLOCK {
    void* pOwner;            // the task that holds it alone
    std::uintptr_t nShared;  // how many hold it together
};
using PSRWLOCK = SRWLOCK*;
#define SRWLOCK_INIT \
    { nullptr, 0 }

void InitializeSRWLock(PSRWLOCK pLock);
void AcquireSRWLockExclusive(PSRWLOCK pLock);
BOOL TryAcquireSRWLockExclusive(PSRWLOCK pLock);
void ReleaseSRWLockExclusive(PSRWLOCK pLock);
void AcquireSRWLockShared(PSRWLOCK pLock);
void ReleaseSRWLockShared(PSRWLOCK pLock);

struct CONDITION_VARIABLE {
    void* pUnused;
};
using PCONDITION_VARIABLE = CONDITION_VARIABLE*;
#define CONDITION_VARIABLE_INIT \
    { nullptr }

BOOL SleepConditionVariableSRW(PCONDITION_VARIABLE pCondition, PSRWLOCK pLock, DWORD dwMilliseconds, ULONG nFlags);
void WakeConditionVariable(PCONDITION_VARIABLE pCondition);
void WakeAllConditionVariable(PCONDITION_VARIABLE pCondition);

// Whole words that change at once.
inline LONG InterlockedIncrement(LONG volatile* pValue) {
    return __atomic_add_fetch(pValue, 1, __ATOMIC_SEQ_CST);
}
inline LONG64 InterlockedIncrement64(LONG64 volatile* pValue) {
    return __atomic_add_fetch(pValue, 1, __ATOMIC_SEQ_CST);
}
inline LONG64 InterlockedAdd64(LONG64 volatile* pValue, LONG64 nMore) {
    return __atomic_add_fetch(pValue, nMore, __ATOMIC_SEQ_CST);
}
// What was there before.
inline LONG64 InterlockedCompareExchange64(LONG64 volatile* pValue, LONG64 nNew, LONG64 nExpected) {
    __atomic_compare_exchange_n(pValue, &nExpected, nNew, /*weak=*/false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
    return nExpected;
}
inline LONG InterlockedDecrement(LONG volatile* pValue) {
    return __atomic_sub_fetch(pValue, 1, __ATOMIC_SEQ_CST);
}
