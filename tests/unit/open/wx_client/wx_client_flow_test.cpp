#include "open/wx_client/wx_client_flow.h"

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/text_helpers.h"
#include "tests/support/log_capture.h"

namespace {

using WX_CLIENT::CWeChatTasks;
using WX_CLIENT::IWeChatEdge;
using Calls = std::vector<std::string>;

// Writes down every call, and answers as it was told.
class CRecordingEdge final : public IWeChatEdge {
  public:
    bool IsWeChatInstalled() override {
        m_vecCalls.push_back("IsWeChatInstalled");
        return m_bInstalled;
    }
    void StartLoadingWnd(const AppOpenInfo& info) override {
        m_vecCalls.push_back("StartLoadingWnd " + info.name + " " + std::to_string(info.timeOut));
    }
    std::uint32_t AppShortcutSwitch() override {
        m_vecCalls.push_back("AppShortcutSwitch");
        return m_nSwitch;
    }
    void StartAppShortcut(const AppOpenInfo& info) override {
        m_vecCalls.push_back("StartAppShortcut " + info.shortcutName);
    }
    bool OpenUrl(const std::wstring& urlScheme) override {
        m_vecCalls.push_back("OpenUrl " + Utf16ToUtf8(urlScheme));
        return m_bShell;
    }
    bool WindowExists(const std::wstring& title) override {
        m_vecCalls.push_back("WindowExists " + Utf16ToUtf8(title));
        return m_bWindow;
    }

    bool m_bInstalled = true;
    std::uint32_t m_nSwitch = 1;
    bool m_bShell = true;
    bool m_bWindow = false;
    Calls m_vecCalls;
};

AppOpenInfo PlainOpen() {
    AppOpenInfo info;
    info.urlScheme = "nexlet-test://页面?a=1";
    info.wndname = "小程序";
    info.taskId = "task";
    return info;
}

AppOpenInfo WholeOpen() {
    AppOpenInfo info = PlainOpen();
    info.show = true;
    info.name = "name";
    info.create = true;
    info.shortcutName = "shortcut";
    return info;
}

class WxClientFlow : public testing::Test {
  protected:
    std::string Open(const AppOpenInfo& info) {
        std::string result = "untouched";
        WX_CLIENT::OpenWithWeChat(info, m_edge, m_tasks, result);
        return result;
    }
    // The word of a poll, with a mark after it when the task has ended.
    std::string Poll(bool bLastCall, const std::string& taskId = "task", const std::string& wndname = "小程序") {
        std::string result = "untouched";
        return WX_CLIENT::OpenProtocolTimeOut(wndname, taskId, m_edge, m_tasks, result, bLastCall) ? result + " ended"
                                                                                                   : result;
    }
    // What the edge was asked since the last time.
    Calls TakeCalls() { return std::exchange(m_edge.m_vecCalls, {}); }

