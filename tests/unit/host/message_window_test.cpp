#include "host/message_window.h"

#include "foundation/text_helpers.h"
#include "tests/unit/host/host_fixture.h"

namespace {

class MessageWindowTest : public CHostFixture {
  protected:
    MessageWindowTest() { StartHost(); }
};

TEST_F(MessageWindowTest, IsAMessageOnlyWindowOfTheMarksClass) {
    const HWND window = g_hMsgWnd.load();
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(g_hWnd.load(), window);
    EXPECT_EQ(FindWindowExW(HWND_MESSAGE, nullptr, (L"ProgramIPCMessageS_" + m_mark).c_str(), nullptr), window);
}

TEST_F(MessageWindowTest, CreationArmsTheTwoExitTimers) {
    EXPECT_TRUE(m_log.Has("create timer")) << m_log.All();
    EXPECT_NE(g_nExitTimerId.load(), 0u);
    EXPECT_NE(g_nCheckTimerId.load(), 0u);
    EXPECT_EQ(g_nStatusTimerId.load(), 0u);
    EXPECT_TRUE(KillTimer(g_hMsgWnd.load(), TIMER_ID_CHECK_TIMEOUT));
    EXPECT_TRUE(KillTimer(g_hMsgWnd.load(), TIMER_ID_CHECK_EXIT));
    EXPECT_FALSE(KillTimer(g_hMsgWnd.load(), TIMER_ID_UPDATE_STATUS));
}

TEST_F(MessageWindowTest, CopyDataIsDroppedWithResultZero) {
    std::string request = R"({"content":{"service_id":"new","p1":"{}"},"message_type":7})";
    COPYDATASTRUCT record = {};
    record.dwData = 6;
    record.cbData = static_cast<DWORD>(request.size() + 1);
    record.lpData = request.data();
    const std::size_t instances = m_host.InstanceCount();
    EXPECT_EQ(SendMessageW(g_hMsgWnd.load(), WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&record)), 0);
    EXPECT_EQ(m_host.InstanceCount(), instances);
    EXPECT_FALSE(m_log.Has("ReceiveIPCMessage begin")) << m_log.All();
}

TEST_F(MessageWindowTest, CloseDestroysTheWindowAndEndsTheLoop) {
    const HWND window = g_hMsgWnd.exchange(nullptr);
    SendMessageW(window, WM_CLOSE, 0, 0);
    EXPECT_FALSE(IsWindow(window));
    EXPECT_TRUE(TakeQuitMessage());
}

TEST_F(MessageWindowTest, HangProbeIsAnsweredWithZero) {
    DWORD_PTR result = 5;
    EXPECT_NE(SendMessageTimeoutW(g_hMsgWnd.load(), 1384, 0, 0, SMTO_BLOCK, 15000, &result), 0);
    EXPECT_EQ(result, 0u);
}

TEST_F(MessageWindowTest, TimerMessageReachesTheHost) {
    SendMessageW(g_hMsgWnd.load(), WM_TIMER, TIMER_ID_CHECK_EXIT, 0);
    EXPECT_TRUE(m_log.Has("Check procee exit begin")) << m_log.All();
}

TEST_F(MessageWindowTest, EveryMessageIsLogged) {
    const std::size_t before = m_log.Count("enter WindowProc");
    SendMessageW(g_hMsgWnd.load(), WM_NULL, 0, 0);
    EXPECT_EQ(m_log.Count("enter WindowProc"), before + 1);
}

}  // namespace
