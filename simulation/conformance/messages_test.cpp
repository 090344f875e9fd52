// Windows without a picture, messages and timers.
#include "simulation/conformance/conformance.h"

#include <atomic>
#include <vector>

namespace {

// What the windows of a test have been told, on the thread that made them.
std::vector<std::pair<UINT, WPARAM>> g_told;
std::function<LRESULT(HWND, UINT, WPARAM)> g_answer;

LRESULT CALLBACK Procedure(HWND hWindow, UINT nMessage, WPARAM wParam, LPARAM lParam) {
    if (nMessage == WM_CREATE || nMessage == WM_DESTROY || nMessage == WM_TIMER || nMessage >= WM_USER) {
        g_told.emplace_back(nMessage, wParam);
    }
    if (g_answer && nMessage >= WM_USER) {
        return g_answer(hWindow, nMessage, wParam);
    }
    return DefWindowProcW(hWindow, nMessage, wParam, lParam);
}

class Messages : public testing::Test {
  protected:
    Messages() {
        g_told.clear();
        g_answer = nullptr;
        EXPECT_NE(Register(), 0);
    }
    ~Messages() override {
        for (const HWND hWindow : m_vecWindows) {
            DestroyWindow(hWindow);
        }
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        }
        EXPECT_TRUE(UnregisterClassW(m_strClass.c_str(), nullptr));
    }

    ATOM Register() const {
        WNDCLASSEXW record = {};
        record.cbSize = sizeof record;
        record.lpfnWndProc = &Procedure;
        record.lpszClassName = m_strClass.c_str();
        return RegisterClassExW(&record);
    }
    HWND Make() {
        m_vecWindows.push_back(
            CreateWindowExW(0, m_strClass.c_str(), nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr));
        EXPECT_NE(m_vecWindows.back(), nullptr);
        return m_vecWindows.back();
    }
    static MSG Get() {
        MSG message = {};
        GetMessageW(&message, nullptr, 0, 0);
        return message;
    }

    const std::wstring m_strClass = FreshName(L"NexletConformance");
    std::vector<HWND> m_vecWindows;
};

TEST_F(Messages, AClassIsRegisteredOnceAndAnUnknownOneMakesNoWindow) {
    EXPECT_EQ(Register(), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_CLASS_ALREADY_EXISTS});
    EXPECT_EQ(CreateWindowExW(0, FreshName(L"NexletNoClass").c_str(), nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                              nullptr, nullptr),
              nullptr);
}

TEST_F(Messages, AMessageWindowIsCreatedWithAMessageAndFoundAmongItsKind) {
    const HWND hWindow = Make();
    ASSERT_EQ(g_told.size(), 1u);
    EXPECT_EQ(g_told[0].first, UINT{WM_CREATE});
    EXPECT_EQ(FindWindowExW(HWND_MESSAGE, nullptr, m_strClass.c_str(), nullptr), hWindow);
    EXPECT_TRUE(IsWindow(hWindow));
}

TEST_F(Messages, ACloseDestroysTheWindowAndWhatIsSentToItAfterThatIsError1400) {
    const HWND hWindow = Make();
    EXPECT_EQ(SendMessageW(hWindow, WM_CLOSE, 0, 0), 0);
    ASSERT_EQ(g_told.size(), 2u);
    EXPECT_EQ(g_told[1].first, UINT{WM_DESTROY});
    EXPECT_FALSE(IsWindow(hWindow));
    EXPECT_EQ(ErrorOf(PostMessageW(hWindow, WM_USER, 0, 0)), DWORD{ERROR_INVALID_WINDOW_HANDLE});
    DWORD_PTR nResult = 0;
    EXPECT_EQ(SendMessageTimeoutW(hWindow, WM_USER, 0, 0, SMTO_BLOCK, kLongMs, &nResult), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_WINDOW_HANDLE});
    EXPECT_EQ(SetTimer(hWindow, 1, 10, nullptr), 0u);
}

