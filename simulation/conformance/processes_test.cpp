// Programs that are started, processes that are opened, and waits that a thread of the system keeps.
#include "simulation/conformance/conformance.h"

#include <atomic>

namespace {

std::wstring SystemFolder() {
    wchar_t folder[MAX_PATH] = {};
    GetSystemDirectoryW(folder, MAX_PATH);
    return folder;
}

struct Started {
    CKernelHandle hProcess;
    DWORD dwProcessId = 0;
};

// The system's own shell with this command.
Started StartShell(const wchar_t* szCommand) {
    std::wstring strLine = std::wstring(L"cmd.exe /c ") + szCommand;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_FORCEOFFFEEDBACK;
    PROCESS_INFORMATION made = {};
    EXPECT_TRUE(CreateProcessW((SystemFolder() + L"\\cmd.exe").c_str(), strLine.data(), nullptr, nullptr,
                               /*bInheritHandles=*/FALSE, 0, nullptr, nullptr, &startup, &made))
        << GetLastError();
    CloseHandle(made.hThread);
    return {CKernelHandle(made.hProcess), made.dwProcessId};
}

DWORD ExitCode(const CKernelHandle& process) {
    DWORD nCode = 0;
    EXPECT_TRUE(GetExitCodeProcess(process.get(), &nCode));
    return nCode;
}

TEST(Processes, AProgramRunsAndItsHandleIsSignalledWithItsEnd) {
    const Started shell = StartShell(L"exit 7");
    EXPECT_NE(shell.dwProcessId, GetCurrentProcessId());
    EXPECT_EQ(WaitForSingleObject(shell.hProcess.get(), kLongMs), WAIT_OBJECT_0);
    EXPECT_EQ(ExitCode(shell.hProcess), 7u);
}

TEST(Processes, AProgramThatIsNotThereIsError2AFolderThatIsNotThereError3) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION made = {};
    const auto error = [&](const std::wstring& strFile) {
        std::wstring strLine = L"x";
        return ErrorOf(CreateProcessW(strFile.c_str(), strLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                      &startup, &made));
    };
    EXPECT_EQ(error(SystemFolder() + L"\\nexlet_no_such_program.exe"), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(error(L"C:\\nexlet_no_such_folder\\x.exe"), DWORD{ERROR_PATH_NOT_FOUND});
}

TEST(Processes, OneIsOpenedByItsNumberWhileItRunsAndNoneIsNumber0) {
    const CKernelHandle own(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, GetCurrentProcessId()));
    ASSERT_TRUE(own) << GetLastError();
    EXPECT_EQ(WaitBriefly(own), WAIT_TIMEOUT);
    EXPECT_EQ(ExitCode(own), STILL_ACTIVE);
    EXPECT_EQ(OpenProcess(SYNCHRONIZE, FALSE, 0), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST(Processes, OneThatHasEndedIsStillOpenedWhileAHandleOfItIsOpen) {
    const Started shell = StartShell(L"exit 3");
    EXPECT_EQ(WaitForSingleObject(shell.hProcess.get(), kLongMs), WAIT_OBJECT_0);
    const CKernelHandle again(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, shell.dwProcessId));
    ASSERT_TRUE(again) << GetLastError();
    EXPECT_EQ(WaitBriefly(again), WAIT_OBJECT_0);
    EXPECT_EQ(ExitCode(again), 3u);
}

TEST(Processes, AllOfOneLogonAreInOneSession) {
    DWORD nSession = 0xFFFFFFFF;
    ASSERT_TRUE(ProcessIdToSessionId(GetCurrentProcessId(), &nSession));
    const Started shell = StartShell(L"exit 0");
    DWORD nOther = 0xFFFFFFFE;
    ASSERT_TRUE(ProcessIdToSessionId(shell.dwProcessId, &nOther));
    EXPECT_EQ(nOther, nSession);
    WaitForSingleObject(shell.hProcess.get(), kLongMs);
}

// What a registered wait calls.
struct Called {
    std::atomic<int> nCalls{0};
    std::atomic<DWORD> dwThread{0};
    CKernelHandle done = MakeEvent(TRUE, FALSE);
    CKernelHandle mayReturn = MakeEvent(TRUE, TRUE);

