#include "host/command_line.h"

#include <stdexcept>

#include <gtest/gtest.h>

namespace {

TEST(ReadSwitchTest, AbsentSwitchGivesNothing) {
    EXPECT_FALSE(ReadSwitch(L"", kSwitchParam, 0).has_value());
    EXPECT_FALSE(ReadSwitch(L"/from:abc", kSwitchChannel, kChannelSwitchSize).has_value());
    // The colon belongs to the key.
    EXPECT_FALSE(ReadSwitch(L"/from abc", kSwitchFrom, kShortSwitchSize).has_value());
}

TEST(ReadSwitchTest, ValueEndsAtTheNextBlank) {
    EXPECT_EQ(ReadSwitch(L"/from:abc /type:6", kSwitchFrom, kShortSwitchSize), L"abc");
    EXPECT_EQ(ReadSwitch(L"/from:abc /type:6", kSwitchType, kShortSwitchSize), L"6");
    EXPECT_EQ(ReadSwitch(L"/from: /type:6", kSwitchFrom, kShortSwitchSize), L"");
}

TEST(ReadSwitchTest, QuotedValueKeepsItsBlanks) {
    EXPECT_EQ(ReadSwitch(L"/service_id:\"a b\" /from:x", kSwitchServiceId, kShortSwitchSize), L"a b");
}

TEST(ReadSwitchTest, KeyIsFoundInsideAnotherValue) {
    EXPECT_EQ(ReadSwitch(L"/from:a/type:7", kSwitchType, kShortSwitchSize), L"7");
    EXPECT_EQ(ReadSwitch(L"/from:a/type:7", kSwitchFrom, kShortSwitchSize), L"a/type:7");
}

TEST(ReadSwitchTest, ValueIsCutAtItsBufferSize) {
    const std::wstring longValue(1000, L'x');
    EXPECT_EQ(ReadSwitch(L"/from:" + longValue, kSwitchFrom, kShortSwitchSize)->size(), 258u);
    EXPECT_EQ(ReadSwitch(L"/type:" + longValue, kSwitchType, kShortSwitchSize)->size(), 258u);
    EXPECT_EQ(ReadSwitch(L"/service_id:" + longValue, kSwitchServiceId, kShortSwitchSize)->size(), 258u);
    EXPECT_EQ(ReadSwitch(L"/channel:" + longValue, kSwitchChannel, kChannelSwitchSize)->size(), 518u);
}

TEST(ReadSwitchTest, ParamIsNeverCutByTheLengthOfItsCommandLine) {
    const std::wstring commandLine = L"/param:" + std::wstring(30000, L'p');
    EXPECT_EQ(ReadSwitch(commandLine, kSwitchParam, commandLine.size())->size(), 30000u);
}

TEST(DecodeSwitchTest, DecodesBase64OfUtf8) {
    EXPECT_EQ(DecodeSwitch(L"eyJtaWQiOiLkuK0ifQ=="), "{\"mid\":\"\xE4\xB8\xAD\"}");
    EXPECT_EQ(DecodeSwitch(L""), "");
    EXPECT_EQ(DecodeSwitch(L"!!!"), "");
}

TEST(TypeFromSwitchTest, ReadsADecimalNumber) {
    EXPECT_EQ(TypeFromSwitch(L"6"), 6);
    EXPECT_EQ(TypeFromSwitch(L"-1"), -1);
    EXPECT_EQ(TypeFromSwitch(L"2147483647"), 2147483647);
    EXPECT_EQ(TypeFromSwitch(L"-2147483648"), -2147483647 - 1);
    EXPECT_EQ(TypeFromSwitch(L"7x"), 7);
}

TEST(TypeFromSwitchTest, TextThatIsNotANumberThrows) {
    EXPECT_THROW(TypeFromSwitch(L"abc"), std::invalid_argument);
    EXPECT_THROW(TypeFromSwitch(L""), std::invalid_argument);
    EXPECT_THROW(TypeFromSwitch(L"2147483648"), std::out_of_range);
    EXPECT_THROW(TypeFromSwitch(L"-2147483649"), std::out_of_range);
    EXPECT_THROW(TypeFromSwitch(L"99999999999999999999"), std::out_of_range);
}

struct MidCase {
    const char* channel;
    ChannelMidStatus status;
};

TEST(ReadChannelMidTest, RefusalsLeaveTheMidAlone) {
    const MidCase cases[] = {
        {"", ChannelMidStatus::ParseError},           {"{", ChannelMidStatus::ParseError},
        {"[]", ChannelMidStatus::NotObject},          {"5", ChannelMidStatus::NotObject},
        {"null", ChannelMidStatus::NotObject},        {"{}", ChannelMidStatus::NoMid},
        {"{\"mid\":5}", ChannelMidStatus::NoMid},     {"{\"mid\":null}", ChannelMidStatus::NoMid},
        {"{\"Mid\":\"x\"}", ChannelMidStatus::NoMid},
    };
    for (const MidCase& one : cases) {
        std::string mid = "old";
        EXPECT_EQ(ReadChannelMid(one.channel, mid), one.status) << one.channel;
        EXPECT_EQ(mid, "old") << one.channel;
    }
}

TEST(ReadChannelMidTest, TakesTheText) {
    std::string mid = "old";
    EXPECT_EQ(ReadChannelMid(R"({"channel_id":"1","mid":"m-1"})", mid), ChannelMidStatus::Ok);
    EXPECT_EQ(mid, "m-1");
    EXPECT_EQ(ReadChannelMid(R"({"mid":""})", mid), ChannelMidStatus::Ok);
    EXPECT_EQ(mid, "");
}

}  // namespace