TEST_F(Messages, WhatWasPostedComesFirstThenTheQuitAndThenATimer) {
    const HWND hWindow = Make();
    EXPECT_EQ(SetTimer(hWindow, 5, 10, nullptr), 5u);
    Sleep(50);
    PostQuitMessage(7);
    EXPECT_TRUE(PostMessageW(hWindow, WM_USER, 1, 0));
    EXPECT_TRUE(PostMessageW(hWindow, WM_USER, 2, 0));
    EXPECT_EQ(Get().wParam, 1u);
    EXPECT_EQ(Get().wParam, 2u);
    MSG message = {};
    EXPECT_FALSE(GetMessageW(&message, nullptr, 0, 0));
    EXPECT_EQ(message.message, UINT{WM_QUIT});
    EXPECT_EQ(message.wParam, 7u);
    message = Get();
    EXPECT_EQ(message.message, UINT{WM_TIMER});
    EXPECT_EQ(message.wParam, 5u);
    EXPECT_EQ(message.hwnd, hWindow);
}

TEST_F(Messages, ALookAtTheQuitLeavesItAndATakeTakesIt) {
    MSG message = {};
    EXPECT_FALSE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_NOREMOVE));
    PostQuitMessage(3);
    EXPECT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_NOREMOVE));
    EXPECT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
    EXPECT_EQ(message.wParam, 3u);
    EXPECT_FALSE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
}

TEST_F(Messages, ATimerComesAgainAndAgainUntilItIsKilled) {
    const HWND hWindow = Make();
    EXPECT_EQ(SetTimer(hWindow, 9, 10, nullptr), 9u);
    for (int i = 0; i < 3; ++i) {
        const MSG message = Get();
        EXPECT_EQ(message.message, UINT{WM_TIMER});
        DispatchMessageW(&message);
    }
    EXPECT_EQ(g_told.back(), std::pair(UINT{WM_TIMER}, WPARAM{9}));
    EXPECT_TRUE(KillTimer(hWindow, 9));
    EXPECT_FALSE(KillTimer(hWindow, 9));
    Sleep(40);
    MSG message = {};
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
}

TEST_F(Messages, PeriodsThatPassWhileNobodyLooksAreOneMessage) {
    const HWND hWindow = Make();
    // Longer than what follows takes.
    EXPECT_EQ(SetTimer(hWindow, 9, 1000, nullptr), 9u);
    Sleep(2100);
    MSG message = {};
    EXPECT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
}

TEST_F(Messages, ATimerOfTheSameNumberTakesThePlaceOfTheOther) {
    const HWND hWindow = Make();
    EXPECT_EQ(SetTimer(hWindow, 9, 10, nullptr), 9u);
    EXPECT_EQ(SetTimer(hWindow, 9, 600000, nullptr), 9u);
    Sleep(50);
    MSG message = {};
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
}

// The product works with both answers: its exit timer is then not put off.
TEST_F(Messages, AnotherThreadSetsAndKillsATimerOrIsRefused) {
    const HWND hWindow = Make();
    EXPECT_EQ(SetTimer(hWindow, 9, 600000, nullptr), 9u);
    BOOL bKilled = FALSE;
    UINT_PTR nSet = 0;
    {
        const CJoined other([&] {
            bKilled = KillTimer(hWindow, 9);
            nSet = SetTimer(hWindow, 8, 600000, nullptr);
        });
    }
    EXPECT_EQ(KillTimer(hWindow, 9), !bKilled);
    EXPECT_EQ(KillTimer(hWindow, 8), nSet != 0);
    EXPECT_EQ(nSet != 0, bKilled != FALSE);
}

TEST_F(Messages, ASentMessageIsAnsweredWhileItsThreadLooksForOneAndBeforeWhatWasPosted) {
    const HWND hWindow = Make();
    const DWORD nThread = GetCurrentThreadId();
    g_answer = [&](HWND, UINT, WPARAM wParam) -> LRESULT {
        EXPECT_EQ(GetCurrentThreadId(), nThread);
        return static_cast<LRESULT>(wParam) + 1;
    };
    PostMessageW(hWindow, WM_USER, 1, 0);
    DWORD_PTR nResult = 0;
    LRESULT nSent = 0;
    {
        const CJoined other([&] {
            nSent = SendMessageTimeoutW(hWindow, WM_APP, 41, 0, SMTO_BLOCK, kLongMs, &nResult);
            PostMessageW(hWindow, WM_USER, 2, 0);
        });
        EXPECT_EQ(Get().wParam, 1u);
        EXPECT_EQ(Get().wParam, 2u);
    }
    EXPECT_NE(nSent, 0);
    EXPECT_EQ(nResult, 42u);
}

