#include "host/remote_config_rule.h"

#include <string>

#include <gtest/gtest.h>

namespace {

constexpr std::uint32_t kNow = 1800000000u;

TEST(RemoteConfigRule, NothingStoredIsDue) {
    EXPECT_TRUE(IsRemoteConfigDue(kNow, 0));
}

TEST(RemoteConfigRule, ExactlyADayIsNotDueAndOneSecondMoreIs) {
    EXPECT_FALSE(IsRemoteConfigDue(kNow, kNow));
    EXPECT_FALSE(IsRemoteConfigDue(kNow, kNow - 86400));
    EXPECT_TRUE(IsRemoteConfigDue(kNow, kNow - 86401));
}

TEST(RemoteConfigRule, AStoredTimeInTheFutureIsDue) {
    EXPECT_TRUE(IsRemoteConfigDue(kNow, kNow + 1));
    EXPECT_TRUE(IsRemoteConfigDue(0, 1));
}

TEST(RemoteConfigRule, TheDifferenceWrapsWithTheClock) {
    EXPECT_FALSE(IsRemoteConfigDue(100, 0xFFFFFFF0u));
    EXPECT_TRUE(IsRemoteConfigDue(86400, 0xFFFFFFFFu));
}

std::optional<std::uint32_t> Create(const std::string& text) {
    const RemoteConfig config = ReadRemoteConfig(text);
    EXPECT_TRUE(config.bParsed) << text;
    return config.nAppShortcutCreate;
}

TEST(RemoteConfigRule, OneMeansCreateAndAnyOtherIntegerMeansDoNot) {
    EXPECT_EQ(Create(R"({"appShortcut":{"create":1}})"), 1u);
    for (const char* value : {"0", "2", "-1", "2147483647", "-2147483648"}) {
        EXPECT_EQ(Create(std::string(R"({"appShortcut":{"create":)") + value + "}}"), 0u) << value;
    }
}

TEST(RemoteConfigRule, WhatIsNotAnIntegerIsNotASwitch) {
    for (const char* value : {"\"1\"", "1.0", "1e0", "true", "null", "[1]", "{}", "3000000000"}) {
        EXPECT_EQ(Create(std::string(R"({"appShortcut":{"create":)") + value + "}}"), std::nullopt) << value;
    }
}

TEST(RemoteConfigRule, ANumberOutside32BitsIsNotASwitch) {
    for (const char* value : {"-2147483649", "-9000000000000000000", "2147483648", "4294967297"}) {
        EXPECT_EQ(Create(std::string(R"({"appShortcut":{"create":)") + value + "}}"), std::nullopt) << value;
    }
}

TEST(RemoteConfigRule, AFileWithoutTheSwitchIsFine) {
    for (const char* text : {"{}", R"({"appShortcut":null})", R"({"appShortcut":{}})", R"({"appShortcut":1})",
                             R"({"appShortcut":"create"})", R"({"appShortcut":[{"create":1}]})",
                             R"({"AppShortcut":{"create":1}})", R"({"create":1})"}) {
        EXPECT_EQ(Create(text), std::nullopt) << text;
    }
}

TEST(RemoteConfigRule, OtherMembersAreIgnored) {
    EXPECT_EQ(Create(R"({"version":"3","appShortcut":{"create":1,"name":"x"},"list":[1,2]})"), 1u);
}

TEST(RemoteConfigRule, WhatIsNotAnObjectIsNotParsed) {
    for (const char* text :
         {"", " ", "no json", "[]", "[{\"appShortcut\":{\"create\":1}}]", "1", "null", "{", "\xff"}) {
        EXPECT_FALSE(ReadRemoteConfig(text).bParsed) << text;
    }
}

TEST(RemoteConfigRule, TextNestedWithoutEndIsRefusedAndEndsNothing) {
    EXPECT_FALSE(ReadRemoteConfig(std::string(200000, '[')).bParsed);
    EXPECT_FALSE(ReadRemoteConfig("{\"a\":" + std::string(200000, '[')).bParsed);
}

}  // namespace
