#include "foundation/wide_format.h"

#include <string>

#include <gtest/gtest.h>

namespace {

template <typename... T>
std::wstring Formatted(const wchar_t* format, T... arguments) {
    wchar_t target[64];
    FormatWide(target, std::size(target), format, arguments...);
    return target;
}

TEST(WideFormat, TakesWideTextByDefaultAndNarrowTextByName) {
    EXPECT_EQ(Formatted(L"<%s> <%ls> <%hs> <%S>", L"中文", L"wide", "narrow", "too"), L"<中文> <wide> <narrow> <too>");
}

TEST(WideFormat, NumbersReadTheSameOnEveryPlatform) {
    EXPECT_EQ(Formatted(L"%d %u %x %08X %5d|%-5d| %lld %%", -1, 4000000000u, 255u, 0xBEEFu, 42, 42, 1LL << 40),
              L"-1 4000000000 ff 0000BEEF    42|42   | 1099511627776 %");
}

TEST(WideFormat, TooLongIsCutAndTerminated) {
    wchar_t target[5] = {L'~', L'~', L'~', L'~', L'~'};
    FormatWide(target, std::size(target), L"%s", L"abc");
    EXPECT_STREQ(target, L"abc");
    FormatWide(target, std::size(target), L"%s", L"abcd");
    EXPECT_STREQ(target, L"abcd");
    FormatWide(target, std::size(target), L"%s", L"abcde");
    EXPECT_STREQ(target, L"abcd");
    FormatWide(target, 1, L"%s", L"abcde");
    EXPECT_STREQ(target, L"");
}

TEST(WideFormat, NarrowTextThatTheLocaleCannotReadStillEndsTerminated) {
    wchar_t target[32];
    FormatWide(target, std::size(target), L"[%hs]", "\xE4\xB8");
    EXPECT_LT(std::wstring(target).size(), std::size(target));
}

}  // namespace
