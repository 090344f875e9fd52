#include "open/record/channel_config.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace {

std::string FailureOf(const std::string& text) {
    try {
        return "number " + std::to_string(ParseDecimalUnsigned(text));
    } catch (const std::invalid_argument& failure) {
        return std::string("invalid_argument ") + failure.what();
    } catch (const std::out_of_range& failure) {
        return std::string("out_of_range ") + failure.what();
    }
}

TEST(ParseDecimalUnsigned, DigitsMakeTheNumber) {
    EXPECT_EQ(ParseDecimalUnsigned("12"), 12u);
    EXPECT_EQ(ParseDecimalUnsigned("0"), 0u);
    EXPECT_EQ(ParseDecimalUnsigned("0012"), 12u);
    EXPECT_EQ(ParseDecimalUnsigned("4294967295"), 4294967295u);
}

TEST(ParseDecimalUnsigned, BlanksAndOneSignMayComeFirst) {
    EXPECT_EQ(ParseDecimalUnsigned(" \t\n\v\f\r12"), 12u);
    EXPECT_EQ(ParseDecimalUnsigned("+12"), 12u);
    EXPECT_EQ(ParseDecimalUnsigned("-1"), 4294967295u);
    EXPECT_EQ(ParseDecimalUnsigned(" -4294967295"), 1u);
    EXPECT_EQ(ParseDecimalUnsigned("-0"), 0u);
}

TEST(ParseDecimalUnsigned, WhatFollowsTheDigitsIsIgnored) {
    EXPECT_EQ(ParseDecimalUnsigned("12ab"), 12u);
    EXPECT_EQ(ParseDecimalUnsigned("12.9"), 12u);
    EXPECT_EQ(ParseDecimalUnsigned("0x10"), 0u);
    EXPECT_EQ(ParseDecimalUnsigned("12 13"), 12u);
}

TEST(ParseDecimalUnsigned, NoDigitsIsInvalid) {
    for (const char* text : {"", " ", "ab", "-", "+", "--1", "+-1", "- 1", ".5"}) {
        EXPECT_EQ(FailureOf(text), "invalid_argument invalid stoul argument") << text;
    }
    EXPECT_EQ(FailureOf(std::string("\0"
                                    "12",
                                    3)),
              "invalid_argument invalid stoul argument");
}

TEST(ParseDecimalUnsigned, MoreThanThirtyTwoBitsIsOutOfRange) {
    for (const char* text : {"4294967296", "-4294967296", "99999999999999999999999999", "18446744073709551617"}) {
        EXPECT_EQ(FailureOf(text), "out_of_range stoul argument out of range") << text;
    }
}

TEST(ParseChannelConfig, TheThreeKeysAreReadForAnOrdinaryHost) {
    ChannelConfig config;
    EXPECT_EQ(ParseChannelConfig(R"({"channel_id":"12","product":"p","from":"f"})", false, config),
              ChannelConfigOutcome::Ok);
    EXPECT_EQ(config.m_nChannelId, 12u);
    EXPECT_EQ(config.m_strProduct, "p");
    EXPECT_EQ(config.m_strFrom, "f");
}

TEST(ParseChannelConfig, AnMlHostWritesTheChannelAsANumber) {
    ChannelConfig config;
    EXPECT_EQ(ParseChannelConfig(R"({"channel_id":3000000000})", true, config), ChannelConfigOutcome::Ok);
    EXPECT_EQ(config.m_nChannelId, 3000000000u);
    EXPECT_EQ(ParseChannelConfig(R"({"channel_id":12})", true, config), ChannelConfigOutcome::Ok);
    EXPECT_EQ(config.m_nChannelId, 12u);
    EXPECT_EQ(ParseChannelConfig(R"({})", true, config), ChannelConfigOutcome::Ok);
    EXPECT_EQ(config.m_nChannelId, 0u);
}

TEST(ParseChannelConfig, WhatIsNotAnObjectKeepsTheConfig) {
    ChannelConfig config{7, "p", "f"};
    EXPECT_EQ(ParseChannelConfig("", false, config), ChannelConfigOutcome::NotJson);
    EXPECT_EQ(ParseChannelConfig("{", true, config), ChannelConfigOutcome::NotJson);
    EXPECT_EQ(ParseChannelConfig("[]", false, config), ChannelConfigOutcome::NotObject);
    EXPECT_EQ(ParseChannelConfig("null", false, config), ChannelConfigOutcome::NotObject);
    EXPECT_EQ(config.m_nChannelId, 7u);
    EXPECT_EQ(config.m_strProduct, "p");
    EXPECT_EQ(config.m_strFrom, "f");
}

