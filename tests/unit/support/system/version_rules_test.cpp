#include "support/system/version_rules.h"

#include <gtest/gtest.h>

namespace {

TEST(ParseVersionText, TheLeastVersionIsBuiltIn) {
    FourPartVersion version = 0;
    EXPECT_TRUE(ParseVersionText(version));
    EXPECT_EQ(version, MakeFourPartVersion(1, 0, 345, 0));
    EXPECT_EQ(version, 0x0001000001590000u);
}

TEST(ParseVersionText, FourPartsAreReadBetweenAnyOfTheDelimiters) {
    FourPartVersion version = 0;
    EXPECT_TRUE(ParseVersionText(L"1.2|3,4", version));
    EXPECT_EQ(version, MakeFourPartVersion(1, 2, 3, 4));
    EXPECT_TRUE(ParseVersionText(L"65535,65534,65533,65532,7", version));
    EXPECT_EQ(version, MakeFourPartVersion(65535, 65534, 65533, 65532));
}

TEST(ParseVersionText, EachPartIsCutToSixteenBits) {
    FourPartVersion version = 0;
    EXPECT_TRUE(ParseVersionText(L"65536.65537.131073.99999999999999999999", version));
    EXPECT_EQ(version, MakeFourPartVersion(0, 1, 1, 65535));
}

TEST(ParseVersionText, WhatIsNotANumberCountsAsZero) {
    FourPartVersion version = 7;
    EXPECT_TRUE(ParseVersionText(L"a.2b. 3.-4", version));
    EXPECT_EQ(version, MakeFourPartVersion(0, 2, 0, 0));
}

TEST(ParseVersionText, FewerThanFourPartsAreRefused) {
    for (const wchar_t* text : {L"", L"1", L"1.2.3", L"1..2.3", L"...."}) {
        FourPartVersion version = 7;
        EXPECT_FALSE(ParseVersionText(text, version));
        EXPECT_EQ(version, 7u);
    }
}

TEST(FourPartVersion, TheFirstPartsDecideFirst) {
    EXPECT_GT(MakeFourPartVersion(2, 0, 0, 0), MakeFourPartVersion(1, 0, 345, 0));
    EXPECT_LT(MakeFourPartVersion(1, 0, 344, 9), MakeFourPartVersion(1, 0, 345, 0));
    EXPECT_GT(MakeFourPartVersion(1, 1, 0, 0), MakeFourPartVersion(1, 0, 65535, 65535));
}

TEST(VersionCode, EachKnownVersionHasItsCode) {
    EXPECT_EQ(VersionCodeFromText(L"5.0"), 2);
    EXPECT_EQ(VersionCodeFromText(L"5.1"), 5);
    EXPECT_EQ(VersionCodeFromText(L"5.2"), 3);
    EXPECT_EQ(VersionCodeFromText(L"6.0"), 6);
    EXPECT_EQ(VersionCodeFromText(L"6.1"), 7);
    EXPECT_EQ(VersionCodeFromText(L"6.2"), 8);
}

TEST(VersionCode, AnyOtherTextIsNine) {
    for (const wchar_t* text : {L"6.3", L"10.0", L"6", L"6.", L"5.3", L" 6.1", L"x", L"4.0"}) {
        EXPECT_EQ(VersionCodeFromText(text), 9);
    }
}

TEST(VersionCode, OnlyTheFirstThreeCharactersCount) {
    EXPECT_EQ(VersionCodeFromText(L"5.1 and more"), 5);
    EXPECT_EQ(VersionCodeFromText(L"6.15"), 7);
}

}  // namespace
