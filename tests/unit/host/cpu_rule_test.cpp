#include "host/cpu_rule.h"

#include <limits>

#include <gtest/gtest.h>

namespace {

constexpr double kHigh = 50.0;
constexpr double kLow = 1.0;

TEST(CpuRuleTest, ExactlyTheThresholdIsABreach) {
    CCpuRule rule;
    for (int round = 1; round < kCpuRoundsToClose; ++round) {
        EXPECT_EQ(rule.OnSample(15.0), CpuAction::None) << round;
    }
    EXPECT_EQ(rule.OnSample(15.0), CpuAction::Close);
}

TEST(CpuRuleTest, JustBelowTheThresholdIsNone) {
    CCpuRule rule;
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(rule.OnSample(14.999), CpuAction::None);
    }
}

TEST(CpuRuleTest, OneLowSampleBreaksTheRun) {
    CCpuRule rule;
    for (int run = 0; run < 2; ++run) {
        for (int round = 0; round < 5; ++round) {
            EXPECT_EQ(rule.OnSample(kHigh), CpuAction::None);
        }
        EXPECT_EQ(rule.OnSample(kLow), CpuAction::None);
    }
}

TEST(CpuRuleTest, ClosesFromTheSixthRoundAndKillsFromTheTwelfth) {
    CCpuRule rule;
    for (int round = 1; round <= 14; ++round) {
        const CpuAction expected = round >= 12 ? CpuAction::Kill : round >= 6 ? CpuAction::Close : CpuAction::None;
        EXPECT_EQ(rule.OnSample(kHigh), expected) << round;
    }
}

TEST(CpuUsageTest, IsAShareOfTheWholeMachine) {
    double usage = -1;
    ASSERT_TRUE(CpuUsageBetween({.nProcess = 100, .nSystem = 1000}, {.nProcess = 400, .nSystem = 3000}, usage));
    EXPECT_DOUBLE_EQ(usage, 15.0);
}

TEST(CpuUsageTest, NoTimeOnTheProcessorsGivesNoValue) {
    double usage = -1;
    EXPECT_FALSE(CpuUsageBetween({.nProcess = 1, .nSystem = 1000}, {.nProcess = 2, .nSystem = 1000}, usage));
    EXPECT_EQ(usage, -1);
}

TEST(CpuUsageTest, ProcessMissingFromTheSecondListWrapsToABreach) {
    double usage = 0;
    ASSERT_TRUE(CpuUsageBetween({.nProcess = 500, .nSystem = 0}, {.nProcess = 0, .nSystem = 1000}, usage));
    EXPECT_GT(usage, 1e10);
}

TEST(CpuUsageTest, ProcessMissingFromTheFirstListCountsItsWholeTime) {
    double usage = 0;
    ASSERT_TRUE(CpuUsageBetween({.nProcess = 0, .nSystem = 0}, {.nProcess = 5000, .nSystem = 1000}, usage));
    EXPECT_DOUBLE_EQ(usage, 500.0);
}

}  // namespace
