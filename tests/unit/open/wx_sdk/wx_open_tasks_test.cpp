#include "open/wx_sdk/wx_open_tasks.h"

#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "open/wx_sdk/ocean_delegate.h"

namespace {

using MINI_API_CLIENT::CWxOpenTasks;
using MINI_API_CLIENT::WxTaskState;

// State and word of one poll; the word starts as "none".
std::string Poll(CWxOpenTasks& tasks, const std::string& taskId) {
    std::string result = "none";
    switch (tasks.Take(taskId, result)) {
        case WxTaskState::Unknown:
            return "unknown " + result;
        case WxTaskState::Waiting:
            return "waiting " + result;
        case WxTaskState::Answered:
            return "answered " + result;
    }
    return "?";
}

TEST(WxOpenTasks, AnAnswerIsDeliveredOnce) {
    CWxOpenTasks tasks;
    tasks.Store(1, {"task", "app", "path", ""});
    tasks.SetLastTaskId("task");
    EXPECT_EQ(Poll(tasks, "task"), "waiting none");
    tasks.Answer(1, 0);
    EXPECT_EQ(Poll(tasks, "task"), "answered 1");
    EXPECT_EQ(Poll(tasks, "task"), "unknown none");
}

TEST(WxOpenTasks, AnyStatusButZeroIsAFailure) {
    for (const std::int32_t status : {1, -1, 0x7FFFFFFF}) {
        CWxOpenTasks tasks;
        tasks.Store(1, {"task", "app", "", ""});
        tasks.SetLastTaskId("task");
        tasks.Answer(1, status);
        EXPECT_EQ(Poll(tasks, "task"), "answered 0") << status;
    }
}

TEST(WxOpenTasks, TheLatestAnswerCounts) {
    CWxOpenTasks tasks;
    tasks.Store(1, {"task", "app", "", ""});
    tasks.SetLastTaskId("task");
    tasks.Answer(1, 0);
    tasks.Answer(1, 3);
    EXPECT_EQ(Poll(tasks, "task"), "answered 0");
}

TEST(WxOpenTasks, AnOlderTaskStaysLoadingForEver) {
    CWxOpenTasks tasks;
    tasks.Store(1, {"older", "app", "", ""});
    tasks.SetLastTaskId("older");
    tasks.Store(2, {"newer", "other app", "", ""});
    tasks.SetLastTaskId("newer");
    tasks.Answer(1, 0);
    EXPECT_EQ(Poll(tasks, "older"), "waiting none");
    EXPECT_EQ(Poll(tasks, "newer"), "waiting none");
    tasks.Answer(2, 0);
    EXPECT_EQ(Poll(tasks, "older"), "waiting none");
    EXPECT_EQ(Poll(tasks, "newer"), "answered 1");
}

TEST(WxOpenTasks, ALateAnswerForTheSameAppSettlesTheLatestTask) {
    CWxOpenTasks tasks;
    tasks.Store(1, {"older", "app", "", ""});
    tasks.Store(2, {"newer", "app", "", ""});
    tasks.SetLastTaskId("newer");
    tasks.Answer(1, 0);
    EXPECT_EQ(Poll(tasks, "older"), "waiting none");
    EXPECT_EQ(Poll(tasks, "newer"), "answered 1");
}

TEST(WxOpenTasks, EveryEntryOfTheLatestTaskIsAnswered) {
    CWxOpenTasks tasks;
    tasks.Store(4, {"task", "app", "", ""});
    tasks.Store(9, {"task", "app", "", ""});
    tasks.SetLastTaskId("task");
    tasks.Answer(9, 0);
    EXPECT_EQ(Poll(tasks, "task"), "answered 1");
    EXPECT_EQ(Poll(tasks, "task"), "answered 1");
    EXPECT_EQ(Poll(tasks, "task"), "unknown none");
}

TEST(WxOpenTasks, AnUnknownIdChangesNothing) {
    CWxOpenTasks tasks;
    tasks.Store(1, {"task", "app", "", ""});
    tasks.SetLastTaskId("task");
    tasks.Answer(2, 0);
    EXPECT_EQ(Poll(tasks, "task"), "waiting none");
}

TEST(WxOpenTasks, AnAnswerBeforeTheTaskIsTheLatestIsLost) {
    CWxOpenTasks tasks;
    tasks.Store(1, {"task", "app", "", ""});
    tasks.Answer(1, 0);
    tasks.SetLastTaskId("task");
    EXPECT_EQ(Poll(tasks, "task"), "waiting none");
}

TEST(WxOpenTasks, TheLowestIdIsPolledFirst) {
    CWxOpenTasks tasks;
    tasks.Store(9, {"task", "app", "", ""});
    tasks.SetLastTaskId("task");
    tasks.Answer(9, 0);
    tasks.Store(4, {"task", "app", "", ""});
    EXPECT_EQ(Poll(tasks, "task"), "waiting none");
}

TEST(WxOpenTasks, AStoreUnderAnIdReplacesWhatStoodThere) {
    CWxOpenTasks tasks;
    tasks.Store(0, {"first", "app", "", ""});
    tasks.Store(0, {"second", "app", "", ""});
    EXPECT_EQ(Poll(tasks, "first"), "unknown none");
    EXPECT_EQ(Poll(tasks, "second"), "waiting none");
}

TEST(WxOpenTasks, ClearForgetsEveryTask) {
    CWxOpenTasks tasks;
    tasks.Store(1, {"task", "app", "", ""});
    tasks.Clear();
    EXPECT_EQ(Poll(tasks, "task"), "unknown none");
}

TEST(WxOpenTasks, AnswersPollsAndStoresMayRunSideBySide) {
    CWxOpenTasks tasks;
    tasks.SetLastTaskId("task");
    std::thread sdk([&] {
        for (std::uint32_t id = 1; id <= 2000; ++id) {
            tasks.Answer(id, 0);
        }
    });
    std::thread poller([&] {
        for (int i = 0; i < 2000; ++i) {
            std::string result;
            tasks.Take("task", result);
        }
    });
    for (std::uint32_t id = 1; id <= 2000; ++id) {
        tasks.Store(id, {"task", "app", "", ""});
    }
    sdk.join();
    poller.join();
    tasks.Answer(2000, 0);
    tasks.Store(3000, {"end", "app", "", ""});
    EXPECT_EQ(Poll(tasks, "end"), "waiting none");
}

void EventOfTest() {}
void OpenResultOfTest(std::uint32_t, std::int32_t) {}

TEST(OceanDelegate, BothAssignmentsCopyTheThreeMembers) {
    OceanDelegate source;
    source.onEvent0 = &EventOfTest;
    source.onOpenResult = &OpenResultOfTest;
    OceanDelegate copied;
    copied.onEvent1 = &EventOfTest;
    EXPECT_EQ(&(copied = source), &copied);
    EXPECT_EQ(copied.onEvent0, source.onEvent0);
    EXPECT_EQ(copied.onEvent1, nullptr);
    EXPECT_EQ(copied.onOpenResult, source.onOpenResult);
    OceanDelegate moved;
    EXPECT_EQ(&(moved = std::move(source)), &moved);
    EXPECT_EQ(moved.onEvent0, &EventOfTest);
    EXPECT_EQ(moved.onOpenResult, &OpenResultOfTest);
    // A move leaves the source as it was.
    EXPECT_EQ(source.onEvent0, &EventOfTest);
}

}  // namespace
