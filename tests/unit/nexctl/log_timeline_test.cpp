#include "nexctl/log/log_timeline.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "tests/support/log_bytes.h"

namespace {

// Lines a millisecond apart.
Timeline Build(const std::vector<std::string>& texts, int run = 0) {
    std::string log;
    int time = 0;
    for (const std::string& text : texts) {
        log += "1:0:" + std::to_string(time / 1000) + ":" + std::to_string(time % 1000) + "\t" + text + "\r\n";
        ++time;
    }
    return BuildTimeline(ReadLog(LogBytes(log)), run);
}

const TimelineLane& Lane(const Timeline& timeline, const std::string& name) {
    for (const TimelineLane& lane : timeline.lanes) {
        if (lane.strName == name) {
            return lane;
        }
    }
    ADD_FAILURE() << "there is no lane " << name;
    static const TimelineLane none;
    return none;
}

const std::string kArrives = "[CPipeClientCallback::ReceiveIPCMessage(59)] ReceiveIPCMessage begin";
const std::string kStatus = "[CPipeClientCallback::ReceiveIPCMessage(99)] receive MessageType::S_MT_GetWxAppStatus";
const std::string kEncrypted =
    "[CPipeClientCallback::ReceiveIPCMessage(99)] receive  MessageType::S_MT_GetWxAppStatusEncrypt";
const std::string kWatch = "[CPipeClientCallback::ReceiveIPCMessage(99)] receive MessageType::S_MT_DelayCheckWndStatus";

const std::string kReadsOn = "[CClientContext::PostRead(102)]ReadFile bSuccess=0, error=997";

std::string Sends(int type) {
    return "[WxMiniProgramServiceEx::SendIPCMessage(88)] Type=" + std::to_string(type) + ", Message={}";
}

TEST(LogTimeline, RequestIsASpanFromItsArrivalToItsReply) {
    const Timeline timeline = Build({"start", kArrives, kStatus, "[Probe(1)] looks", Sends(13), "[Other(1)] x"});
    const TimelineLane& lane = Lane(timeline, "caller's pipe");
    ASSERT_EQ(lane.spans.size(), 1u);
    EXPECT_TRUE(lane.spans[0].bRequest);
    EXPECT_EQ(lane.spans[0].strName, "S_MT_GetWxAppStatus");
    EXPECT_EQ(lane.spans[0].strOutcome, "replied with type 13");
    EXPECT_EQ(lane.spans[0].nFirstLine, 1u);
    EXPECT_EQ(lane.spans[0].nLastLine, 4u);
    EXPECT_EQ(lane.marks.size(), 4u) << "what ran meanwhile on no thread of its own belongs to it";
    EXPECT_EQ(Lane(timeline, "any thread").marks.size(), 1u);
}

TEST(LogTimeline, FrameOfAnotherTypeIsNotTheReply) {
    const Timeline timeline = Build({kArrives, kEncrypted, Sends(12), Sends(14)});
    EXPECT_EQ(Lane(timeline, "caller's pipe").spans.at(0).nLastLine, 3u);
}

TEST(LogTimeline, RequestWithoutAReplyEndsWhereTheNextBegins) {
    const Timeline timeline = Build({kArrives, kEncrypted, "[Elsewhere(1)] x", kArrives, kStatus});
    const auto& spans = Lane(timeline, "caller's pipe").spans;
    ASSERT_EQ(spans.size(), 2u);
    EXPECT_EQ(spans[0].strOutcome, "no reply");
    EXPECT_EQ(spans[0].nLastLine, 2u);
    EXPECT_EQ(spans[1].strOutcome, "no reply");
    EXPECT_EQ(spans[1].nLastLine, 4u);
    EXPECT_FALSE(spans[0].bServed);
    EXPECT_FALSE(spans[1].bServed);
}

TEST(LogTimeline, RequestOfATypeWithoutAReplyEndsWhereItsThreadReadsOn) {
    const Timeline timeline = Build({kArrives, kWatch, "[Elsewhere(1)] x", kReadsOn, "[Elsewhere(1)] x", kArrives,
                                     kWatch, kArrives, kWatch, "[Elsewhere(1)] x"});
    const auto& spans = Lane(timeline, "caller's pipe").spans;
    ASSERT_EQ(spans.size(), 3u);
    EXPECT_EQ(spans[0].nLastLine, 2u);
    EXPECT_EQ(spans[1].nLastLine, 6u) << "or where the next begins";
    EXPECT_EQ(spans[2].nLastLine, 9u) << "or with the lane";
    for (const TimelineSpan& span : spans) {
        EXPECT_TRUE(span.bServed);
        EXPECT_EQ(span.strOutcome, "no reply is due");
    }
}

TEST(LogTimeline, RequestThatIsDueAReplyStaysOpenWhenItsThreadReadsOn) {
    const Timeline timeline = Build({kArrives, kStatus, kReadsOn, Sends(13)});
    EXPECT_EQ(Lane(timeline, "caller's pipe").spans.at(0).nLastLine, 3u);
}

TEST(LogTimeline, RefusalEndsARequestAndIsMarked) {
    const Timeline timeline = Build({kArrives, "[CPipeClientCallback::ReceiveIPCMessage(70)] jvRoot not message_type",
                                     kArrives, kStatus, Sends(13)});
    const TimelineLane& lane = Lane(timeline, "caller's pipe");
    ASSERT_EQ(lane.spans.size(), 2u);
    EXPECT_EQ(lane.spans[0].strOutcome, "refused: jvRoot not message_type");
    EXPECT_EQ(lane.marks.at(1).kind, MarkKind::Refusal);
    EXPECT_EQ(lane.spans[1].strOutcome, "replied with type 13");
}

const std::string kServiceA = "[WxMiniProgramServiceEx::Init(41)]Init m_strMark=m, m_strPipeName=a";
const std::string kServiceB = "[WxMiniProgramServiceEx::Init(41)]Init m_strMark=m, m_strPipeName=b";
const std::string kOpens = "[CPipeClientCallback::ReceiveIPCMessage(99)] receive WM_COPY_DATA_MSG_IPC_GET_OPEN";

std::string Message(const std::string& payload) {
    return "[CPipeClientCallback::ReceiveIPCMessage(65)] ReceiveIPCMessage szMessage=" + payload;
}

TEST(LogTimeline, RefusalOfAnotherServiceLeavesAHungOpenAlone) {
    const Timeline timeline = Build({kServiceA, kServiceB, kArrives, Message(R"({"content":{},"message_type":6})"),
                                     kOpens, kArrives, Message(R"({"content":null,"message_type":2})"), kStatus,
                                     "[WxMiniProgramServiceEx::GetWxAppStatus(50)] parse error", "[Elsewhere(1)] x"});
    const auto& spans = Lane(timeline, "caller's pipe").spans;
    ASSERT_EQ(spans.size(), 2u);
    EXPECT_EQ(spans[0].nType, 6);
    EXPECT_TRUE(spans[0].bOpen);
    EXPECT_EQ(spans[0].strOutcome, "no reply");
    EXPECT_EQ(spans[0].nLastLine, 9u) << "to the end of the log";
    EXPECT_EQ(spans[1].strOutcome, "refused: parse error");
    EXPECT_EQ(spans[1].nLastLine, 8u);
}

TEST(LogTimeline, RefusalThatSeveralRequestsCouldMeanEndsNone) {
    const Timeline timeline = Build({kServiceA, kServiceB, kArrives, Message("1"), kStatus, kArrives, Message("2"),
                                     kStatus, "[WxMiniProgramServiceEx::GetWxAppStatus(50)] parse error"});
    for (const TimelineSpan& span : Lane(timeline, "caller's pipe").spans) {
        EXPECT_TRUE(span.bOpen);
    }
}

TEST(LogTimeline, ReplyBelongsToTheRequestWithItsNumber) {
    const auto sends = [](int call) {
        return R"([WxMiniProgramServiceEx::SendIPCMessage(88)] Type=13, Message={"content":{"nexlet_call":)" +
               std::to_string(call) + R"(},"message_type":13})";
    };
    const Timeline timeline =
        Build({kServiceA, kServiceB, kArrives, Message(R"({"content":{"nexlet_call":1},"message_type":2})"), kStatus,
               kArrives, Message(R"({"content":{"nexlet_call":2},"message_type":2})"), kStatus, sends(2)});
    const auto& spans = Lane(timeline, "caller's pipe").spans;
    ASSERT_EQ(spans.size(), 2u);
    EXPECT_TRUE(spans[0].bOpen);
    EXPECT_TRUE(spans[1].bServed);
    EXPECT_EQ(spans[1].strMessage, R"({"content":{"nexlet_call":2},"message_type":2})");
}

TEST(LogTimeline, RequestsOfBothPipesDoNotMix) {
    const Timeline timeline =
        Build({kArrives, kStatus, "[CommzoltHelperS::ReceiveIPCMessage(12)] ReceiveIPCMessage begin",
               "[CommzoltHelperS::ReceiveIPCMessage(19)] jvRoot not content", Sends(13)});
    EXPECT_EQ(Lane(timeline, "caller's pipe").spans.at(0).strOutcome, "replied with type 13");
    EXPECT_EQ(Lane(timeline, "host pipe").spans.at(0).strOutcome, "refused: jvRoot not content");
}

TEST(LogTimeline, RefusalByAHandlerOfTheHostEndsTheRequestOfItsPipe) {
    for (const char* handler : {"GetWxAppStatus", "HandleRequest"}) {
        const Timeline timeline =
            Build({kArrives, kStatus, "[CommzoltHelperS::ReceiveIPCMessage(12)] ReceiveIPCMessage begin",
                   "[CommzoltHelperS::ReceiveIPCMessage(47)] receive MessageType::S_MT_GetWxAppStatus",
                   std::string("[CommzoltHelperS::") + handler + "(130)] parse error", Sends(13)});
        EXPECT_EQ(Lane(timeline, "caller's pipe").spans.at(0).strOutcome, "replied with type 13") << handler;
        EXPECT_EQ(Lane(timeline, "host pipe").spans.at(0).strOutcome, "refused: parse error") << handler;
    }
}

TEST(LogTimeline, ThreadIsASpanFromItsBeginningToItsEnd) {
    const Timeline timeline = Build({"[DelayCheckWndThread(11)] DelayCheckWndThread begin", "[x(1)] y",
                                     "[DelayCheckWndThread(30)] DelayCheckWndThread end",
                                     "[HangWatcherThreadFunc(2)] HangWatcherThreadFunc begin", "[x(1)] y"});
    const TimelineSpan& ended = Lane(timeline, "follow an open").spans.at(0);
    EXPECT_EQ(ended.strName, "DelayCheckWndThread");
    EXPECT_EQ(ended.nLastLine, 2u);
    EXPECT_FALSE(ended.bOpen);
    const TimelineSpan& open = Lane(timeline, "hang watch").spans.at(0);
    EXPECT_TRUE(open.bOpen);
    EXPECT_EQ(open.nLastLine, 4u);
}

TEST(LogTimeline, FunctionThatEndsUnderAnothersNameEnds) {
    const Timeline timeline = Build({"[CommzoltHelperS::InitConfInfoThread(53)] InitConfInfoThread begin",
                                     "[CommzoltHelperS::InitConfInfoThread(61)] InitHangWatcherThread end"});
    EXPECT_FALSE(Lane(timeline, "main thread").spans.at(0).bOpen);
}

TEST(LogTimeline, BeaconsAndTimersAreMarked) {
    const Timeline timeline =
        Build({"[ReportDot(55)] Report: https://x/y?a=1 sync : 0", "[WindowProc(49)] create timer",
               "[DelayCheckWndThread(40)] successLog url=http://x"});
    EXPECT_EQ(Lane(timeline, "main thread").marks.at(0).kind, MarkKind::Timer);
    EXPECT_EQ(Lane(timeline, "any thread").marks.at(0).kind, MarkKind::Beacon);
    EXPECT_EQ(Lane(timeline, "follow an open").marks.at(0).kind, MarkKind::Beacon);
}

TEST(LogTimeline, EveryLineStandsOnExactlyOneLane) {
    const Timeline timeline = Build({"start", "C:\\x.exe", kArrives, kStatus, "[F(1)] x", Sends(13), "[G(1)] y"});
    std::size_t marks = 0;
    for (const TimelineLane& lane : timeline.lanes) {
        marks += lane.marks.size();
        EXPECT_FALSE(lane.marks.empty());
    }
    EXPECT_EQ(marks, timeline.lines.size());
    ASSERT_EQ(timeline.laneOf.size(), timeline.lines.size());
    EXPECT_EQ(timeline.lanes[timeline.laneOf[3]].strName, "caller's pipe");
}

TEST(LogTimeline, OneRunOfAFileIsTaken) {
    const std::vector<std::string> texts = {"start", "[F(1)] first", "start", "[F(1)] second", "[F(1)] third"};
    EXPECT_EQ(Build(texts, 0).lines.size(), 2u);
    EXPECT_EQ(Build(texts, 1).lines.size(), 3u);
    EXPECT_TRUE(Build(texts, 2).lines.empty());
    EXPECT_EQ(CountRuns(Build(texts, 1).lines), 2);
    EXPECT_EQ(CountRuns({}), 0);
}

// The log of a helper that showed a loading window, made a shortcut, followed an open and was asked to go, as it wrote
// it; tools/make-screenshots --run makes it anew.
TEST(LogTimeline, LifeOfAHelperHasALaneForEachOfItsThreads) {
    std::ifstream file(NEXLET_DOCS_PICTURES "/open.log", std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    const Timeline timeline = BuildTimeline(ReadLog(bytes.str()), 0);
    std::vector<std::string> lanes;
    for (const TimelineLane& lane : timeline.lanes) {
        lanes.push_back(lane.strName);
    }
    EXPECT_EQ(lanes, (std::vector<std::string>{"main thread", "caller's pipe", "hang watch", "CPU watch",
                                               "configuration", "pipe watch", "follow an open", "end of a service",
                                               "loading window", "shortcut", "any thread"}));
    for (const TimelineSpan& span : Lane(timeline, "caller's pipe").spans) {
        EXPECT_TRUE(span.bServed || !span.bRequest) << span.strName << ": " << span.strOutcome;
    }
    const auto& marks = Lane(timeline, "main thread").marks;
    EXPECT_EQ(std::ranges::count(marks, MarkKind::Timer, &TimelineMark::kind), 2) << "set once, and came round once";
    EXPECT_LT(Lane(timeline, "any thread").marks.size(), 10u) << "a function has lost its lane";
}

}  // namespace
