// What the timers of the message window do, with a real window and real timers.
#include <atomic>
#include <thread>

#include "host/helper_host.h"
#include "host/message_window.h"
#include "tests/support/private_registry.h"
#include "tests/unit/host/host_fixture.h"

namespace {

class TimersTest : public CHostFixture {
  protected:
    // The host of a mark with one initialised instance, "first".
    void StartWithMark(const std::wstring& mark) {
        m_mark = mark;
        StartHost();
        ASSERT_EQ(m_host.InstanceCount(), 1u);
    }
    void FinishFirst() { SetParam("first", kParamKeep, kParamKeep, kDestroyNow); }
    void Fire(UINT_PTR id) { SendMessageW(g_hMsgWnd.load(), WM_TIMER, id, 0); }

    // Puts an instance that has no record into the table.
    void AddUninitialised() {
        m_host.Init(L"/from:" + m_mark + L" /type:1 /service_id: ");
        ASSERT_NE(m_host.FindInstance(""), nullptr);
    }
};

TEST_F(TimersTest, EmptyTableEndsTheProcessOnTheShortTimer) {
    StartWithMark(m_mark);
    FinishFirst();
    Fire(TIMER_ID_CHECK_EXIT);
    EXPECT_EQ(m_host.InstanceCount(), 0u);
    EXPECT_TRUE(m_log.Has("ovrinse Check procee exit begin")) << m_log.All();
    EXPECT_TRUE(TakeQuitMessage());
    EXPECT_FALSE(KillTimer(g_hMsgWnd.load(), TIMER_ID_CHECK_TIMEOUT)) << "the long timer is killed";
    EXPECT_TRUE(KillTimer(g_hMsgWnd.load(), TIMER_ID_CHECK_EXIT)) << "the short one runs on";
}

TEST_F(TimersTest, MarkMlStaysForTheLongTimer) {
    StartWithMark(L"ml");
    FinishFirst();
    Fire(TIMER_ID_CHECK_EXIT);
    EXPECT_EQ(m_host.InstanceCount(), 0u);
    EXPECT_TRUE(m_log.Has("is ml")) << m_log.All();
    EXPECT_FALSE(TakeQuitMessage());
    Fire(TIMER_ID_CHECK_TIMEOUT);
    EXPECT_TRUE(m_log.Has("Check timeout, exit process begin")) << m_log.All();
    EXPECT_TRUE(m_log.Has("Check timeout, exit process end")) << m_log.All();
    EXPECT_TRUE(TakeQuitMessage());
}

TEST_F(TimersTest, MarkThatOnlyBeginsWithMlLeavesOnTheShortTimer) {
    StartWithMark(L"ml" + m_mark);
    FinishFirst();
    Fire(TIMER_ID_CHECK_EXIT);
    EXPECT_FALSE(m_log.Has("is ml")) << m_log.All();
    EXPECT_TRUE(TakeQuitMessage());
}

TEST_F(TimersTest, TableWithAnInstanceKeepsTheProcess) {
    StartWithMark(m_mark);
    Fire(TIMER_ID_CHECK_TIMEOUT);
    EXPECT_TRUE(m_log.Has("has instance")) << m_log.All();
    Fire(TIMER_ID_CHECK_EXIT);
    EXPECT_TRUE(m_log.Has("m_mWxExInstance = 1")) << m_log.All();
    EXPECT_EQ(m_host.InstanceCount(), 1u);
    EXPECT_FALSE(TakeQuitMessage());
}

TEST_F(TimersTest, RunningTaskKeepsAnInstanceWhateverTheFlagsSay) {
    StartWithMark(m_mark);
    SetTasks("first", kTaskAdd);
    SetParam("first", kParamKeep, kDllGone, kDestroyNow);
    Fire(TIMER_ID_CHECK_EXIT);
    EXPECT_EQ(m_host.InstanceCount(), 1u);
    SetTasks("first", kTaskRemove);
    Fire(TIMER_ID_CHECK_EXIT);
    EXPECT_EQ(m_host.InstanceCount(), 0u);
}

TEST_F(TimersTest, NegativeTaskCountKeepsAnInstance) {
    StartWithMark(m_mark);
    SetTasks("first", kTaskRemove);
    FinishFirst();
    Fire(TIMER_ID_CHECK_EXIT);
    EXPECT_EQ(m_host.InstanceCount(), 1u);
}

TEST_F(TimersTest, DelayedDestroyErasesInstanceAndRecordWithItsLine) {
    StartWithMark(m_mark);
    FinishFirst();
    Fire(TIMER_ID_CHECK_EXIT);
    EXPECT_TRUE(
        m_log.Has("erase it ,is service id first, nDelayedTaskCount = 0, bDLLWndExist = 1, "
                  "bIsDelayedDestroy = 1"))
        << m_log.All();
    InstanceParam param;
    EXPECT_FALSE(m_host.GetInstanceParam("first", param));
    EXPECT_TRUE(m_log.Has("]begin destruct strServiceId = first ")) << m_log.All();
}

TEST_F(TimersTest, LostPipeErasesTheInstance) {
    StartWithMark(m_mark);
    SetParam("first", kParamKeep, kDllGone, kParamKeep);
    Fire(TIMER_ID_CHECK_TIMEOUT);
    EXPECT_TRUE(
        m_log.Has("erase it ,is service id first, nDelayedTaskCount = 0, bDLLWndExist = 0, "
                  "bIsDelayedDestroy = 0"))
        << m_log.All();
    EXPECT_EQ(m_host.InstanceCount(), 0u);
}

TEST_F(TimersTest, InstanceWithoutRecordGoesSilently) {
    StartWithMark(m_mark);
    AddUninitialised();
    ASSERT_EQ(m_host.InstanceCount(), 2u);
    Fire(TIMER_ID_CHECK_EXIT);
    EXPECT_EQ(m_host.FindInstance(""), nullptr);
    EXPECT_NE(m_host.FindInstance("first"), nullptr);
    EXPECT_EQ(m_log.Find("erase it"), "") << m_log.All();
}

TEST_F(TimersTest, WalkContinuesAfterAnErasedEntry) {
    StartWithMark(m_mark);
    for (const char* id : {"a", "b", "z"}) {
        Receive(std::string(R"({"content":{"service_id":")") + id + R"(","p1":"{}"},"message_type":7})");
    }
    ASSERT_EQ(m_host.InstanceCount(), 4u);
    SetParam("a", kParamKeep, kDllGone, kParamKeep);
    SetParam("b", kParamKeep, kDllGone, kParamKeep);
    SetParam("z", kParamKeep, kDllGone, kParamKeep);
    Fire(TIMER_ID_CHECK_EXIT);
    EXPECT_EQ(m_host.InstanceCount(), 1u);
    EXPECT_TRUE(m_log.Has("m_mWxExInstance = 1")) << m_log.All();
}

TEST_F(TimersTest, RequestAfterAnErasedInstanceMakesANewOne) {
    StartWithMark(m_mark);
    const auto old = m_host.FindInstance("first");
    FinishFirst();
    Fire(TIMER_ID_CHECK_EXIT);
    Receive(R"({"content":{"service_id":"first","p1":"{}"},"message_type":7})");
    ASSERT_NE(m_host.FindInstance("first"), nullptr);
    EXPECT_NE(m_host.FindInstance("first"), old);
    InstanceParam param;
    ASSERT_TRUE(m_host.GetInstanceParam("first", param));
    EXPECT_FALSE(param.bIsDelayedDestroy);
}

TEST_F(TimersTest, RequestsOfAnotherThreadAndTimersShareTheTable) {
    StartWithMark(m_mark);
    std::atomic<bool> done{false};
    std::thread pipe([&] {
        for (int i = 0; i < 40; ++i) {
            const std::string id = std::to_string(i % 4);
            EXPECT_EQ(Receive(R"({"content":{"service_id":")" + id + R"(","p1":"{}"},"message_type":7})"), 1);
            SetParam(id, kParamKeep, kDllGone, kParamKeep);
        }
        done.store(true);
    });
    while (!done.load()) {
        Fire(TIMER_ID_CHECK_EXIT);
    }
    pipe.join();
    Fire(TIMER_ID_CHECK_EXIT);
    EXPECT_EQ(m_host.InstanceCount(), 1u) << "only the fixture's own is left";
    EXPECT_FALSE(TakeQuitMessage());
}

TEST_F(TimersTest, UnknownTimerDoesNothing) {
    StartWithMark(m_mark);
    FinishFirst();
    Fire(999);
    EXPECT_EQ(m_host.InstanceCount(), 1u);
    EXPECT_FALSE(TakeQuitMessage());
}

TEST_F(TimersTest, StatusTimerRefreshesTheStatus) {
    const CPrivateRegistry registry;
    StartWithMark(m_mark);
    Receive(R"({"content":{},"message_type":2})");
    ASSERT_NE(g_nStatusTimerId.load(), 0u);
    Fire(g_nStatusTimerId.load());
    EXPECT_TRUE(m_log.Has("update zolt status")) << m_log.All();
    EXPECT_NE(m_log.Find("UpdatezoltStatus wx_inst="), "") << m_log.All();
    EXPECT_EQ(m_log.Find("UpdatezoltStatus wx_inst=").find("[WxMiniProgramService::UpdatezoltStatus("), 0u)
        << m_log.All();
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, L"SOFTWARE\\OvrinSe\\MiniWxProgram", L"yyb_login"), 0u);
}

}  // namespace
