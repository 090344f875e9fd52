// Critical sections, slim locks and condition variables. They live in the caller's memory and may be made before any
// simulated thread runs.
#include "simulation/system/lock_order.h"

#include "simulation/system/call.h"

using namespace simulation;

namespace {

constexpr std::uint32_t kMade = 0x5EC710F0;

void Check(const CRITICAL_SECTION* pSection) {
    if (pSection->nMark != kMade) {
        g_pScheduler->Fail("a critical section is used that was not made, or is gone");
    }
}

bool TakeSection(LPCRITICAL_SECTION pSection) {
    CTask& task = g_pScheduler->Current();
    if (pSection->pOwner != nullptr && pSection->pOwner != &task) {
        return false;
    }
    pSection->pOwner = &task;
    if (pSection->nDepth++ == 0) {
        HappensAfter(pSection);
        LockTaken(task, pSection);
    }
    return true;
}

void WakeOneAt(const void* pAddress) {
    g_pScheduler->WakeOne(g_pScheduler->WaitersAt(pAddress));
}

// A slim lock is never deleted: its order is forgotten only when it is made again. AddressSanitizer keeps memory that
// was freed from being used again soon.
bool TakeAlone(PSRWLOCK pLock) {
    if (pLock->pOwner != nullptr || pLock->nShared != 0) {
        return false;
    }
    HappensAfter(pLock);
    HappensAfter(&pLock->nShared);
    pLock->pOwner = &g_pScheduler->Current();
    LockTaken(g_pScheduler->Current(), pLock);
    return true;
}

void ReleaseAlone(PSRWLOCK pLock) {
    if (pLock->pOwner != &g_pScheduler->Current()) {
        g_pScheduler->Fail("a slim lock is released by a thread that does not hold it");
    }
    HappensBefore(pLock);
    pLock->pOwner = nullptr;
    LockReleased(g_pScheduler->Current(), pLock);
    g_pScheduler->WakeAll(g_pScheduler->WaitersAt(pLock));
}

void WaitForAlone(PSRWLOCK pLock) {
    while (!TakeAlone(pLock)) {
        g_pScheduler->Park({&g_pScheduler->WaitersAt(pLock)}, kNever, "a slim lock");
    }
}

}  // namespace

BOOL InitializeCriticalSectionEx(LPCRITICAL_SECTION pSection, DWORD, DWORD) {
    if (IsSimulated()) {
        // It never fails here: that ends the product's process, by rule.
        CCall call("InitializeCriticalSectionEx", Number(pSection));
    }
    *pSection = {nullptr, 0, kMade};
    return TRUE;
}

void InitializeCriticalSection(LPCRITICAL_SECTION pSection) {
    *pSection = {nullptr, 0, kMade};
}

void EnterCriticalSection(LPCRITICAL_SECTION pSection) {
    if (!IsSimulated()) {
        return;
    }
    CCall call("EnterCriticalSection", Number(pSection));
    Check(pSection);
    while (!TakeSection(pSection)) {
        g_pScheduler->Park({&g_pScheduler->WaitersAt(pSection)}, kNever, "a critical section");
        Check(pSection);
    }
}

BOOL TryEnterCriticalSection(LPCRITICAL_SECTION pSection) {
    CCall call("TryEnterCriticalSection", Number(pSection));
    Check(pSection);
    return TakeSection(pSection) ? TRUE : FALSE;
}

void LeaveCriticalSection(LPCRITICAL_SECTION pSection) {
    if (!IsSimulated()) {
        return;
    }
    CCall call("LeaveCriticalSection", Number(pSection));
    Check(pSection);
    CTask& task = call.Task();
    if (pSection->pOwner != &task) {
        g_pScheduler->Fail("a critical section is left by a thread that does not hold it");
    }
    if (--pSection->nDepth == 0) {
        HappensBefore(pSection);
        pSection->pOwner = nullptr;
        LockReleased(task, pSection);
        WakeOneAt(pSection);
    }
}

void DeleteCriticalSection(LPCRITICAL_SECTION pSection) {
    if (IsSimulated()) {
        CCall call("DeleteCriticalSection", Number(pSection));
        Check(pSection);
        if (pSection->pOwner != nullptr || !g_pScheduler->WaitersAt(pSection).empty()) {
            g_pScheduler->Fail("a critical section is deleted while it is held or waited for");
        }
        LockGone(pSection);
    }
    pSection->nMark = 0;
}

void InitializeSRWLock(PSRWLOCK pLock) {
    *pLock = SRWLOCK_INIT;
}

void AcquireSRWLockExclusive(PSRWLOCK pLock) {
    CCall call("AcquireSRWLockExclusive", Number(pLock));
    if (pLock->pOwner == &call.Task()) {
        g_pScheduler->Fail("a slim lock is taken again by the thread that holds it");
    }
    WaitForAlone(pLock);
}

BOOL TryAcquireSRWLockExclusive(PSRWLOCK pLock) {
    CCall call("TryAcquireSRWLockExclusive", Number(pLock));
    return TakeAlone(pLock) ? TRUE : FALSE;
}

void ReleaseSRWLockExclusive(PSRWLOCK pLock) {
    CCall call("ReleaseSRWLockExclusive", Number(pLock));
    ReleaseAlone(pLock);
}

void AcquireSRWLockShared(PSRWLOCK pLock) {
    CCall call("AcquireSRWLockShared", Number(pLock));
    while (pLock->pOwner != nullptr) {
        g_pScheduler->Park({&g_pScheduler->WaitersAt(pLock)}, kNever, "a slim lock, shared");
    }
    HappensAfter(pLock);
    ++pLock->nShared;
}

void ReleaseSRWLockShared(PSRWLOCK pLock) {
    CCall call("ReleaseSRWLockShared", Number(pLock));
    // For those that take it alone: two that share it are in no order.
    HappensBefore(&pLock->nShared);
    if (--pLock->nShared == 0) {
        g_pScheduler->WakeAll(g_pScheduler->WaitersAt(pLock));
    }
}

BOOL SleepConditionVariableSRW(PCONDITION_VARIABLE pCondition, PSRWLOCK pLock, DWORD dwMilliseconds, ULONG) {
    CCall call("SleepConditionVariableSRW", Number(pCondition), dwMilliseconds);
    CScheduler& scheduler = *g_pScheduler;
    const Nanoseconds nDeadline = scheduler.Deadline(dwMilliseconds);
    ReleaseAlone(pLock);
    // A wait may end for no reason.
    const bool bSpurious = call.Fault({ERROR_SUCCESS + 1}) != 0;
    const bool bWoken =
        bSpurious || scheduler.Park({&scheduler.WaitersAt(pCondition)}, nDeadline, "a condition variable");
    WaitForAlone(pLock);
    return bWoken ? TRUE : call.Fail(ERROR_TIMEOUT);
}

void WakeConditionVariable(PCONDITION_VARIABLE pCondition) {
    CCall call("WakeConditionVariable", Number(pCondition));
    WakeOneAt(pCondition);
}

void WakeAllConditionVariable(PCONDITION_VARIABLE pCondition) {
    CCall call("WakeAllConditionVariable", Number(pCondition));
    g_pScheduler->WakeAll(g_pScheduler->WaitersAt(pCondition));
}