    static void CALLBACK Ended(void* pSelf, BOOLEAN bTimedOut) {
        auto& self = *static_cast<Called*>(pSelf);
        self.dwThread = GetCurrentThreadId();
        self.nCalls += bTimedOut ? 100 : 1;
        SetEvent(self.done.get());
        WaitForSingleObject(self.mayReturn.get(), kLongMs);
    }
};

HANDLE Register(const CKernelHandle& object, Called& called) {
    HANDLE hWait = nullptr;
    EXPECT_TRUE(RegisterWaitForSingleObject(&hWait, object.get(), Called::Ended, &called, INFINITE, WT_EXECUTEONLYONCE))
        << GetLastError();
    return hWait;
}

TEST(RegisteredWaits, CallOnceOnAnotherThread) {
    const CKernelHandle event = MakeEvent(TRUE, FALSE);
    Called called;
    const HANDLE hWait = Register(event, called);
    EXPECT_NE(hWait, nullptr);
    EXPECT_EQ(called.nCalls, 0);
    SetEvent(event.get());
    EXPECT_EQ(WaitForSingleObject(called.done.get(), kLongMs), WAIT_OBJECT_0);
    EXPECT_TRUE(UnregisterWaitEx(hWait, INVALID_HANDLE_VALUE));
    EXPECT_EQ(called.nCalls, 1);
    EXPECT_NE(called.dwThread, GetCurrentThreadId());
}

TEST(RegisteredWaits, OneThatIsTakenBackFirstCallsNothing) {
    const CKernelHandle event = MakeEvent(TRUE, FALSE);
    Called called;
    EXPECT_TRUE(UnregisterWaitEx(Register(event, called), INVALID_HANDLE_VALUE));
    SetEvent(event.get());
    EXPECT_EQ(called.nCalls, 0);
}

TEST(RegisteredWaits, ToTakeOneBackWaitsForItsCallToReturn) {
    const CKernelHandle event = MakeEvent(TRUE, TRUE);
    Called called;
    ResetEvent(called.mayReturn.get());
    const HANDLE hWait = Register(event, called);
    EXPECT_EQ(WaitForSingleObject(called.done.get(), kLongMs), WAIT_OBJECT_0);
    std::atomic<bool> bReturned{false};
    {
        const CJoined taker([&] {
            EXPECT_TRUE(UnregisterWaitEx(hWait, INVALID_HANDLE_VALUE));
            EXPECT_TRUE(bReturned);
        });
        bReturned = true;
        SetEvent(called.mayReturn.get());
    }
    EXPECT_EQ(called.nCalls, 1);
}

TEST(RegisteredWaits, AProcessIsWaitedForToo) {
    const Started shell = StartShell(L"exit 0");
    Called called;
    const HANDLE hWait = Register(shell.hProcess, called);
    EXPECT_EQ(WaitForSingleObject(called.done.get(), kLongMs), WAIT_OBJECT_0);
    EXPECT_EQ(WaitBriefly(shell.hProcess), WAIT_OBJECT_0);
    EXPECT_TRUE(UnregisterWaitEx(hWait, INVALID_HANDLE_VALUE));
}

std::atomic<int> g_nForgotten{0};

void NTAPI Forgotten(void* pValue) {
    g_nForgotten += *static_cast<int*>(pValue);
}

TEST(LocalStorage, EachThreadHasItsOwnValueAndTheEndOfAThreadForgetsIt) {
    const DWORD nSlot = FlsAlloc(Forgotten);
    ASSERT_NE(nSlot, DWORD{FLS_OUT_OF_INDEXES});
    g_nForgotten = 0;
    int nOther = 5;
    {
        const CJoined other([&] {
            EXPECT_EQ(FlsGetValue(nSlot), nullptr);
            EXPECT_TRUE(FlsSetValue(nSlot, &nOther));
            EXPECT_EQ(FlsGetValue(nSlot), &nOther);
        });
    }
    EXPECT_EQ(g_nForgotten, 5);
    EXPECT_EQ(FlsGetValue(nSlot), nullptr);
    // A thread that set nothing has nothing to forget.
    {
        const CJoined idle([] {});
    }
    EXPECT_EQ(g_nForgotten, 5);
}

}  // namespace
