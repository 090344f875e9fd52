#include "support/http/beacon_url.h"

#include <gtest/gtest.h>

namespace {

TEST(BeaconUrl, TheTwoOldVersionsGetThePlainScheme) {
    EXPECT_EQ(BeaconUrl(L"https://host/a.gif", 7), L"http://host/a.gif");
    EXPECT_EQ(BeaconUrl(L"https://host/a.gif", 5), L"http://host/a.gif");
}

TEST(BeaconUrl, EveryOtherVersionLeavesTheUrlAsItIs) {
    for (const int code : {-1, 0, 4, 6, 8, 9, 10}) {
        EXPECT_EQ(BeaconUrl(L"https://host/a.gif?u=https", code), L"https://host/a.gif?u=https") << code;
    }
}

TEST(BeaconUrl, AValueInTheQueryIsRewrittenToo) {
    EXPECT_EQ(BeaconUrl(L"https://host/a.gif?_referer=https://x/https", 7),
              L"http://host/a.gif?_referer=http://x/http");
}

TEST(BeaconUrl, ReplacementGoesOnUntilNoneIsLeft) {
    EXPECT_EQ(WithPlainScheme(L"httpsss://h"), L"http://h");
    EXPECT_EQ(WithPlainScheme(L"hhttpsttps"), L"hhttpttps");
    EXPECT_EQ(WithPlainScheme(L"httphttps"), L"httphttp");
}

TEST(BeaconUrl, PlainUrlsAndOtherLettersStay) {
    EXPECT_EQ(WithPlainScheme(L""), L"");
    EXPECT_EQ(WithPlainScheme(L"http"), L"http");
    EXPECT_EQ(WithPlainScheme(L"HTTPS://h/https"), L"HTTPS://h/http");
    EXPECT_EQ(WithPlainScheme(L"http://h/s?s=ss"), L"http://h/s?s=ss");
}

TEST(BeaconUrl, WithoutAQueryAQuestionMarkComesFirst) {
    EXPECT_EQ(StatisticsBeaconUrl(L"https://h/a.gif", false, 41, L"mid"), L"https://h/a.gif?t=41&m=mid");
}

TEST(BeaconUrl, AfterAQueryAnAmpersandComesFirst) {
    EXPECT_EQ(StatisticsBeaconUrl(L"https://h/a.gif?_referer=5", true, 41, L"mid"),
              L"https://h/a.gif?_referer=5&t=41&m=mid");
}

TEST(BeaconUrl, AQueryThatIsNotAnnouncedGetsASecondQuestionMark) {
    EXPECT_EQ(StatisticsBeaconUrl(L"https://h/1663.8991.gif?_referer=2", false, 7, L"m1"),
              L"https://h/1663.8991.gif?_referer=2?t=7&m=m1");
}

TEST(BeaconUrl, AnEmptyMachineIdEndsTheUrlWithItsKey) {
    EXPECT_TRUE(StatisticsBeaconUrl(L"https://h/a.gif", false, 1, L"").ends_with(L"&m="));
    EXPECT_EQ(InstallBeaconUrl(L"https://h/stats/yybinst", L""), L"https://h/stats/yybinst?m=");
}

TEST(BeaconUrl, TheInstallBeaconCarriesNoNumber) {
    EXPECT_EQ(InstallBeaconUrl(L"https://h/stats/yybinst", L"a b&c"), L"https://h/stats/yybinst?m=a b&c");
}

TEST(BeaconUrl, ALongUrlIsCutAfter1023Characters) {
    const std::wstring url = L"https://h/" + std::wstring(2000, L'x');
    EXPECT_EQ(StatisticsBeaconUrl(url, false, 1, L"mid"), url.substr(0, 1023));
    EXPECT_EQ(InstallBeaconUrl(url, L"mid"), url.substr(0, 1023));

    const std::wstring fits = L"https://h/" + std::wstring(1023 - 10 - 10, L'x');
    EXPECT_EQ(StatisticsBeaconUrl(fits, false, 1, L"mid"), fits + L"?t=1&m=mid");
    EXPECT_EQ(StatisticsBeaconUrl(fits, false, 1, L"mid2"), fits + L"?t=1&m=mid");
}

// The machine id is added after the rule, so a part of it that looks like a scheme stays.
TEST(BeaconUrl, TheSchemeRuleDoesNotReachTheMachineId) {
    EXPECT_EQ(StatisticsBeaconUrl(BeaconUrl(L"https://h/a", 7), false, 1, L"https"), L"http://h/a?t=1&m=https");
}

}  // namespace
