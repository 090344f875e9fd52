#include "open/system_pic_start.h"

#include <gtest/gtest.h>

#include "tests/support/log_capture.h"
#include "tests/support/stand_in_process.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr std::uint32_t kYes = 41;
constexpr std::uint32_t kNo = 40;

std::uint32_t RunAs(const wchar_t* folderName, const wchar_t* fileName, const std::wstring& arguments = L"") {
    const CTempFolder folder;
    const std::filesystem::path program = folder.Path() / folderName / fileName;
    std::filesystem::create_directories(program.parent_path());
    std::filesystem::copy_file(ProgramFolder() / L"system_pic_role.exe", program);
    return RunToEnd(program, arguments);
}

TEST(IsSystemPicStart, TheScreenSaversFileIsOne) {
    EXPECT_EQ(RunAs(L"", L"Ovrinmuralo.scr"), kYes);
}

TEST(IsSystemPicStart, AnotherCaseIsNone) {
    EXPECT_EQ(RunAs(L"", L"ovrinmuralo.scr"), kNo);
    EXPECT_EQ(RunAs(L"", L"Ovrinmuralo.SCR"), kNo);
}

TEST(IsSystemPicStart, AnotherNameIsNone) {
    EXPECT_EQ(RunAs(L"", L"Ovrinmuralo.exe"), kNo);
}

TEST(IsSystemPicStart, OnlyTheOwnFileCounts) {
    EXPECT_EQ(RunAs(L"Ovrinmuralo.scr", L"other.exe", L"Ovrinmuralo.scr"), kNo);
}

TEST(IsSystemPicStart, TheOwnPathIsLogged) {
    const LogCapture log;
    EXPECT_FALSE(WXMINI_PROGRAM_COMMON::IsSystemPicStart());
    const std::string line = log.Find("IsSystemPicStart szFileFullPath = ");
    EXPECT_EQ(line.find("[WXMINI_PROGRAM_COMMON::IsSystemPicStart("), 0u) << log.All();
    EXPECT_NE(line.find("open_win_test.exe "), std::string::npos) << log.All();
}

}  // namespace