void ParseToTheEnd(const char* text, bool bMlHost) noexcept {
    ChannelConfig config;
    ParseChannelConfig(text, bMlHost, config);
}

class ChannelConfigDeathTest : public testing::Test {
  protected:
    void SetUp() override { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

TEST_F(ChannelConfigDeathTest, ANumberFromAnOrdinaryHostEndsTheProcess) {
    EXPECT_DEATH(ParseToTheEnd(R"({"channel_id":12})", false), "Type is not convertible to string");
}

TEST_F(ChannelConfigDeathTest, AMissingChannelFromAnOrdinaryHostEndsTheProcess) {
    EXPECT_DEATH(ParseToTheEnd(R"({"product":"p"})", false), "invalid stoul argument");
}

TEST_F(ChannelConfigDeathTest, ATextWithoutDigitsEndsTheProcess) {
    EXPECT_DEATH(ParseToTheEnd(R"({"channel_id":"x"})", false), "invalid stoul argument");
}

TEST_F(ChannelConfigDeathTest, ATextBeyondThirtyTwoBitsEndsTheProcess) {
    EXPECT_DEATH(ParseToTheEnd(R"({"channel_id":"4294967296"})", false), "stoul argument out of range");
}

TEST_F(ChannelConfigDeathTest, ATextFromAnMlHostEndsTheProcess) {
    EXPECT_DEATH(ParseToTheEnd(R"({"channel_id":"12"})", true), "Value is not convertible to UInt");
}

TEST_F(ChannelConfigDeathTest, ANegativeNumberFromAnMlHostEndsTheProcess) {
    EXPECT_DEATH(ParseToTheEnd(R"({"channel_id":-1})", true), "out of UInt range");
}

TEST_F(ChannelConfigDeathTest, AProductThatIsANumberEndsTheProcess) {
    EXPECT_DEATH(ParseToTheEnd(R"({"channel_id":"1","product":7})", false), "Type is not convertible to string");
}

TEST(SdkHostData, TakesWhatTheHostGivesAndReadsTheChannelInTheHostsWay) {
    SdkHostData data;
    EXPECT_EQ(data.Take(R"({"channel_id":"12","product":"p","from":"f"})", L"C:\\sdk", L"other"),
              ChannelConfigOutcome::Ok);
    EXPECT_EQ(data.m_strConfig, R"({"channel_id":"12","product":"p","from":"f"})");
    EXPECT_EQ(data.m_strSdkPath, L"C:\\sdk");
    EXPECT_EQ(data.m_strHostTag, L"other");
    EXPECT_FALSE(data.m_bMlHost);
    EXPECT_EQ(data.m_channel.m_nChannelId, 12u);
    EXPECT_EQ(data.m_channel.m_strProduct, "p");
    EXPECT_EQ(data.m_channel.m_strFrom, "f");
    for (const wchar_t* tag : {L"ml", L"ml_browser", L"htmlview"}) {
        EXPECT_EQ(data.Take(R"({"channel_id":34})", L"D:\\other", tag), ChannelConfigOutcome::Ok);
        EXPECT_TRUE(data.m_bMlHost);
        EXPECT_EQ(data.m_strSdkPath, L"D:\\other");
        EXPECT_EQ(data.m_channel.m_nChannelId, 34u);
    }
    EXPECT_EQ(data.Take(R"({"channel_id":"5"})", L"", L"ML"), ChannelConfigOutcome::Ok) << "the case counts";
    EXPECT_FALSE(data.m_bMlHost);
}

TEST(SdkHostData, ABadConfigIsKeptAndLeavesTheChannelAsItWas) {
    SdkHostData data;
    EXPECT_EQ(data.Take(R"({"channel_id":"12"})", L"C:\\sdk", L"other"), ChannelConfigOutcome::Ok);
    EXPECT_EQ(data.Take("no json", L"D:\\other", L"ml"), ChannelConfigOutcome::NotJson);
    EXPECT_EQ(data.m_strConfig, "no json");
    EXPECT_EQ(data.m_strSdkPath, L"D:\\other");
    EXPECT_EQ(data.m_strHostTag, L"ml");
    EXPECT_TRUE(data.m_bMlHost);
    EXPECT_EQ(data.m_channel.m_nChannelId, 12u);
    EXPECT_EQ(data.Take("[]", L"", L"other"), ChannelConfigOutcome::NotObject);
    EXPECT_FALSE(data.m_bMlHost);
    EXPECT_EQ(data.m_channel.m_nChannelId, 12u);
}

}  // namespace
