// Events, waits and their names.
#include "simulation/conformance/conformance.h"

// Of ntdll.dll; no header of the SDK declares it.
extern "C" LONG WINAPI NtResetEvent(HANDLE hEvent, LONG* pWasSet);

namespace {

TEST(Events, AManualOneStaysSetUntilItIsReset) {
    const CKernelHandle event = MakeEvent(TRUE, FALSE);
    ASSERT_TRUE(event);
    EXPECT_EQ(WaitBriefly(event), DWORD{WAIT_TIMEOUT});
    EXPECT_TRUE(SetEvent(event.get()));
    EXPECT_EQ(WaitBriefly(event), WAIT_OBJECT_0);
    EXPECT_EQ(WaitBriefly(event), WAIT_OBJECT_0);
    EXPECT_TRUE(ResetEvent(event.get()));
    EXPECT_EQ(WaitBriefly(event), DWORD{WAIT_TIMEOUT});
}

TEST(Events, AResetOfTheNativeInterfaceSaysWhetherItWasSet) {
    for (const BOOL bManual : {TRUE, FALSE}) {
        const CKernelHandle event = MakeEvent(bManual, TRUE);
        LONG nWasSet = 7;
        EXPECT_EQ(NtResetEvent(event.get(), &nWasSet), 0);
        EXPECT_EQ(nWasSet, 1);
        EXPECT_EQ(WaitBriefly(event), DWORD{WAIT_TIMEOUT});
        EXPECT_EQ(NtResetEvent(event.get(), &nWasSet), 0);
        EXPECT_EQ(nWasSet, 0);
    }
    LONG nWasSet = 7;
    EXPECT_LT(NtResetEvent(nullptr, &nWasSet), 0);
}

TEST(Events, AnAutomaticOneLetsOneWaitThrough) {
    const CKernelHandle event = MakeEvent(FALSE, TRUE);
    EXPECT_EQ(WaitBriefly(event), WAIT_OBJECT_0);
    EXPECT_EQ(WaitBriefly(event), DWORD{WAIT_TIMEOUT});
    EXPECT_TRUE(SetEvent(event.get()));
    EXPECT_TRUE(SetEvent(event.get()));
    EXPECT_EQ(WaitBriefly(event), WAIT_OBJECT_0);
    EXPECT_EQ(WaitBriefly(event), DWORD{WAIT_TIMEOUT});
}

TEST(Events, ASetLetsThoseThroughWhoWaitEvenIfAResetFollowsAtOnce) {
    const CKernelHandle event = MakeEvent(TRUE, FALSE);
    const CKernelHandle through = MakeEvent(TRUE, FALSE);
    const CJoined waiter([&] {
        WaitForSingleObject(event.get(), INFINITE);
        SetEvent(through.get());
    });
    // Nothing tells when it has begun to wait.
    while (WaitForSingleObject(through.get(), 5) == WAIT_TIMEOUT) {
        SetEvent(event.get());
        ResetEvent(event.get());
    }
    EXPECT_EQ(WaitBriefly(event), DWORD{WAIT_TIMEOUT});
}

TEST(Events, AWaitForAnyTellsTheFirstThatIsSetAndTakesThatAlone) {
    const CKernelHandle first = MakeEvent(FALSE, FALSE);
    const CKernelHandle second = MakeEvent(FALSE, TRUE);
    const CKernelHandle third = MakeEvent(FALSE, TRUE);
    const HANDLE handles[] = {first.get(), second.get(), third.get()};
    EXPECT_EQ(WaitForMultipleObjects(3, handles, FALSE, 0), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(WaitForMultipleObjects(3, handles, FALSE, 0), WAIT_OBJECT_0 + 2);
    EXPECT_EQ(WaitForMultipleObjects(3, handles, FALSE, 0), DWORD{WAIT_TIMEOUT});
}

TEST(Events, AWaitForAllTakesNoneUntilItCanTakeAll) {
    const CKernelHandle first = MakeEvent(FALSE, TRUE);
    const CKernelHandle second = MakeEvent(FALSE, FALSE);
    const HANDLE handles[] = {first.get(), second.get()};
    EXPECT_EQ(WaitForMultipleObjects(2, handles, TRUE, 0), DWORD{WAIT_TIMEOUT});
    EXPECT_TRUE(SetEvent(second.get()));
    EXPECT_EQ(WaitForMultipleObjects(2, handles, TRUE, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitBriefly(first), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(WaitBriefly(second), DWORD{WAIT_TIMEOUT});
}

TEST(Events, AWaitEndsWithItsTimeAndNotBefore) {
    const CKernelHandle event = MakeEvent(TRUE, FALSE);
    const ULONGLONG nBegin = GetTickCount64();
    EXPECT_EQ(WaitForSingleObject(event.get(), 60), DWORD{WAIT_TIMEOUT});
    // The tick count moves in steps of up to 16 ms.
    EXPECT_GE(GetTickCount64() - nBegin, 44u);
}

TEST(Events, AValueThatIsNotAHandleFailsWithError6) {
    const HANDLE hClosed = MakeEvent(TRUE, TRUE).release();
    EXPECT_TRUE(CloseHandle(hClosed));
    EXPECT_EQ(ErrorOf(CloseHandle(hClosed)), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(ErrorOf(CloseHandle(nullptr)), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(ErrorOf(SetEvent(hClosed)), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(ErrorOf(ResetEvent(nullptr)), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(WaitForSingleObject(hClosed, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST(Events, SuccessLeavesTheLastErrorAloneButMakingOneClearsIt) {
    SetLastError(1234);
    const CKernelHandle event = MakeEvent(TRUE, TRUE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
    SetLastError(1234);
    EXPECT_TRUE(SetEvent(event.get()));
    EXPECT_EQ(WaitBriefly(event), WAIT_OBJECT_0);
    EXPECT_TRUE(ResetEvent(event.get()));
    EXPECT_EQ(WaitBriefly(event), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(GetLastError(), 1234u);
}

TEST(Events, OneNameIsOneEventInTheStateItIsIn) {
    const std::wstring strName = FreshName(L"Global\\NexletConformance");
    const CKernelHandle first = MakeEvent(TRUE, FALSE, strName.c_str());
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
    const CKernelHandle second = MakeEvent(FALSE, TRUE, strName.c_str());
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(WaitBriefly(second), DWORD{WAIT_TIMEOUT});
    EXPECT_TRUE(SetEvent(second.get()));
    EXPECT_EQ(WaitBriefly(first), WAIT_OBJECT_0);
    EXPECT_EQ(WaitBriefly(second), WAIT_OBJECT_0);
}

TEST(Events, ANameLivesAsLongAsAHandle) {
    const std::wstring strName = FreshName(L"Global\\NexletConformance");
    CKernelHandle made = MakeEvent(TRUE, FALSE, strName.c_str());
    CKernelHandle opened(OpenEventW(EVENT_ALL_ACCESS, FALSE, strName.c_str()));
    EXPECT_TRUE(opened);
    made.reset();
    EXPECT_TRUE(CKernelHandle(OpenEventW(EVENT_ALL_ACCESS, FALSE, strName.c_str())));
    opened.reset();
    EXPECT_FALSE(CKernelHandle(OpenEventW(EVENT_ALL_ACCESS, FALSE, strName.c_str())));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST(Events, NamesTellCaseAndScopeApart) {
    const std::wstring strName = FreshName(L"NexletConformance");
    const CKernelHandle global = MakeEvent(TRUE, FALSE, (L"Global\\" + strName).c_str());
    EXPECT_FALSE(CKernelHandle(OpenEventW(EVENT_ALL_ACCESS, FALSE, strName.c_str())));
    EXPECT_FALSE(CKernelHandle(OpenEventW(EVENT_ALL_ACCESS, FALSE, (L"Local\\" + strName).c_str())));
    const CKernelHandle local = MakeEvent(TRUE, FALSE, strName.c_str());
    EXPECT_TRUE(CKernelHandle(OpenEventW(EVENT_ALL_ACCESS, FALSE, (L"Local\\" + strName).c_str())));
    std::wstring strOther = strName;
    strOther[0] = L'n';
    EXPECT_FALSE(CKernelHandle(OpenEventW(EVENT_ALL_ACCESS, FALSE, strOther.c_str())));
}

TEST(Events, ANameOfAnotherKindOfObjectIsError6) {
    const std::wstring strName = FreshName(L"Global\\NexletConformance");
    const CKernelHandle mutex(CreateMutexW(nullptr, FALSE, strName.c_str()));
    EXPECT_FALSE(MakeEvent(TRUE, FALSE, strName.c_str()));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_FALSE(CKernelHandle(OpenEventW(EVENT_ALL_ACCESS, FALSE, strName.c_str())));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST(Events, ACopyOfAHandleKeepsTheEvent) {
    HANDLE hCopy = nullptr;
    {
        const CKernelHandle event = MakeEvent(TRUE, TRUE);
        ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), event.get(), GetCurrentProcess(), &hCopy, 0, FALSE,
                                    DUPLICATE_SAME_ACCESS));
    }
    const CKernelHandle copy(hCopy);
    EXPECT_EQ(WaitBriefly(copy), WAIT_OBJECT_0);
    EXPECT_EQ(ErrorOf(DuplicateHandle(GetCurrentProcess(), nullptr, GetCurrentProcess(), &hCopy, 0, FALSE,
                                      DUPLICATE_SAME_ACCESS)),
              DWORD{ERROR_INVALID_HANDLE});
}

TEST(Mutexes, OneThreadHoldsItAsOftenAsItLikesOthersNotAtAll) {
    const CKernelHandle mutex(CreateMutexW(nullptr, TRUE, nullptr));
    EXPECT_EQ(WaitBriefly(mutex), WAIT_OBJECT_0);
    {
        const CJoined other([&] {
            EXPECT_EQ(WaitBriefly(mutex), DWORD{WAIT_TIMEOUT});
            EXPECT_EQ(ErrorOf(ReleaseMutex(mutex.get())), DWORD{ERROR_NOT_OWNER});
        });
    }
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
    EXPECT_EQ(ErrorOf(ReleaseMutex(mutex.get())), DWORD{ERROR_NOT_OWNER});
    const CJoined other([&] {
        EXPECT_EQ(WaitBriefly(mutex), WAIT_OBJECT_0);
        EXPECT_TRUE(ReleaseMutex(mutex.get()));
    });
}

TEST(Mutexes, OneThatExistsIsNotTakenByItsSecondMaker) {
    const std::wstring strName = FreshName(L"NexletConformance");
    const CKernelHandle first(CreateMutexW(nullptr, FALSE, strName.c_str()));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
    const CKernelHandle second(CreateMutexW(nullptr, TRUE, strName.c_str()));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(ErrorOf(ReleaseMutex(second.get())), DWORD{ERROR_NOT_OWNER});
}

TEST(Mutexes, TheNextOwnerIsToldThatTheLastOneEndedWithIt) {
    const CKernelHandle mutex(CreateMutexW(nullptr, FALSE, nullptr));
    {
        const CJoined other([&] { WaitForSingleObject(mutex.get(), INFINITE); });
    }
    EXPECT_EQ(WaitForSingleObject(mutex.get(), kLongMs), WAIT_ABANDONED);
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
    EXPECT_EQ(WaitBriefly(mutex), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
}

TEST(Events, ANameWithAFolderIsRefused) {
    EXPECT_FALSE(MakeEvent(TRUE, FALSE, (L"Global\\" + FreshName(L"nexlet_conformance") + L"\\below").c_str()));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
}

}  // namespace
