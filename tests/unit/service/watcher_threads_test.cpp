#include "service/watcher_threads.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/value.h>

#include "tests/support/log_capture.h"
#include "tests/unit/service/instant_edge.h"
#include "tests/unit/service/table_host.h"

namespace {

using Waits = std::vector<std::uint32_t>;
using Urls = std::vector<std::wstring>;

constexpr const char* kId = "42";

class WatcherTest : public testing::Test {
  protected:
    WatcherTest() { Set(L"pipe", kParamKeep, kParamKeep); }

    void Set(const wchar_t* pipeName, std::int32_t nInterval, std::int32_t nTaskOp) {
        m_host.SetInstanceParam(kId, {.strPipeName = pipeName, .nInterval = nInterval, .nTaskOp = nTaskOp}, m_edge);
    }

    // Runs a delayed check to its end, its count raised as by the request.
    void Check(std::int32_t nInterval, const std::string& strRunStatusParam) {
        Set(L"", kParamKeep, kTaskAdd);
        auto param = std::make_unique<InstanceParam>();
        param->strServiceId = kId;
        param->nInterval = nInterval;
        DelayCheckWndThread(m_edge, m_host, std::move(param), strRunStatusParam);
    }

    std::int32_t TaskCount() { return m_host.Param(kId).nDelayedTaskCount; }

    // Answers the asks one after another, the last word for all that follow.
    void Answer(std::vector<std::string> words) {
        m_host.m_onAsk = [words, next = std::size_t{0}](std::string& strResult) mutable {
            strResult = words[std::min(next++, words.size() - 1)];
        };
    }

    std::vector<bool> LastCallMarks() {
        std::vector<bool> marks;
        for (const CTableHost::Ask& ask : m_host.Asks()) {
            marks.push_back(ask.bLastCall);
        }
        return marks;
    }

