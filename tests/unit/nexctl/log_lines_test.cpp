#include "nexctl/log/log_lines.h"

#include <gtest/gtest.h>

#include "tests/support/log_bytes.h"

namespace {

std::vector<LogLine> Read(std::string_view ascii) {
    return ReadLog(LogBytes(ascii));
}

TEST(LogLines, TimeFunctionSourceLineAndTextAreTold) {
    const auto lines = Read("1:2:3:4\t[CommzoltHelperS::Init(50)] For the first time!\r\n");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].nTimeMs, ((1 * 60 + 2) * 60 + 3) * 1000 + 4);
    EXPECT_EQ(lines[0].strFunction, "CommzoltHelperS::Init");
    EXPECT_EQ(lines[0].nSourceLine, 50);
    EXPECT_EQ(lines[0].strText, "For the first time!");
    EXPECT_EQ(LogLineText(lines[0]), "1:2:3:4\t[CommzoltHelperS::Init(50)] For the first time!");
}

TEST(LogLines, TextMayStandDirectlyBehindTheOrigin) {
    EXPECT_EQ(Read("1:2:3:4\t[F(1)]Client connected\r\n").at(0).strText, "Client connected");
}

TEST(LogLines, LineWithoutOriginKeepsItsText) {
    for (const char* text :
         {"start", "---IsYybLogined---- x", "[no origin] x", "[F(x)] y", "[F()] y", "[(1)] y", "[F(1234567890)] y"}) {
        const auto line = Read("1:2:3:4\t" + std::string(text) + "\r\n").at(0);
        EXPECT_EQ(line.strFunction, "") << text;
        EXPECT_EQ(line.strText, text);
    }
}

TEST(LogLines, FunctionWithBracketsOfItsOwnIsTakenWhole) {
    const auto line = Read("1:2:3:4\t[C::operator()(12)] x\r\n").at(0);
    EXPECT_EQ(line.strFunction, "C::operator()");
    EXPECT_EQ(line.nSourceLine, 12);
}

TEST(LogLines, TextWithLineEndsStaysOneLine) {
    const auto lines = Read("1:2:3:4\t[F(1)] first\r\nsecond\r\n25:0:0:0\tno time\r\n1:2:3:5\t[F(2)] next\r\n");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].strText, "first\nsecond\n25:0:0:0\tno time");
}

TEST(LogLines, WhatStandsInFrontOfTheFirstLineIsDropped) {
    EXPECT_EQ(Read("rest of a line\r\n1:2:3:4\tstart\r\n").size(), 1u);
    EXPECT_TRUE(Read("").empty());
    EXPECT_TRUE(Read("nothing\r\n").empty());
}

TEST(LogLines, TimeGoesOnBehindMidnight) {
    const auto lines = Read("23:59:59:999\ta\r\n0:0:0:1\tb\r\n0:0:0:0\tc\r\n");
    EXPECT_EQ(lines.at(1).nTimeMs - lines.at(0).nTimeMs, 2);
    EXPECT_EQ(lines.at(2).nTimeMs - lines.at(1).nTimeMs, -1) << "two threads, in the wrong order";
    EXPECT_EQ(TimeOfDay(lines.at(1).nTimeMs), "0:0:0:1");
}

TEST(LogLines, ReusedFileHoldsMoreThanOneRun) {
    const auto lines = Read("1:0:0:0\tstart\r\n1:0:0:1\tx\r\n2:0:0:0\tstart\r\n2:0:0:1\t[F(1)] start\r\n");
    EXPECT_EQ(lines.at(1).nRun, 0);
    EXPECT_EQ(lines.at(2).nRun, 1);
    EXPECT_EQ(lines.at(3).nRun, 1);
}

TEST(LogLines, CharactersBeyondAsciiBecomeUtf8AndBrokenOnesAreReplaced) {
    std::string bytes = LogBytes("1:2:3:4\t");
    bytes += "\x2D\x4E";                          // U+4E2D
    bytes += std::string("\x3D\xD8\x00\xDE", 4);  // U+1F600
    bytes += std::string("\x00\xDC", 2);          // a second half alone
    bytes += std::string("\x3D\xD8", 2);          // a first half alone
    bytes += LogBytes("x\r\n");
    EXPECT_EQ(ReadLog(bytes).at(0).strText, "中\U0001F600\uFFFD\uFFFDx");
}

TEST(LogLines, HalfACharacterAtTheEndIsStillOnItsWay) {
    const std::string bytes = LogBytes("1:2:3:4\tab");
    EXPECT_EQ(ReadLog(std::string_view(bytes).substr(0, bytes.size() - 1)).at(0).strText, "a");
    EXPECT_EQ(ReadLog(bytes + std::string("\x3D\xD8", 2)).at(0).strText, "ab");
}

TEST(LogLines, FunctionIsFoundWithoutRegardToCase) {
    const auto line = Read("1:2:3:4\t[CPipeClientCallback::Lost(55)] x\r\n").at(0);
    EXPECT_TRUE(FunctionContains(line, "pipeclient"));
    EXPECT_TRUE(FunctionContains(line, ""));
    EXPECT_FALSE(FunctionContains(line, "Server"));
}

TEST(LogLines, EveryRefusalOfTheProtocolIsKnown) {
    for (const char* text :
         {"nlength is 0", "parse error", "jvRoot is error", "jvRoot not message_type", "jvRoot not content",
          "receive extension msg", "not contain p1", "service ipc not init", "InvokeFunc failed"}) {
        EXPECT_TRUE(IsRefusal(Read("1:2:3:4\t[F(1)] " + std::string(text) + "\r\n").at(0))) << text;
    }
    EXPECT_FALSE(IsRefusal(Read("1:2:3:4\t[F(1)] not a parse error\r\n").at(0)));
}

}  // namespace
