#include <gtest/gtest.h>

#include "open/request/system_pic_start.h"

namespace {

using WXMINI_PROGRAM_COMMON::IsSystemPicFile;

TEST(IsSystemPicFile, TheNameAfterTheLastBackslashCounts) {
    EXPECT_TRUE(IsSystemPicFile("C:\\a\\Ovrinmuralo.scr", ""));
    EXPECT_TRUE(IsSystemPicFile("\\Ovrinmuralo.scr", "other"));
    EXPECT_FALSE(IsSystemPicFile("C:\\Ovrinmuralo.scr\\a.exe", "Ovrinmuralo.scr"));
    EXPECT_FALSE(IsSystemPicFile("C:\\a/Ovrinmuralo.scr", ""));
    EXPECT_FALSE(IsSystemPicFile("C:\\a\\", "Ovrinmuralo.scr"));
}

TEST(IsSystemPicFile, AnotherCaseIsNotTheScreenSaver) {
    EXPECT_FALSE(IsSystemPicFile("C:\\a\\ovrinmuralo.scr", ""));
    EXPECT_FALSE(IsSystemPicFile("C:\\a\\OVRINMURALO.SCR", ""));
    EXPECT_FALSE(IsSystemPicFile("C:\\a\\Ovrinmuralo.SCR", ""));
}

TEST(IsSystemPicFile, NothingMayStandAroundTheName) {
    EXPECT_FALSE(IsSystemPicFile("C:\\a\\xOvrinmuralo.scr", ""));
    EXPECT_FALSE(IsSystemPicFile("C:\\a\\Ovrinmuralo.scr.exe", ""));
    EXPECT_FALSE(IsSystemPicFile("C:\\a\\Ovrinmuralo.scr ", ""));
}

TEST(IsSystemPicFile, WithoutABackslashTheLongFormIsTaken) {
    EXPECT_TRUE(IsSystemPicFile("OVRINM~1.SCR", "Ovrinmuralo.scr"));
    EXPECT_FALSE(IsSystemPicFile("Ovrinmuralo.scr", ""));
    EXPECT_FALSE(IsSystemPicFile("", ""));
}

}  // namespace