    CRecordingEdge m_edge;
    CWeChatTasks m_tasks;
};

TEST_F(WxClientFlow, APlainOpenIsTheShellCallAndTheTaskAlone) {
    EXPECT_EQ(Open(PlainOpen()), "1");
    EXPECT_EQ(TakeCalls(), (Calls{"IsWeChatInstalled", "AppShortcutSwitch", "OpenUrl nexlet-test://页面?a=1"}));
    EXPECT_EQ(Poll(false), "Loading");
}

TEST_F(WxClientFlow, WindowAndShortcutAreStartedBeforeTheShellIsAsked) {
    EXPECT_EQ(Open(WholeOpen()), "1");
    EXPECT_EQ(TakeCalls(), (Calls{"IsWeChatInstalled", "StartLoadingWnd name 2000", "AppShortcutSwitch",
                                  "StartAppShortcut shortcut", "OpenUrl nexlet-test://页面?a=1"}));
}

TEST_F(WxClientFlow, WithoutTheClientNothingIsStarted) {
    m_edge.m_bInstalled = false;
    EXPECT_EQ(Open(WholeOpen()), "uninstalled");
    EXPECT_EQ(TakeCalls(), Calls{"IsWeChatInstalled"});
    EXPECT_EQ(Poll(false), "0");
}

TEST_F(WxClientFlow, ARefusingShellLeavesTheWindowAndTheShortcut) {
    m_edge.m_bShell = false;
    EXPECT_EQ(Open(WholeOpen()), "0");
    EXPECT_EQ(TakeCalls().size(), 5u);
    EXPECT_EQ(Poll(false), "0") << "there is no task";
    EXPECT_EQ(TakeCalls(), Calls());
}

TEST_F(WxClientFlow, AShortcutNeedsTheWishAndTheSwitch) {
    const auto starts = [&](bool bCreate, std::uint32_t nSwitch) {
        AppOpenInfo info = PlainOpen();
        info.create = bCreate;
        m_edge.m_nSwitch = nSwitch;
        Open(info);
        return std::ranges::count_if(TakeCalls(),
                                     [](const std::string& call) { return call.starts_with("StartAppShortcut"); });
    };
    EXPECT_EQ(starts(true, 1), 1);
    EXPECT_EQ(starts(false, 1), 0);
    EXPECT_EQ(starts(true, 0), 0) << "as it is when the value is absent";
    EXPECT_EQ(starts(true, 2), 0);
    EXPECT_EQ(starts(true, 0xFFFFFFFF), 0);
    EXPECT_EQ(starts(false, 0), 0);
}

TEST_F(WxClientFlow, ASecondOpenOfATaskLeavesOneEntryThatIsAnsweredOnce) {
    EXPECT_EQ(Open(PlainOpen()), "1");
    EXPECT_EQ(Open(PlainOpen()), "1");
    m_edge.m_bWindow = true;
    EXPECT_EQ(Poll(false), "1 ended");
    EXPECT_EQ(Poll(false), "0");
}

TEST_F(WxClientFlow, ATaskWaitsForItsWindowAndIsGoneWithIt) {
    Open(PlainOpen());
    TakeCalls();
    EXPECT_EQ(Poll(false), "Loading");
    EXPECT_EQ(Poll(false), "Loading") << "the task is kept";
    m_edge.m_bWindow = true;
    const LogCapture log;
    EXPECT_EQ(Poll(false), "1 ended");
    EXPECT_EQ(log.Count("erase task"), 1u) << log.All();
    EXPECT_EQ(log.Find("erase task").find("[WX_CLIENT::OpenProtocolTimeOut("), 0u) << log.All();
    EXPECT_EQ(Poll(false), "0");
    EXPECT_EQ(log.Count("erase task"), 1u) << log.All();
    EXPECT_EQ(TakeCalls(), Calls(3, "WindowExists 小程序"));
}

TEST_F(WxClientFlow, TheLastCallEndsATaskWithoutItsWindow) {
    Open(PlainOpen());
    const LogCapture log;
    EXPECT_EQ(Poll(true), "Loading ended");
    EXPECT_EQ(log.Count("erase task"), 1u) << log.All();
    EXPECT_EQ(Poll(true), "0");
}

TEST_F(WxClientFlow, TheLastCallWithItsWindowIsASuccess) {
    Open(PlainOpen());
    m_edge.m_bWindow = true;
    EXPECT_EQ(Poll(true), "1 ended");
}

TEST_F(WxClientFlow, AnUnknownTaskIsNotLookedFor) {
    m_edge.m_bWindow = true;
    EXPECT_EQ(Poll(false, "another"), "0");
    EXPECT_EQ(Poll(true, "another"), "0");
    Open(PlainOpen());
    TakeCalls();
    EXPECT_EQ(Poll(true, "Task"), "0") << "case matters";
    EXPECT_EQ(Poll(true, "task "), "0");
    EXPECT_EQ(TakeCalls(), Calls());
    EXPECT_EQ(Poll(false), "1 ended");
}

TEST_F(WxClientFlow, AnEmptyArgumentIsToldSoAndEndsNothing) {
    Open(PlainOpen());
    TakeCalls();
    EXPECT_EQ(Poll(true, "task", ""), "OpenProtocolTimeOut type weChat lack param");
    EXPECT_EQ(Poll(true, "", "小程序"), "OpenProtocolTimeOut type weChat lack param");
    EXPECT_EQ(TakeCalls(), Calls());
    EXPECT_EQ(Poll(false), "Loading") << "the task is still there";
}

TEST_F(WxClientFlow, TasksEndOneByOneWhateverTheOrder) {
    AppOpenInfo info = PlainOpen();
    for (const char* id : {"b", "a", "c"}) {
        info.taskId = id;
        Open(info);
    }
    EXPECT_EQ(Poll(true, "a"), "Loading ended");
    EXPECT_EQ(Poll(false, "b"), "Loading");
    m_edge.m_bWindow = true;
    EXPECT_EQ(Poll(false, "c"), "1 ended");
    EXPECT_EQ(Poll(false, "b"), "1 ended");
}

// Many polls of one task at a time: exactly one of them takes it.
TEST(WeChatTasks, OneOfManyPollsTakesATask) {
    CWeChatTasks tasks;
    constexpr int kRounds = 200;
    for (int round = 0; round < kRounds; ++round) {
        tasks.Store("task");
        std::atomic<int> taken{0};
        std::vector<std::thread> pollers;
        for (int i = 0; i < 3; ++i) {
            pollers.emplace_back([&] {
                std::string result;
                if (tasks.Poll(
                        "task", true, [] { return true; }, result) == WX_CLIENT::WeChatPoll::Erased) {
                    ++taken;
                }
            });
        }
        for (std::thread& poller : pollers) {
            poller.join();
        }
        ASSERT_EQ(taken.load(), 1) << "round " << round;
    }
}

}  // namespace