TEST_F(Messages, ALookForWhatWasSentLeavesWhatWasPosted) {
    const HWND hWindow = Make();
    PostMessageW(hWindow, WM_USER, 1, 0);
    MSG message = {};
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE));
    EXPECT_EQ(Get().wParam, 1u);
}

TEST_F(Messages, ASentMessageThatNobodyLooksForRunsOutOfTime) {
    const HWND hWindow = Make();
    DWORD nError = ERROR_SUCCESS;
    LRESULT nSent = 1;
    {
        const CJoined other([&] {
            DWORD_PTR nResult = 0;
            nSent = SendMessageTimeoutW(hWindow, WM_APP, 0, 0, SMTO_BLOCK, 50, &nResult);
            nError = GetLastError();
        });
    }
    EXPECT_EQ(nSent, 0);
    EXPECT_EQ(nError, DWORD{ERROR_TIMEOUT});
}

TEST_F(Messages, ASenderDoesNotWaitForAWindowWhoseThreadHasEnded) {
    std::atomic<HWND> hOther{nullptr};
    const CKernelHandle go = MakeEvent(TRUE, FALSE);
    DWORD_PTR nResult = 0;
    LRESULT nSent = 1;
    {
        const CJoined owner([&] {
            hOther =
                CreateWindowExW(0, m_strClass.c_str(), nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
            SetEvent(go.get());
            Sleep(100);  // does not look for messages
        });
        WaitForSingleObject(go.get(), kLongMs);
        nSent = SendMessageTimeoutW(hOther.load(), WM_APP, 0, 0, SMTO_BLOCK, kLongMs, &nResult);
    }
    EXPECT_EQ(nSent, 0);
    EXPECT_FALSE(IsWindow(hOther.load()));
}

TEST_F(Messages, AMessageForAThreadNeedsItsQueueAndHasNoWindow) {
    DWORD nId = 0;
    const CKernelHandle idle(CreateThread(
        nullptr, 0,
        [](void*) -> DWORD {
            Sleep(0);
            return 0;
        },
        nullptr, CREATE_SUSPENDED, &nId));
    EXPECT_EQ(ErrorOf(PostThreadMessageW(nId, WM_APP, 1, 0)), DWORD{ERROR_INVALID_THREAD_ID});
    ResumeThread(idle.get());
    WaitForSingleObject(idle.get(), kLongMs);
    EXPECT_EQ(ErrorOf(PostThreadMessageW(nId, WM_APP, 1, 0)), DWORD{ERROR_INVALID_THREAD_ID});

    MSG message = {};
    PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);
    EXPECT_TRUE(PostThreadMessageW(GetCurrentThreadId(), WM_APP, 6, 0));
    message = Get();
    EXPECT_EQ(message.hwnd, nullptr);
    EXPECT_EQ(message.message, UINT{WM_APP});
    EXPECT_EQ(message.wParam, 6u);
}

TEST_F(Messages, AMessageWakesAThreadThatWaitsForOne) {
    const HWND hWindow = Make();
    const CJoined other([&] {
        Sleep(30);
        PostMessageW(hWindow, WM_USER, 4, 0);
    });
    EXPECT_EQ(Get().wParam, 4u);
}

TEST_F(Messages, AProcedureThatSendsToItsOwnWindowIsCalledWithin) {
    const HWND hWindow = Make();
    g_answer = [](HWND hSame, UINT nMessage, WPARAM wParam) -> LRESULT {
        return wParam == 0 ? 1 : 1 + SendMessageW(hSame, nMessage, wParam - 1, 0);
    };
    EXPECT_EQ(SendMessageW(hWindow, WM_APP, 3, 0), 4);
}

TEST_F(Messages, AnotherThreadMayNotDestroyAWindow) {
    const HWND hWindow = Make();
    BOOL bDestroyed = TRUE;
    {
        const CJoined other([&] { bDestroyed = DestroyWindow(hWindow); });
    }
    EXPECT_FALSE(bDestroyed);
    EXPECT_TRUE(IsWindow(hWindow));
}

}  // namespace
