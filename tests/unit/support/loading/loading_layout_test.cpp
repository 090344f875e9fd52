#include "support/loading/loading_layout.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(LoadingLayout, At96DpiAllLengthsStandAsTheyAre) {
    for (const int length : {0, 1, 18, 54, 96, 360}) {
        EXPECT_EQ(ScaleByDpi(length, 96), length);
    }
    EXPECT_EQ(LoadingIconBox(0, 0, 96), (LoadingBox{132, 150, 96, 96}));
}

TEST(LoadingLayout, At144DpiTheWindowIs540PixelsAndTheIconSquare144At198And225) {
    EXPECT_EQ(ScaleByDpi(kLoadingSide, 144), 540);
    EXPECT_EQ(LoadingIconBox(0, 0, 144), (LoadingBox{198, 225, 144, 144}));
}

TEST(LoadingLayout, At192DpiEverythingIsTwiceAsLarge) {
    EXPECT_EQ(ScaleByDpi(kLoadingSide, 192), 720);
    EXPECT_EQ(LoadingIconBox(0, 0, 192), (LoadingBox{264, 300, 192, 192}));
    EXPECT_EQ(LoadingLineBox(kLoadingLines[2], 0, 0, 720, 192), (LoadingBox{0, 562, 720, 120}));
}

TEST(LoadingLayout, ScalingRoundsTowardsZero) {
    EXPECT_EQ(ScaleByDpi(1, 144), 1);      // 1.5
    EXPECT_EQ(ScaleByDpi(281, 120), 351);  // 351.25
    EXPECT_EQ(ScaleByDpi(281, 144), 421);  // 421.5
    EXPECT_EQ(ScaleByDpi(1, 95), 0);
}

TEST(LoadingLayout, TheIconIsCentredAcrossTheWindowAtTheUsualDpis) {
    for (const int dpi : {96, 120, 144, 192, 288}) {
        const LoadingBox icon = LoadingIconBox(0, 0, dpi);
        EXPECT_EQ(icon.left * 2 + icon.width, ScaleByDpi(kLoadingSide, dpi)) << dpi;
    }
}

TEST(LoadingLayout, BoxesBeginAtTheClientAreasCorner) {
    EXPECT_EQ(LoadingIconBox(10, 20, 144), (LoadingBox{208, 245, 144, 144}));
    EXPECT_EQ(LoadingLineBox(kLoadingLines[0], 10, 20, 540, 144), (LoadingBox{10, 101, 540, 90}));
}

TEST(LoadingLayout, ThreeLinesOfTextAreAsWideAsTheWindow) {
    EXPECT_STREQ(kLoadingLines[0].format, L"小程序");
    EXPECT_STREQ(kLoadingLines[1].format, L"【%s】启动中");
    EXPECT_STREQ(kLoadingLines[2].format, L"申请微信授权运行小程序");
    EXPECT_EQ(LoadingLineBox(kLoadingLines[0], 0, 0, 360, 96), (LoadingBox{0, 54, 360, 60}));
    EXPECT_EQ(LoadingLineBox(kLoadingLines[1], 0, 0, 360, 96), (LoadingBox{0, 88, 360, 60}));
    EXPECT_EQ(LoadingLineBox(kLoadingLines[2], 0, 0, 360, 96), (LoadingBox{0, 281, 360, 60}));
    EXPECT_EQ(kLoadingLines[0].size, 18);
    EXPECT_EQ(kLoadingLines[1].size, 24);
    EXPECT_EQ(kLoadingLines[2].size, 18);
    EXPECT_TRUE(kLoadingLines[0].bBold);
    EXPECT_TRUE(kLoadingLines[1].bBold);
    EXPECT_FALSE(kLoadingLines[2].bBold);
    EXPECT_EQ(kLoadingLines[0].colour, 0xFF999999);
    EXPECT_EQ(kLoadingLines[1].colour, 0xFF333333);
    EXPECT_EQ(kLoadingLines[2].colour, 0xFF999999);
}

TEST(LoadingPlace, TheMiddleOfTheWorkArea) {
    EXPECT_EQ(CentreInWorkArea({0, 0, 1920, 1040}, 360, 360), (LoadingPlace{780, 340}));
    EXPECT_EQ(CentreInWorkArea({0, 40, 801, 601}, 361, 361), (LoadingPlace{220, 140})) << "halves are cut off";
}

TEST(LoadingPlace, AMonitorLeftOfAndAboveTheFirstHasNegativePlaces) {
    EXPECT_EQ(CentreInWorkArea({-1920, -1080, 0, 0}, 360, 360), (LoadingPlace{-1140, -720}));
}

TEST(LoadingPlace, AWorkAreaSmallerThanTheWindowPutsItAtItsLeftAndTop) {
    EXPECT_EQ(CentreInWorkArea({0, 0, 300, 200}, 360, 360), (LoadingPlace{0, 0}));
    EXPECT_EQ(CentreInWorkArea({50, 30, 350, 230}, 360, 360), (LoadingPlace{50, 30}));
    EXPECT_EQ(CentreInWorkArea({-300, 0, 0, 1000}, 360, 360), (LoadingPlace{-300, 320})) << "one direction alone";
}

TEST(LoadingPlace, AWorkAreaJustAsLargeIsFilled) {
    EXPECT_EQ(CentreInWorkArea({7, 9, 367, 369}, 360, 360), (LoadingPlace{7, 9}));
    EXPECT_EQ(CentreInWorkArea({7, 9, 368, 370}, 361, 361), (LoadingPlace{7, 9}));
}

LoadingTimerAction Tick(std::uintptr_t id, bool bIsThere) {
    return OnLoadingTimer(id, [bIsThere] { return bIsThere; });
}

TEST(LoadingTimers, TheTimeoutClosesWhetherOrNotTheAwaitedWindowIsThere) {
    EXPECT_EQ(Tick(256, false), LoadingTimerAction::CloseAtTimeout);
    EXPECT_EQ(Tick(256, true), LoadingTimerAction::CloseAtTimeout);
}

TEST(LoadingTimers, TheOtherClosesOnceTheAwaitedWindowIsThere) {
    EXPECT_EQ(Tick(512, false), LoadingTimerAction::Stay);
    EXPECT_EQ(Tick(512, true), LoadingTimerAction::CloseForAwaitedWindow);
}

TEST(LoadingTimers, AnyOtherTimerDoesNothing) {
    for (const std::uintptr_t id : {0u, 1u, 255u, 257u, 511u, 513u}) {
        EXPECT_EQ(Tick(id, true), LoadingTimerAction::Stay) << id;
    }
}

TEST(LoadingTimers, TheAwaitedWindowIsLookedForOnlyOnItsOwnTimer) {
    int asked = 0;
    const auto ask = [&asked] { return ++asked > 0; };
    OnLoadingTimer(256, ask);
    OnLoadingTimer(1, ask);
    EXPECT_EQ(asked, 0);
    OnLoadingTimer(512, ask);
    EXPECT_EQ(asked, 1);
}

}  // namespace
