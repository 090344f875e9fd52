// The reader of the page that the log's lines are held to.
#include "tests/support/log_page.h"

#include <gtest/gtest.h>

namespace {

TEST(LogPage, LineOfThePageUnderItsNameIsRight) {
    for (const char* line :
         {"[CommzoltHelperS::OnTimer(12)] is ml", "[CommzoltHelperS::OnTimer(1)] m_mWxExInstance = 3",
          "[CalculateCpuUsage(9)] CPU Usage for process 48: 12.50%",
          "[CPipeServerCallback::Connected(4)]Client connected"}) {
        EXPECT_EQ(LogLineFault(line), "");
    }
}

TEST(LogPage, LineUnderAnotherNameIsWrong) {
    EXPECT_NE(LogLineFault("[CommzoltHelperS::OnCheckExit(12)] is ml"), "");
    EXPECT_NE(LogLineFault("[CommzoltHelperS::Init(12)] is ml"), "");
    EXPECT_NE(LogLineFault("[OnTimer(12)] is ml"), "");
}

TEST(LogPage, BlankAfterThePrefixIsAPartOfTheText) {
    for (const char* line :
         {"[CommzoltHelperS::OnTimer(12)]is ml", "[CommzoltHelperS::OnTimer(12)]  is ml",
          "[CommzoltHelperS::OnTimer(12)] is ml ", "[CPipeServerCallback::Connected(4)] Client connected"}) {
        EXPECT_NE(LogLineFault(line), "") << line;
    }
}

TEST(LogPage, UnknownTextOfAKnownNameIsWrong) {
    EXPECT_NE(LogLineFault("[CommzoltHelperS::OnTimer(12)] is mm"), "");
    EXPECT_NE(LogLineFault("[CommzoltHelperS::OnTimer(12)] m_mWxExInstance  3"), "");
}

TEST(LogPage, WhatIsNotTheHelpersIsNeverWrong) {
    for (const char* line : {"", "start", "[half", "[Test_Body(3)] something else", "----OnDownloadStatus---- "}) {
        EXPECT_EQ(LogLineFault(line), "") << line;
    }
}

TEST(LogPage, TextIsComparedWithItsBlank) {
    EXPECT_TRUE(IsLogLine("[A::f(1)] text", "text"));
    EXPECT_TRUE(IsLogLine("[A::f(1)]text", "]text"));
    EXPECT_TRUE(IsLogLine("text", "text"));
    EXPECT_FALSE(IsLogLine("[A::f(1)]text", "text"));
    EXPECT_FALSE(IsLogLine("[A::f(1)] text", "]text"));
    EXPECT_FALSE(IsLogLine("[A::f(1)]  text", "text"));
    EXPECT_FALSE(IsLogLine("[A::f(1)] text more", "text"));
}

}  // namespace
