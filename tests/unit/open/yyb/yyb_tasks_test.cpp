#include "open/yyb/yyb_tasks.h"

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <json/value.h>

#include "tests/support/log_capture.h"

namespace {

using YYB_API_CLIENT::CYybTasks;
using YYB_API_CLIENT::IYybSettler;
using YYB_API_CLIENT::OnDownloadStatus;
using YYB_API_CLIENT::YybPoll;

using Settled = std::pair<std::string, std::string>;

class CRecordingSettler final : public IYybSettler {
  public:
    void Settle(const std::string& pkgname, const char* word) override { m_vecSettled.emplace_back(pkgname, word); }

    std::vector<Settled> m_vecSettled;
};

std::vector<Settled> Report(const char* text) {
    CRecordingSettler settler;
    OnDownloadStatus(settler, text, 0);
    return settler.m_vecSettled;
}

TEST(YybStateReport, TheLaunchWordsSettleTheirPackage) {
    EXPECT_EQ(Report(R"({"status":"CompleteLaunch","pkgname":"a"})"), (std::vector<Settled>{{"a", "1"}}));
    EXPECT_EQ(Report(R"({"status":"LaunchError","pkgname":"包"})"), (std::vector<Settled>{{"包", "LaunchError"}}));
}

TEST(YybStateReport, EachWordHasItsOwnLineAndTheInformativeOnesDoNoMore) {
    for (const auto& [word, line] :
         std::vector<std::pair<std::string, std::string>>{{"INIT", "INIT"},
                                                          {"active", "active"},
                                                          {"error", "errors"},
                                                          {"complete", "complete"},
                                                          {"Installed", "Installed"},
                                                          {"InstallError", "InstallError"}}) {
        const LogCapture log;
        EXPECT_TRUE(Report((R"({"status":")" + word + R"(","pkgname":"a"})").c_str()).empty()) << word;
        EXPECT_EQ(log.Lines(),
                  (std::vector<std::string>{"----OnDownloadStatus---- ", "----OnDownloadStatus----  " + line}));
    }
    const LogCapture log;
    Report(R"({"status":"CompleteLaunch","pkgname":"a"})");
    Report(R"({"status":"LaunchError","pkgname":"a"})");
    EXPECT_TRUE(log.Has("----OnDownloadStatus----  CompleteLaunch")) << log.All();
    EXPECT_TRUE(log.Has("----OnDownloadStatus----  LaunchError")) << log.All();
}

TEST(YybStateReport, AWordInAnotherSpellingIsIgnoredWithoutALine) {
    for (const char* word : {"errors", "Error", "completelaunch", "CompleteLaunch ", "Launch", "1"}) {
        const LogCapture log;
        EXPECT_TRUE(Report((R"({"status":")" + std::string(word) + R"(","pkgname":"a"})").c_str()).empty()) << word;
        EXPECT_EQ(log.Lines(), std::vector<std::string>{"----OnDownloadStatus---- "}) << word;
    }
}

TEST(YybStateReport, ALaunchWordWithoutAPackageDoesNothing) {
    EXPECT_TRUE(Report(R"({"status":"CompleteLaunch"})").empty());
    EXPECT_TRUE(Report(R"({"status":"LaunchError","pkgname":""})").empty());
    EXPECT_TRUE(Report(R"({"status":"LaunchError","pkgname":null})").empty());
}

TEST(YybStateReport, WhatIsNotAReportIsLoggedAndDropped) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "parse error"},          {nullptr, "parse error"},
        {"{", "parse error"},         {"[1,2]", "jvRoot error"},
        {"null", "jvRoot error"},     {"\"CompleteLaunch\"", "jvRoot error"},
        {"{}", "strStatus is empty"}, {R"({"status":""})", "strStatus is empty"}};
    for (const auto& [text, line] : cases) {
        const LogCapture log;
        EXPECT_TRUE(Report(text).empty());
        EXPECT_EQ(log.Find(line).find("[YYB_API_CLIENT::OnDownloadStatus("), 0u) << line << '\n' << log.All();
    }
}

TEST(YybStateReport, AWordThatIsNotATextCannotBeConverted) {
    EXPECT_THROW(Report(R"({"status":5})"), Json::LogicError);
    EXPECT_THROW(Report(R"({"status":"CompleteLaunch","pkgname":["a"]})"), Json::LogicError);
    // The package of an informative word is not read.
    EXPECT_TRUE(Report(R"({"status":"active","pkgname":["a"]})").empty());
}

class YybTasksTest : public testing::Test {
  protected:
    // A poll's word, with a mark after it for the way it ended.
    std::string Poll(const std::string& taskId, bool bWatchWindow = false, bool bLastCall = false,
                     bool bWindow = false) {
        m_nAsked = 0;
        std::string result = "untouched";
        const YybPoll poll = m_tasks.Poll(
            taskId, bWatchWindow, bLastCall,
            [&] {
                ++m_nAsked;
                return bWindow;
            },
            result);
        switch (poll) {
            case YybPoll::Unknown:
                return result + " unknown";
            case YybPoll::Waiting:
                return result;
            case YybPoll::Answered:
                return result + " answered";
            case YybPoll::Erased:
                return result + " erased";
        }
        return "?";
    }

