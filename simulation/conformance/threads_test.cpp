// Threads and locks.
#include "simulation/conformance/conformance.h"

#include <atomic>

namespace {

DWORD WINAPI Give7(LPVOID) {
    return 7;
}

DWORD WINAPI WaitFor(LPVOID event) {
    WaitForSingleObject(event, INFINITE);
    return 1;
}

TEST(Threads, ItsHandleIsSignalledWithItsEndAndGivesItsCode) {
    const CKernelHandle go = MakeEvent(TRUE, FALSE);
    const CKernelHandle thread(CreateThread(nullptr, 0, &WaitFor, go.get(), 0, nullptr));
    DWORD nCode = 0;
    EXPECT_EQ(WaitBriefly(thread), DWORD{WAIT_TIMEOUT});
    EXPECT_TRUE(GetExitCodeThread(thread.get(), &nCode));
    EXPECT_EQ(nCode, DWORD{STILL_ACTIVE});
    SetEvent(go.get());
    EXPECT_EQ(WaitForSingleObject(thread.get(), kLongMs), WAIT_OBJECT_0);
    EXPECT_EQ(WaitBriefly(thread), WAIT_OBJECT_0);
    EXPECT_TRUE(GetExitCodeThread(thread.get(), &nCode));
    EXPECT_EQ(nCode, 1u);
}

TEST(Threads, OneThatIsMadeSuspendedRunsWhenItIsResumed) {
    const CKernelHandle thread(CreateThread(nullptr, 0, &Give7, nullptr, CREATE_SUSPENDED, nullptr));
    EXPECT_EQ(WaitForSingleObject(thread.get(), 10), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(ResumeThread(thread.get()), 1u);
    EXPECT_EQ(WaitForSingleObject(thread.get(), kLongMs), WAIT_OBJECT_0);
    DWORD nCode = 0;
    EXPECT_TRUE(GetExitCodeThread(thread.get(), &nCode));
    EXPECT_EQ(nCode, 7u);
}

TEST(Threads, OneThatIsEndedByAnotherHasTheCodeItWasGiven) {
    const CKernelHandle never = MakeEvent(TRUE, FALSE);
    const CKernelHandle thread(CreateThread(nullptr, 0, &WaitFor, never.get(), 0, nullptr));
    EXPECT_NE(SuspendThread(thread.get()), DWORD(-1));
    EXPECT_TRUE(TerminateThread(thread.get(), 0xFFFFFFF6));
    EXPECT_EQ(WaitForSingleObject(thread.get(), kLongMs), WAIT_OBJECT_0);
    DWORD nCode = 0;
    EXPECT_TRUE(GetExitCodeThread(thread.get(), &nCode));
    EXPECT_EQ(nCode, 0xFFFFFFF6);
}

TEST(Threads, EachHasItsOwnNumberAndItsOwnLastError) {
    const CKernelHandle go = MakeEvent(TRUE, FALSE);
    const CKernelHandle done = MakeEvent(TRUE, FALSE);
    const DWORD nOwn = GetCurrentThreadId();
    const CJoined other([&] {
        EXPECT_NE(GetCurrentThreadId(), nOwn);
        WaitForSingleObject(go.get(), INFINITE);
        SetLastError(12);
        SetEvent(done.get());
    });
    SetLastError(11);
    SetEvent(go.get());
    EXPECT_EQ(WaitForSingleObject(done.get(), kLongMs), WAIT_OBJECT_0);
    EXPECT_EQ(GetLastError(), 11u);
    EXPECT_EQ(GetCurrentThreadId(), nOwn);
}

// In units of 100 ns. Under Wine the tick count stands still while its server gets no processor; this does not.
ULONGLONG SystemTime() {
    FILETIME time = {};
    GetSystemTimeAsFileTime(&time);
    return (ULONGLONG{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

TEST(Threads, ASleepTakesItsTime) {
    constexpr ULONGLONG kUnitsOfAMs = 10'000;
    const ULONGLONG nBegin = SystemTime();
    Sleep(60);
    EXPECT_GE(SystemTime() - nBegin, 44 * kUnitsOfAMs);
}

TEST(CriticalSections, TheOwnerEntersAgainOthersWait) {
    CRITICAL_SECTION section;
    ASSERT_TRUE(InitializeCriticalSectionEx(&section, 0, 0));
    EnterCriticalSection(&section);
    EnterCriticalSection(&section);
    const auto tryElsewhere = [&] {
        BOOL bEntered = FALSE;
        {
            const CJoined other([&] {
                bEntered = TryEnterCriticalSection(&section);
                if (bEntered) {
                    LeaveCriticalSection(&section);
                }
            });
        }
        return bEntered;
    };
    EXPECT_FALSE(tryElsewhere());
    LeaveCriticalSection(&section);
    EXPECT_FALSE(tryElsewhere());
    LeaveCriticalSection(&section);
    EXPECT_TRUE(tryElsewhere());
    DeleteCriticalSection(&section);
}

TEST(CriticalSections, NoTwoThreadsAreInsideAtOnce) {
    CRITICAL_SECTION section;
    ASSERT_TRUE(InitializeCriticalSectionEx(&section, 0, 0));
    int nInside = 0;
    int nMost = 0;
    const auto work = [&] {
        for (int i = 0; i < 20; ++i) {
            EnterCriticalSection(&section);
            nMost = std::max(nMost, ++nInside);
            Sleep(0);
            --nInside;
            LeaveCriticalSection(&section);
        }
    };
    {
        const CJoined first(work);
        const CJoined second(work);
        const CJoined third(work);
    }
    EXPECT_EQ(nMost, 1);
    DeleteCriticalSection(&section);
}

TEST(SlimLocks, OneHoldsItAloneOrManyTogether) {
    SRWLOCK lock = SRWLOCK_INIT;
    const auto canBeHadAlone = [&] {
        BOOL bTaken = FALSE;
        {
            const CJoined other([&] {
                bTaken = TryAcquireSRWLockExclusive(&lock);
                if (bTaken) {
                    ReleaseSRWLockExclusive(&lock);
                }
            });
        }
        return bTaken != FALSE;
    };
    EXPECT_TRUE(canBeHadAlone());
    AcquireSRWLockExclusive(&lock);
    EXPECT_FALSE(canBeHadAlone());
    ReleaseSRWLockExclusive(&lock);
    AcquireSRWLockShared(&lock);
    {
        const CJoined other([&] {
            AcquireSRWLockShared(&lock);
            ReleaseSRWLockShared(&lock);
        });
    }
    EXPECT_FALSE(canBeHadAlone());
    ReleaseSRWLockShared(&lock);
    EXPECT_TRUE(canBeHadAlone());
}

TEST(Conditions, AWaitGivesTheLockUpAndHasItAgainAfterwards) {
    SRWLOCK lock = SRWLOCK_INIT;
    CONDITION_VARIABLE condition = CONDITION_VARIABLE_INIT;
    bool bReady = false;
    AcquireSRWLockExclusive(&lock);
    {
        const CJoined other([&] {
            AcquireSRWLockExclusive(&lock);
            bReady = true;
            ReleaseSRWLockExclusive(&lock);
            WakeAllConditionVariable(&condition);
        });
        while (!bReady) {
            ASSERT_TRUE(SleepConditionVariableSRW(&condition, &lock, kLongMs, 0));
        }
        EXPECT_FALSE(TryAcquireSRWLockExclusive(&lock));
        ReleaseSRWLockExclusive(&lock);
    }
}

TEST(Conditions, AWaitThatRunsOutOfTimeSaysSoAndHasTheLock) {
    SRWLOCK lock = SRWLOCK_INIT;
    CONDITION_VARIABLE condition = CONDITION_VARIABLE_INIT;
    AcquireSRWLockExclusive(&lock);
    EXPECT_EQ(ErrorOf(SleepConditionVariableSRW(&condition, &lock, 5, 0)), DWORD{ERROR_TIMEOUT});
    EXPECT_FALSE(TryAcquireSRWLockExclusive(&lock));
    ReleaseSRWLockExclusive(&lock);
}

TEST(Conditions, OneWakeLetsAtLeastOneThrough) {
    SRWLOCK lock = SRWLOCK_INIT;
    CONDITION_VARIABLE condition = CONDITION_VARIABLE_INIT;
    int nTurns = 0;
    int nDone = 0;
    const auto work = [&] {
        AcquireSRWLockExclusive(&lock);
        while (nTurns == 0) {
            SleepConditionVariableSRW(&condition, &lock, INFINITE, 0);
        }
        --nTurns;
        ++nDone;
        ReleaseSRWLockExclusive(&lock);
    };
    {
        const CJoined first(work);
        const CJoined second(work);
        for (int i = 0; i < 2; ++i) {
            AcquireSRWLockExclusive(&lock);
            ++nTurns;
            ReleaseSRWLockExclusive(&lock);
            WakeConditionVariable(&condition);
        }
    }
    EXPECT_EQ(nDone, 2);
}

}  // namespace