    LogCapture m_log;
    CTableHost m_host;
    CInstantEdge m_edge;
};

using DelayCheckWndThreadTest = WatcherTest;
using CheckzoltDLLThreadTest = WatcherTest;
using DelayedDestroyThreadTest = WatcherTest;

constexpr const char* kBothLogs = R"({"successLog":["http://ok/1","http://ok/2"],"errorLog":["http://bad/1"]})";

TEST_F(DelayCheckWndThreadTest, AnIntervalOf1AsksOnceAfter2SecondsAndMarksItAsLast) {
    Answer({"1"});
    Check(1, "{}");
    EXPECT_EQ(m_edge.m_vecWaits, Waits({2000}));
    EXPECT_EQ(LastCallMarks(), std::vector<bool>({true}));
}

TEST_F(DelayCheckWndThreadTest, AsksOncePerPeriodBegunWithTheLastAskMarked) {
    Answer({"Loading"});
    Check(5000, "{}");
    EXPECT_EQ(m_edge.m_vecWaits, Waits({2000, 2000, 2000}));
    EXPECT_EQ(LastCallMarks(), std::vector<bool>({false, false, true}));
    for (const CTableHost::Ask& ask : m_host.Asks()) {
        EXPECT_EQ(ask.strServiceId, kId);
        EXPECT_EQ(ask.strText, "{}");
    }
}

TEST_F(DelayCheckWndThreadTest, ASuccessAtTheSecondOfThreeAsksFetchesSuccessLogAtOnce) {
    Answer({"Loading", "1"});
    Check(6000, kBothLogs);
    EXPECT_EQ(m_edge.m_vecWaits, Waits({2000, 2000}));
    EXPECT_EQ(LastCallMarks(), std::vector<bool>({false, false}));
    EXPECT_EQ(m_edge.m_vecFetched, Urls({L"http://ok/1", L"http://ok/2"}));
    EXPECT_EQ(TaskCount(), 0);
}

TEST_F(DelayCheckWndThreadTest, AFailedLastAskFetchesErrorLog) {
    Answer({"Loading", "0"});
    Check(4000, kBothLogs);
    EXPECT_EQ(m_edge.m_vecFetched, Urls({L"http://bad/1"}));
    EXPECT_EQ(TaskCount(), 0);
}

TEST_F(DelayCheckWndThreadTest, AWordThatOnlyBeginsWith1IsNotASuccess) {
    Answer({"10"});
    Check(2000, kBothLogs);
    EXPECT_EQ(m_edge.m_vecFetched, Urls({L"http://bad/1"}));
}

TEST_F(DelayCheckWndThreadTest, TheResultOfOneAskIsStillThereAtTheNext) {
    std::vector<std::string> seen;
    m_host.m_onAsk = [&seen](std::string& strResult) {
        seen.push_back(strResult);
        strResult += "x";
    };
    Check(6000, "{}");
    EXPECT_EQ(seen, std::vector<std::string>({"", "x", "xx"}));
}

TEST_F(DelayCheckWndThreadTest, UrlsThatAreNoArrayAreNotFetchedAndTheCountStillGoesDown) {
    Answer({"1"});
    Check(2000, R"({"successLog":{"0":"http://ok/1"}})");
    EXPECT_EQ(m_edge.m_vecFetched, Urls());
    EXPECT_EQ(TaskCount(), 0);
    EXPECT_TRUE(m_log.Has("DelayCheckWndThread end")) << m_log.All();
}

TEST_F(DelayCheckWndThreadTest, MissingAndNullUrlsAreNotFetchedAndTheCountStillGoesDown) {
    Answer({"1"});
    Check(2000, R"({"successLog":null})");
    Check(2000, R"({})");
    EXPECT_EQ(m_edge.m_vecFetched, Urls());
    EXPECT_EQ(TaskCount(), 0);
}

TEST_F(DelayCheckWndThreadTest, AnEmptyUrlIsLoggedAndSkipped) {
    Answer({"0"});
    Check(2000, R"({"errorLog":["","http://bad/中",null]})");
    EXPECT_EQ(m_edge.m_vecFetched, Urls({L"http://bad/中"}));
    EXPECT_EQ(m_log.Count("errorLog url="), 2U) << m_log.All();
    EXPECT_TRUE(m_log.Has("errorLog url=http://bad/中")) << m_log.All();
}

TEST_F(DelayCheckWndThreadTest, AUrlThatIsNotATextIsAConversionFailureAfterTheUrlsBeforeIt) {
    Answer({"1"});
    for (const char* text : {R"({"successLog":["http://ok/1",5]})", R"({"successLog":["http://ok/1",{}]})"}) {
        m_edge.m_vecFetched.clear();
        EXPECT_THROW(Check(2000, text), Json::LogicError) << text;
        EXPECT_EQ(m_edge.m_vecFetched, Urls({L"http://ok/1"})) << text;
    }
}

TEST_F(DelayCheckWndThreadTest, AnIntervalBelow1KeepsTheCountRaised) {
    for (const std::int32_t nInterval : {0, -1, -2000}) {
        Check(nInterval, kBothLogs);
    }
    EXPECT_EQ(m_edge.m_vecWaits, Waits());
    EXPECT_EQ(TaskCount(), 3);
    EXPECT_EQ(m_log.Count("Invalid interval, exiting thread"), 3U) << m_log.All();
    EXPECT_FALSE(m_log.Has("DelayCheckWndThread end")) << m_log.All();
}

TEST_F(DelayCheckWndThreadTest, ABrokenTextKeepsTheCountRaised) {
    Answer({"1"});
    for (const char* text : {"", "no json", "null", "[]"}) {
        Check(2000, text);
    }
    EXPECT_EQ(m_edge.m_vecWaits, Waits(4, 2000));
    EXPECT_EQ(TaskCount(), 4);
    EXPECT_EQ(m_log.Count("Failed to parse RunStatusParam JSON"), 4U) << m_log.All();
    EXPECT_FALSE(m_log.Has("DelayCheckWndThread end")) << m_log.All();
}

TEST_F(DelayCheckWndThreadTest, NoRecordEndsTheThread) {
    DelayCheckWndThread(m_edge, m_host, nullptr, "{}");
    EXPECT_TRUE(m_log.Has("Failed to get instance parameters")) << m_log.All();
    EXPECT_EQ(m_edge.m_vecWaits, Waits());
}

TEST_F(DelayCheckWndThreadTest, LogsEachOfItsSteps) {
    Answer({"Loading", "1"});
    Check(4000, R"({"successLog":["http://ok/1"]})");
    const std::vector<std::string> expected = {"DelayCheckWndThread begin",
                                               "]DelayCheckWndThread strServiceId = 42, interval 4000",
                                               "print strResult=Loading, bLastCall = 0",
                                               "print strResult=1, bLastCall = 1",
                                               "successLog url=http://ok/1",
                                               "DelayCheckWndThread end"};
    for (const std::string& line : expected) {
        EXPECT_EQ(m_log.Count(line), 1U) << line << " in\n" << m_log.All();
    }
    EXPECT_EQ(m_log.Lines().size(), expected.size()) << m_log.All();
}

TEST_F(DelayCheckWndThreadTest, AStopDuringTheWaitEndsItWithoutAnAsk) {
    m_edge.m_onWait = [this] { m_edge.m_bStop = true; };
    Check(2000, kBothLogs);
    EXPECT_TRUE(m_host.Asks().empty());
    EXPECT_EQ(TaskCount(), 1);
}

TEST_F(DelayCheckWndThreadTest, AStopDuringAnAskEndsItWithoutAFetch) {
    m_host.m_onAsk = [this](std::string& strResult) {
        strResult = "1";
        m_edge.m_bStop = true;
    };
    Check(2000, kBothLogs);
    EXPECT_EQ(m_edge.m_vecFetched, Urls());
    EXPECT_EQ(TaskCount(), 1);
    EXPECT_EQ(m_log.Find("print strResult"), "") << "the instance is gone, and so is its word";
}

TEST_F(DelayCheckWndThreadTest, AStopDuringAFetchEndsItWithoutAnotherFetchOrAWrite) {
    Answer({"1"});
    m_edge.m_onFetch = [this] { m_edge.m_bStop = true; };
    Check(2000, kBothLogs);
    EXPECT_EQ(m_edge.m_vecFetched, Urls({L"http://ok/1"}));
    EXPECT_EQ(TaskCount(), 1);
    EXPECT_FALSE(m_log.Has("DelayCheckWndThread end")) << m_log.All();
}

TEST_F(DelayCheckWndThreadTest, AStopJustBeforeTheReportLeavesARecreatedEntryAlone) {
    Answer({"1"});
    Set(L"", kParamKeep, kTaskAdd);
    auto param = std::make_unique<InstanceParam>();
    param->strServiceId = kId;
    m_host.m_onSet = [this] {
        // The host drops the instance and a new one takes the id.
        m_edge.m_bStop = true;
        m_host.m_mInstanceParam.erase(kId);
        SetInstanceParamIn(m_host.m_mInstanceParam, kId, {.strPipeName = L"new"});
    };
    DelayCheckWndThread(m_edge, m_host, std::move(param), "{}");
    EXPECT_EQ(TaskCount(), 0);
    EXPECT_FALSE(m_log.Has("DelayCheckWndThread end")) << m_log.All();
}

TEST_F(CheckzoltDLLThreadTest, LooksEveryMinuteAndMarksTheInstanceWhenThePipeIsGone) {
    m_edge.m_onProbe = [this] {
        EXPECT_TRUE(m_host.Param(kId).bDLLWndExist);
        return m_edge.m_vecProbed.size() < 3;
    };
    CheckzoltDLLThread(m_edge, m_host, kId);
    EXPECT_EQ(m_edge.m_vecWaits, Waits({60000, 60000, 60000}));
    EXPECT_EQ(m_edge.m_vecProbed, std::vector<std::wstring>(3, L"pipe"));
    EXPECT_FALSE(m_host.Param(kId).bDLLWndExist);
    EXPECT_FALSE(m_host.Param(kId).bIsDelayedDestroy);
    EXPECT_TRUE(m_log.Has("CheckzoltDLLThread begin")) << m_log.All();
    EXPECT_EQ(m_log.Count("but pipe pipe exist, do not quit process"), 2U) << m_log.All();
    EXPECT_EQ(m_log.Count("pipe pipe not exist, quit process "), 1U) << m_log.All();
    EXPECT_TRUE(m_log.Has("CheckzoltDLLThread end,     = 42")) << m_log.All();
}

TEST_F(CheckzoltDLLThreadTest, DoesNotLookBeforeTheFirstMinuteIsOver) {
    m_edge.m_onWait = [this] { m_edge.m_bStop = true; };
    CheckzoltDLLThread(m_edge, m_host, kId);
    EXPECT_TRUE(m_edge.m_vecProbed.empty());
    EXPECT_TRUE(m_host.Param(kId).bDLLWndExist);
}

TEST_F(CheckzoltDLLThreadTest, KeepsThePipeNameItStartedWith) {
    m_edge.m_onWait = [this] { Set(L"renamed", kParamKeep, kParamKeep); };
    CheckzoltDLLThread(m_edge, m_host, kId);
    EXPECT_EQ(m_edge.m_vecProbed, std::vector<std::wstring>({L"pipe"}));
}

TEST_F(CheckzoltDLLThreadTest, ARunningDelayedCheckKeepsTheInstanceAliveUntilItEnds) {
    Set(L"", kParamKeep, kTaskAdd);
    CheckzoltDLLThread(m_edge, m_host, kId);
    EXPECT_FALSE(m_host.Param(kId).bDLLWndExist);
    EXPECT_FALSE(IsInstanceFinished(m_host.Param(kId)));
    Set(L"", kParamKeep, kTaskRemove);
    EXPECT_TRUE(IsInstanceFinished(m_host.Param(kId)));
}

TEST_F(CheckzoltDLLThreadTest, AStopDuringTheProbeLeavesTheTableAlone) {
    m_edge.m_onProbe = [this] {
        m_edge.m_bStop = true;
        return false;
    };
    CheckzoltDLLThread(m_edge, m_host, kId);
    EXPECT_TRUE(m_host.Param(kId).bDLLWndExist);
    EXPECT_EQ(m_log.Find("quit process"), "") << m_log.All();
}

TEST_F(CheckzoltDLLThreadTest, AStopJustBeforeTheReportLeavesTheTableAlone) {
    m_host.m_onSet = [this] { m_edge.m_bStop = true; };
    CheckzoltDLLThread(m_edge, m_host, kId);
    EXPECT_TRUE(m_host.Param(kId).bDLLWndExist);
    EXPECT_FALSE(m_log.Has("CheckzoltDLLThread end,     = 42")) << m_log.All();
}

TEST_F(CheckzoltDLLThreadTest, AnEmptyIdEndsTheThread) {
    CheckzoltDLLThread(m_edge, m_host, "");
    EXPECT_TRUE(m_log.Has("Invalid service ID")) << m_log.All();
    EXPECT_EQ(m_edge.m_vecWaits, Waits());
}

TEST_F(CheckzoltDLLThreadTest, AnUnknownIdEndsTheThread) {
    CheckzoltDLLThread(m_edge, m_host, "7");
    EXPECT_TRUE(m_log.Has("Failed to get instance parameters for service ID: 7")) << m_log.All();
    EXPECT_EQ(m_edge.m_vecWaits, Waits());
}

TEST_F(DelayedDestroyThreadTest, MarksTheInstanceWhenTheTablesIntervalHasPassed) {
    Set(L"", 3500, kParamKeep);
    m_edge.m_onWait = [this] { EXPECT_FALSE(m_host.Param(kId).bIsDelayedDestroy); };
    DelayedDestroyThread(m_edge, m_host, kId);
    EXPECT_EQ(m_edge.m_vecWaits, Waits({3500}));
    EXPECT_TRUE(m_host.Param(kId).bIsDelayedDestroy);
    EXPECT_TRUE(m_host.Param(kId).bDLLWndExist);
    for (const char* line : {"DelayedDestroyThread begin", "DelayedDestroy strServiceId = 42, nInterval = 3500",
                             "DelayedDestroyThread end, strServiceId = 42"}) {
        EXPECT_EQ(m_log.Count(line), 1U) << line << " in\n" << m_log.All();
    }
}

TEST_F(DelayedDestroyThreadTest, ANegativeIntervalWaitsForItsUnsignedNumber) {
    Set(L"", -5, kParamKeep);
    m_edge.m_onWait = [this] { m_edge.m_bStop = true; };
    DelayedDestroyThread(m_edge, m_host, kId);
    EXPECT_EQ(m_edge.m_vecWaits, Waits({4294967291U}));
    EXPECT_FALSE(m_host.Param(kId).bIsDelayedDestroy);
}

TEST_F(DelayedDestroyThreadTest, AStopJustBeforeTheReportLeavesTheTableAlone) {
    m_host.m_onSet = [this] { m_edge.m_bStop = true; };
    DelayedDestroyThread(m_edge, m_host, kId);
    EXPECT_FALSE(m_host.Param(kId).bIsDelayedDestroy);
    EXPECT_FALSE(m_log.Has("DelayedDestroyThread end, strServiceId = 42")) << m_log.All();
}

TEST_F(DelayedDestroyThreadTest, AnEmptyOrUnknownIdEndsTheThread) {
    DelayedDestroyThread(m_edge, m_host, "");
    DelayedDestroyThread(m_edge, m_host, "7");
    EXPECT_TRUE(m_log.Has("Invalid service ID")) << m_log.All();
    EXPECT_TRUE(m_log.Has("Failed to get instance parameters for service ID: 7")) << m_log.All();
    EXPECT_EQ(m_edge.m_vecWaits, Waits());
}

TEST(HttpResponseCallback, LogsTheStatusOfABodyAndDropsIt) {
    const LogCapture log;
    EXPECT_EQ(HttpResponseCallback(200, "body", 4, nullptr), 0U);
    EXPECT_TRUE(log.Has("]HttpResponseCallback: dwStatus=200")) << log.All();
}

TEST(HttpResponseCallback, SaysThatThereIsNoBody) {
    const LogCapture log;
    EXPECT_EQ(HttpResponseCallback(404, nullptr, 0, nullptr), 1U);
    EXPECT_TRUE(log.Has("]HttpResponseCallback: lpRetData is NULL")) << log.All();
}

}  // namespace
