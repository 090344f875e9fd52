// The numbers with which the window system is called: periods of the timers, and how long an answer may take.
#include "host/window_calls.h"

#include <thread>
#include <tuple>
#include <vector>

#include "host/message_window.h"
#include "host/watchdogs.h"
#include "tests/support/message_number.h"
#include "tests/unit/host/host_fixture.h"

namespace {

struct SetTimerCall {
    HWND window;
    UINT_PTR id;
    UINT periodMs;
    bool operator==(const SetTimerCall&) const = default;
};

struct SendCall {
    HWND window;
    UINT message;
    WPARAM wParam;
    UINT flags;
    UINT timeoutMs;
    bool operator==(const SendCall&) const = default;
};

std::vector<SetTimerCall> g_vecTimers;
std::vector<std::pair<HWND, UINT_PTR>> g_vecKilled;
std::vector<SendCall> g_vecSent;
BOOL g_bKillSucceeds = TRUE;

const WindowCalls kRecording = {
    [](HWND window, UINT_PTR id, UINT periodMs, TIMERPROC) -> UINT_PTR {
        g_vecTimers.push_back({window, id, periodMs});
        return id;
    },
    [](HWND window, UINT_PTR id) -> BOOL {
        g_vecKilled.emplace_back(window, id);
        return g_bKillSucceeds;
    },
    [](HWND window, UINT message, WPARAM wParam, LPARAM, UINT flags, UINT timeoutMs, PDWORD_PTR result) -> LRESULT {
        g_vecSent.push_back({window, message, wParam, flags, timeoutMs});
        *result = 0;
        g_hMsgWnd.store(nullptr);  // ends the hang watch
        return 1;
    },
};

class WindowCallsTest : public CHostFixture {
  protected:
    WindowCallsTest() {
        g_vecTimers.clear();
        g_vecKilled.clear();
        g_vecSent.clear();
        g_bKillSucceeds = TRUE;
        OverrideWindowCalls(&kRecording);
    }
    ~WindowCallsTest() override { OverrideWindowCalls(nullptr); }

