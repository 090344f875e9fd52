#include "tooling/exchange.h"

#include <gtest/gtest.h>

namespace {

Exchange Read(const std::string& text) {
    Exchange exchange;
    std::string problem;
    EXPECT_TRUE(ReadExchange(text, exchange, problem)) << problem;
    return exchange;
}

std::string ProblemOf(const std::string& text) {
    Exchange exchange;
    std::string problem;
    EXPECT_FALSE(ReadExchange(text, exchange, problem));
    return problem;
}

ExchangeFrame Frame(FrameDirection direction, std::string payload) {
    ExchangeFrame frame;
    frame.direction = direction;
    frame.payload = std::move(payload);
    return frame;
}

constexpr char kHead[] = R"({"exchange":1,"mark":"m","service":"s"})"
                         "\n";

TEST(Exchange, WhatWasWrittenIsReadBack) {
    Exchange exchange;
    exchange.mark = "m";
    exchange.service = "中 \"s\"";
    for (const char* payload : {"", "1", "no json", R"({"content":{},"message_type":2})", R"({"b":1,"a":2})", "[1]"}) {
        exchange.frames.push_back(Frame(FrameDirection::Sent, payload));
    }
    exchange.frames.push_back(Frame(FrameDirection::Received, std::string("\0\xFF", 2)));
    exchange.frames.back().any = {"result", "other"};
    exchange.frames.back().note = "what it is";
    EXPECT_EQ(Read(WriteExchange(exchange)), exchange);
}

TEST(Exchange, LineEndsOfEitherKindAndEmptyLinesAreTaken) {
    const Exchange exchange = Read(std::string(kHead) + "\r\n\n{\"from\":\"caller\",\"payload\":\"x\"}\r\n");
    ASSERT_EQ(exchange.frames.size(), 1u);
    EXPECT_EQ(exchange.frames[0].payload, "x");
}

TEST(Exchange, BrokenLineIsNamed) {
    EXPECT_EQ(ProblemOf(""), "the file is empty");
    EXPECT_EQ(ProblemOf("x"), "line 1: this is not a JSON object");
    EXPECT_EQ(ProblemOf("{}"), "line 1: this is not an exchange of format 1");
    EXPECT_EQ(ProblemOf(R"({"exchange":2,"mark":"m","service":"s"})"), "line 1: this is not an exchange of format 1");
    EXPECT_EQ(ProblemOf(R"({"exchange":1,"mark":"m"})"), "line 1: \"mark\" or \"service\" is missing");
    const std::string head = kHead;
    EXPECT_EQ(ProblemOf(head + R"({"from":"nobody","payload":"x"})"),
              "line 2: \"from\" is neither \"caller\" nor \"helper\"");
    for (const char* line :
         {R"({"from":"caller"})", R"({"from":"caller","payload":"x","hex":"00"})", R"({"from":"caller","payload":5})",
          R"({"from":"caller","hex":"0"})", R"({"from":"caller","message":[]})"}) {
        EXPECT_EQ(ProblemOf(head + line), "line 2: there is not one of \"message\", \"payload\" and \"hex\"") << line;
    }
    EXPECT_EQ(ProblemOf(head + R"({"from":"caller","payload":"x","any":"result"})"),
              "line 2: \"any\" is not a list of texts");
    EXPECT_EQ(ProblemOf(head + R"({"from":"caller","payload":"x","note":1})"), "line 2: \"note\" is not a text");
}

TEST(Exchange, SettlingLeavesTheLastOfThePollsThatWereTooEarly) {
    const std::string poll = R"({"content":{"p1":"{}"},"message_type":7})";
    const std::string loading = R"({"content":{"result":"Loading"},"message_type":13})";
    const std::string done = R"({"content":{"result":"1"},"message_type":13})";
    Exchange exchange;
    for (const std::string& payload : {poll, loading, poll, loading, poll, done, poll, loading}) {
        exchange.frames.push_back(Frame(payload == poll ? FrameDirection::Sent : FrameDirection::Received, payload));
    }
    SettleExchange(exchange);
    ASSERT_EQ(exchange.frames.size(), 4u);
    EXPECT_EQ(exchange.frames[1].payload, done);
    EXPECT_EQ(exchange.frames[3].payload, loading) << "nothing was asked after it";
}

TEST(Exchange, SettlingMarksWhatIsDrawnByChance) {
    Exchange exchange;
    exchange.frames.push_back(Frame(FrameDirection::Received, R"({"content":{"result":"x"},"message_type":14})"));
    exchange.frames.push_back(Frame(FrameDirection::Received, R"({"content":{"result":"x"},"message_type":16})"));
    exchange.frames.push_back(Frame(FrameDirection::Received, R"({"content":{"result":"x"},"message_type":17})"));
    SettleExchange(exchange);
    EXPECT_EQ(exchange.frames[0].any, std::vector<std::string>{"result"});
    EXPECT_EQ(exchange.frames[1].any, std::vector<std::string>{"result"});
    EXPECT_TRUE(exchange.frames[2].any.empty());
}

TEST(Exchange, MovingChangesItsOwnServiceIdAlone) {
    Exchange exchange =
        Read(std::string(kHead) + R"({"from":"caller","message":{"content":{"service_id":"s"},"message_type":9}})"
                                  "\n"
                                  R"({"from":"caller","message":{"content":{"service_id":"other"},"message_type":9}})");
    exchange = MoveExchange(exchange, "m2", "s2");
    EXPECT_EQ(exchange.mark, "m2");
    EXPECT_EQ(exchange.frames[0].payload, R"({"content":{"service_id":"s2"},"message_type":9})");
    EXPECT_EQ(exchange.frames[1].payload, R"({"content":{"service_id":"other"},"message_type":9})");
}

TEST(Exchange, DifferenceNamesTheFirstThingThatIsAnother) {
    ExchangeFrame expected =
        Frame(FrameDirection::Received, R"({"content":{"result":"1","ret":"0"},"message_type":17})");
    EXPECT_EQ(ExchangeDifference(expected, expected.payload), "");
    EXPECT_EQ(ExchangeDifference(expected, "x"), "the payload is another");
    EXPECT_EQ(ExchangeDifference(expected, R"({"content":{},"message_type":13})"), "type 13 came instead of 17");
    EXPECT_EQ(ExchangeDifference(expected, R"({"content":{"result":"1"},"message_type":17})"), "\"ret\" is missing");
    EXPECT_EQ(ExchangeDifference(expected, R"({"content":{"result":"0","ret":"0"},"message_type":17})"),
              R"("result" is "0" instead of "1")");
    EXPECT_EQ(ExchangeDifference(expected, R"({"content":{"result":"1","ret":"0","x":1},"message_type":17})"),
              "\"x\" is new");
    EXPECT_EQ(ExchangeDifference(expected, R"({"content":null,"message_type":17})"), "the content is another");
    expected.any = {"result"};
    EXPECT_EQ(ExchangeDifference(expected, R"({"content":{"result":"0","ret":"0"},"message_type":17})"), "");
    EXPECT_EQ(ExchangeDifference(expected, R"({"content":{"ret":"0"},"message_type":17})"), "\"result\" is missing");
}

TEST(Exchange, IsShownWithNoteDirectionTypeNameSizeAndBytes) {
    Exchange exchange;
    exchange.frames.push_back(Frame(FrameDirection::Sent, R"({"content":{},"message_type":9})"));
    exchange.frames.back().note = "Let go:";
    EXPECT_EQ(ShowExchange(exchange),
              "Let go: `caller -> helper`, type 9, `S_MT_ExitExeProcess`, 39 bytes.\n\n"
              "    0000  00 02 00 00 1f 00 00 00  7b 22 63 6f 6e 74 65 6e  ........{\"conten\n"
              "    0010  74 22 3a 7b 7d 2c 22 6d  65 73 73 61 67 65 5f 74  t\":{},\"message_t\n"
              "    0020  79 70 65 22 3a 39 7d                              ype\":9}\n");
}

}  // namespace