    CYybTasks m_tasks;
    int m_nAsked = 0;
};

TEST_F(YybTasksTest, AnUnknownTaskIsZero) {
    EXPECT_EQ(Poll("task"), "0 unknown");
    EXPECT_EQ(Poll("task", true, true, true), "0 unknown");
    EXPECT_EQ(m_nAsked, 0);
}

TEST_F(YybTasksTest, ASettledTaskGivesItsWordOnce) {
    m_tasks.Store("task", {"app", "param", {}});
    EXPECT_EQ(Poll("task"), "Loading");
    EXPECT_TRUE(m_tasks.Settle("app", "1"));
    EXPECT_EQ(Poll("task", true, true, true), "1 answered");
    EXPECT_EQ(m_nAsked, 0);
    EXPECT_EQ(Poll("task"), "0 unknown");
}

TEST_F(YybTasksTest, AFailedLaunchGivesItsWordOnce) {
    m_tasks.Store("task", {"app", "param", {}});
    m_tasks.Settle("app", "LaunchError");
    EXPECT_EQ(Poll("task"), "LaunchError answered");
    EXPECT_EQ(Poll("task"), "0 unknown");
}

TEST_F(YybTasksTest, OneReportSettlesTheFirstOfTwoTasks) {
    m_tasks.Store("b", {"app", "", {}});
    m_tasks.Store("a", {"app", "", {}});
    m_tasks.Store("0", {"other", "", {}});
    EXPECT_TRUE(m_tasks.Settle("app", "1"));
    EXPECT_EQ(Poll("b"), "Loading");
    EXPECT_EQ(Poll("0"), "Loading");
    EXPECT_EQ(Poll("a"), "1 answered");
    // With the first one gone the next report finds the other.
    EXPECT_TRUE(m_tasks.Settle("app", "LaunchError"));
    EXPECT_EQ(Poll("b"), "LaunchError answered");
}

TEST_F(YybTasksTest, AFurtherReportReplacesTheWord) {
    m_tasks.Store("a", {"app", "", {}});
    m_tasks.Store("b", {"app", "", {}});
    m_tasks.Settle("app", "LaunchError");
    m_tasks.Settle("app", "1");
    EXPECT_EQ(Poll("a"), "1 answered");
    EXPECT_EQ(Poll("b"), "Loading");
}

TEST_F(YybTasksTest, AReportForAnotherPackageSettlesNothing) {
    m_tasks.Store("task", {"app", "", {}});
    EXPECT_FALSE(m_tasks.Settle("App", "1"));
    EXPECT_FALSE(m_tasks.Settle("task", "1"));
    EXPECT_EQ(Poll("task"), "Loading");
}

TEST_F(YybTasksTest, StoringATaskAgainMakesItWait) {
    m_tasks.Store("task", {"app", "", {}});
    m_tasks.Settle("app", "1");
    m_tasks.Store("task", {"new app", "", {}});
    EXPECT_EQ(Poll("task"), "Loading");
    EXPECT_FALSE(m_tasks.Settle("app", "1"));
    EXPECT_TRUE(m_tasks.Settle("new app", "1"));
}

TEST_F(YybTasksTest, AWatchedTaskEndsWhenItsWindowIsThere) {
    m_tasks.Store("task", {"app", "", {}});
    EXPECT_EQ(Poll("task", true), "Loading");
    EXPECT_EQ(m_nAsked, 1);
    EXPECT_EQ(Poll("task", true, false, true), "1 erased");
    EXPECT_EQ(Poll("task", true, false, true), "0 unknown");
}

TEST_F(YybTasksTest, ALastCallEndsAWatchedTaskWithoutItsWindow) {
    m_tasks.Store("task", {"app", "", {}});
    EXPECT_EQ(Poll("task", true, true), "Loading erased");
    EXPECT_FALSE(m_tasks.Settle("app", "1"));
    EXPECT_EQ(Poll("task"), "0 unknown");
}

TEST_F(YybTasksTest, ALastCallKeepsATaskThatIsNotWatched) {
    m_tasks.Store("task", {"app", "", {}});
    EXPECT_EQ(Poll("task", false, true, true), "Loading");
    EXPECT_EQ(m_nAsked, 0);
    EXPECT_TRUE(m_tasks.Settle("app", "1"));
    EXPECT_EQ(Poll("task"), "1 answered");
}

TEST_F(YybTasksTest, ClearForgetsEveryTask) {
    m_tasks.Store("task", {"app", "", {}});
    m_tasks.Clear();
    EXPECT_EQ(Poll("task"), "0 unknown");
}

TEST_F(YybTasksTest, EveryTaskOfManyThreadsIsSettledOnce) {
    constexpr int kTasks = 50;
    std::atomic<int> nAnswered = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kTasks; ++i) {
                const std::string name = std::to_string(t) + "/" + std::to_string(i);
                m_tasks.Store(name, {name, "", {}});
                m_tasks.Settle(name, "1");
                std::string result;
                nAnswered += m_tasks.Poll(
                                 name, false, false, [] { return false; }, result) == YybPoll::Answered;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(nAnswered, 4 * kTasks);
}

}  // namespace