    void Request(MessageType type) { Receive(R"({"content":{},"message_type":)" + std::to_string(Number(type)) + "}"); }
};

TEST_F(WindowCallsTest, WindowArmsItsTwoTimersForElevenMinutesAndForTenSeconds) {
    StartHost();
    const HWND window = g_hMsgWnd.load();
    EXPECT_EQ(g_vecTimers, (std::vector<SetTimerCall>{{window, 272, 660000}, {window, 273, 10000}}));
}

TEST_F(WindowCallsTest, TimersThatAreArmedAreNotArmedAgain) {
    g_nExitTimerId.store(272);
    g_nCheckTimerId.store(273);
    StartHost();
    EXPECT_TRUE(g_vecTimers.empty());
}

TEST_F(WindowCallsTest, RequestsOfFourTypesReArmTheExitTimer) {
    StartHost();
    const HWND window = g_hMsgWnd.load();
    for (const MessageType type : {MessageType::S_MT_GetWxAppStatusEncrypt, MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN,
                                   MessageType::S_MT_OpenMiniAppSuccessfully}) {
        g_nStatusTimerId.store(276);
        g_vecTimers.clear();
        g_vecKilled.clear();
        Request(type);
        EXPECT_EQ(g_vecKilled, (std::vector<std::pair<HWND, UINT_PTR>>{{window, 272}})) << Number(type);
        EXPECT_EQ(g_vecTimers, (std::vector<SetTimerCall>{{window, 272, 660000}})) << Number(type);
    }
    for (const MessageType type : {MessageType::S_MT_GetWxAppQIMEI, MessageType::S_MT_GetRSAEncrypt,
                                   MessageType::S_MT_DelayCheckWndStatus, MessageType::S_MT_ExitExeProcess}) {
        g_vecTimers.clear();
        g_vecKilled.clear();
        Request(type);
        EXPECT_TRUE(g_vecKilled.empty()) << Number(type);
        EXPECT_TRUE(g_vecTimers.empty()) << Number(type);
    }
}

TEST_F(WindowCallsTest, ExitTimerThatCannotBeKilledIsLeftAsItIs) {
    StartHost();
    g_vecTimers.clear();
    g_bKillSucceeds = FALSE;
    Request(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN);
    EXPECT_EQ(g_vecKilled.size(), 1u);
    EXPECT_TRUE(g_vecTimers.empty());
}

TEST_F(WindowCallsTest, FirstStatusRequestArmsTheStatusTimerForFiveMinutes) {
    StartHost();
    const HWND window = g_hMsgWnd.load();
    g_vecTimers.clear();
    Request(MessageType::S_MT_GetWxAppStatus);
    Request(MessageType::S_MT_GetWxAppStatus);
    const SetTimerCall exit = {window, 272, 660000};
    EXPECT_EQ(g_vecTimers, (std::vector<SetTimerCall>{exit, {window, 276, 300000}, exit}));
}

TEST_F(WindowCallsTest, LeavingKillsTheExitTimer) {
    StartHost();
    const HWND window = g_hMsgWnd.load();
    SetParam("first", kParamKeep, kParamKeep, kDestroyNow);
    SendMessageW(window, WM_TIMER, TIMER_ID_CHECK_EXIT, 0);
    EXPECT_EQ(g_vecKilled, (std::vector<std::pair<HWND, UINT_PTR>>{{window, 272}}));
    EXPECT_TRUE(TakeQuitMessage());
}

TEST_F(WindowCallsTest, WindowHasFifteenSecondsToAnswerAProbe) {
    StartHost();
    const HWND window = g_hMsgWnd.load();
    EXPECT_EQ(HangWatcherThreadFunc(&m_host), 0u);
    EXPECT_EQ(g_vecSent, (std::vector<SendCall>{{window, 1384, 0, SMTO_BLOCK, 15000}}));
    DestroyWindow(window);
}

using WindowCallsDeathTest = WindowCallsTest;

TEST_F(WindowCallsDeathTest, WindowThatDoesNotAnswerAProbeEndsTheProcess) {
    static const WindowCalls silent = {
        kRecording.pfnSetTimer, kRecording.pfnKillTimer,
        [](HWND window, UINT, WPARAM, LPARAM, UINT, UINT, PDWORD_PTR) -> LRESULT {
            if (window != g_hMsgWnd.exchange(nullptr)) {
                _exit(9);
            }
            SetLastError(ERROR_INVALID_WINDOW_HANDLE);  // any reason but the end of the time
            return 0;
        }};
    StartHost();
    const HWND window = g_hMsgWnd.load();
    OverrideWindowCalls(&silent);
    EXPECT_EXIT((HangWatcherThreadFunc(&m_host), _exit(8)), testing::ExitedWithCode(0), "");
    OverrideWindowCalls(&kRecording);
    DestroyWindow(window);
}

// A timer that fires is a message of this thread. The one that is armed short must come first, unless it was armed
// again.
TEST_F(WindowCallsTest, ExitTimerThatWasReArmedDoesNotFireWhenItWouldHaveFired) {
    OverrideWindowCalls(nullptr);
    StartHost();
    const HWND window = g_hMsgWnd.load();
    constexpr UINT_PTR kReference = 999;
    ASSERT_NE(SetTimer(window, TIMER_ID_CHECK_TIMEOUT, 50, nullptr), 0u);
    Request(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN);
    ASSERT_NE(SetTimer(window, kReference, 500, nullptr), 0u);
    std::vector<WPARAM> fired;
    MSG message;
    while ((fired.empty() || fired.back() != kReference) && GetMessageW(&message, window, WM_TIMER, WM_TIMER) > 0) {
        if (message.wParam != TIMER_ID_CHECK_EXIT) {
            fired.push_back(message.wParam);
        }
    }
    EXPECT_EQ(fired, std::vector<WPARAM>{kReference});
    KillTimer(window, kReference);
}

}  // namespace
