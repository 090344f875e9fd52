#include "nexctl/log/log_page.h"

#include <gtest/gtest.h>

#include "foundation/json_text.h"
#include "tests/support/log_bytes.h"

namespace {

Timeline Build(const std::vector<std::string>& texts) {
    std::string log;
    for (const std::string& text : texts) {
        log += "1:0:0:" + std::to_string(log.size() % 1000) + "\t" + text + "\r\n";
    }
    return BuildTimeline(ReadLog(LogBytes(log)), 0);
}

const std::string kArrives = "[CPipeClientCallback::ReceiveIPCMessage(59)] ReceiveIPCMessage begin";
const std::string kStatus = "[CPipeClientCallback::ReceiveIPCMessage(99)] receive MessageType::S_MT_GetWxAppStatus";
const std::string kReplies = "[WxMiniProgramServiceEx::SendIPCMessage(88)] Type=13, Message={}";
const std::string kBeats = "[RunHangWatch(169)] start hang check.";

// What the script of the page reads.
Json::Value DataOf(const std::string& page) {
    const std::string head = "<script type=\"application/json\" id=\"data\">";
    const std::size_t at = page.find(head);
    Json::Value data;
    EXPECT_TRUE(at != std::string::npos &&
                ParseJson(page.substr(at + head.size(), page.find("</script>", at) - at - head.size()), data));
    return data;
}

std::size_t CountOf(const std::string& page, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = page.find(part); at != std::string::npos; at = page.find(part, at + 1)) {
        ++count;
    }
    return count;
}

TEST(LogPage, HoldsLinesLanesAndSpansAsData) {
    const std::string page = TimelinePage(
        {{"a title", Build({"start", kArrives, kStatus, kReplies, "[ReportDot(55)] Report: u sync : 0", kBeats})}});
    EXPECT_NE(page.find("<h1>a title</h1>"), std::string::npos);
    EXPECT_NE(page.find("6 lines, 1 request (0 unanswered), 1 beacon."), std::string::npos) << page;
    const Json::Value log = DataOf(page)["logs"][0];
    ASSERT_EQ(log["text"].size(), 6u);
    for (const char* name : {"step", "lane", "kind", "beat", "source", "origin"}) {
        EXPECT_EQ(log[name].size(), 6u) << name;
    }
    EXPECT_EQ(log["text"][0].asString(), "start");
    EXPECT_EQ(log["source"][1].asInt(), 59);
    EXPECT_EQ(log["functions"][log["origin"][1].asInt()].asString(), "CPipeClientCallback::ReceiveIPCMessage");
    EXPECT_EQ(log["kind"][4].asInt(), static_cast<int>(MarkKind::Beacon));
    EXPECT_EQ(log["beat"][5].asInt(), 1);
    EXPECT_EQ(log["beat"][4].asInt(), 0);
    const Json::Value& span = log["spans"][0];
    EXPECT_EQ(log["lanes"][span[0].asInt()].asString(), "caller's pipe");
    EXPECT_EQ(span[1].asInt(), 1);
    EXPECT_EQ(span[2].asInt(), 3);
    EXPECT_EQ(span[3].asInt(), 1) << "served";
    EXPECT_EQ(span[5].asString(), "status");
    EXPECT_NE(span[6].asString().find("replied with type 13"), std::string::npos);
}

TEST(LogPage, WhatTheLogHoldsIsTextAndNeverMarkup) {
    const std::string page = TimelinePage(
        {{"<img src=x>",
          Build({"[<b>(1)] </td></script><script>alert(1)</script>\x01", kArrives, "[F(1)] \"quoted\" & more \\"})}});
    EXPECT_EQ(page.find("<script>alert"), std::string::npos);
    EXPECT_EQ(page.find("<img"), std::string::npos);
    EXPECT_EQ(page.find('\x01'), std::string::npos);
    EXPECT_EQ(CountOf(page, "</script>"), 2u) << "the data and the script";
    const Json::Value log = DataOf(page)["logs"][0];
    EXPECT_EQ(log["text"][0].asString(), "</td></script><script>alert(1)</script>\x01");
    EXPECT_EQ(log["text"][2].asString(), "\"quoted\" & more \\");
}

TEST(LogPage, SeveralLogsHaveAHeadEach) {
    const std::string page = TimelinePage({{"first: x", Build({"start"})}, {"second: y", Build({"start", "two"})}});
    EXPECT_NE(page.find("<h1>first</h1>"), std::string::npos);
    EXPECT_NE(page.find("<p>first: x</p>"), std::string::npos);
    EXPECT_NE(page.find("<p>second: y</p>"), std::string::npos);
    EXPECT_EQ(DataOf(page)["logs"].size(), 2u);
}

TEST(LogPage, LargeLogLosesHeartbeatsFirstAndThenTheOldestLinesAndSaysSo) {
    const Timeline timeline = Build({"one", kBeats, "two", kBeats, "three", kArrives, kStatus});
    const std::string thinned = TimelinePage({{"t", timeline}}, 5);
    EXPECT_NE(thinned.find("Of these lines 2 are not on this page"), std::string::npos);
    EXPECT_EQ(DataOf(thinned)["logs"][0]["text"].size(), 5u);
    EXPECT_EQ(DataOf(thinned)["logs"][0]["text"][1].asString(), "two");
    const Json::Value least = DataOf(TimelinePage({{"t", timeline}}, 1))["logs"][0];
    ASSERT_EQ(least["text"].size(), 1u);
    EXPECT_EQ(least["text"][0].asString(), "receive MessageType::S_MT_GetWxAppStatus");
    EXPECT_EQ(least["spans"][0][1].asInt(), 0) << "a span whose beginning is left out stays";
    EXPECT_EQ(TimelinePage({{"t", timeline}}, 7).find("Of these lines"), std::string::npos);
}

TEST(LogPage, EmptyLogIsAPageThatSaysSo) {
    EXPECT_NE(TimelinePage({{"t", Timeline()}}).find("The log holds no line."), std::string::npos);
}

}  // namespace
