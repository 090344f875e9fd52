#include "open/request/system_pic_start.h"

#include <fstream>

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

TEST(IsSystemPicStart, AnOpenIsRefusedInTheScreenSaverAlone) {
    EXPECT_EQ(RunAs(L"", L"Ovrinmuralo.scr", L"open"), kYes);
    EXPECT_EQ(RunAs(L"", L"other.exe", L"open"), kNo);
}

// Windows gives a process that was started by its short name that name for its path.
TEST(IsSystemPicStart, AShortPathIsJudgedByItsLongForm) {
    const CTempFolder folder;
    const std::filesystem::path saver = folder.Path() / L"Ovrinmuralo.scr";
    std::ofstream(saver) << "x";
    char shortPath[MAX_PATH] = {};
    ASSERT_NE(GetShortPathNameA(saver.string().c_str(), shortPath, MAX_PATH), 0u);
    ASSERT_EQ(std::string(shortPath).find("Ovrinmuralo"), std::string::npos) << "the volume keeps no short names";
    {
        const LogCapture log;
        EXPECT_TRUE(WXMINI_PROGRAM_COMMON::IsSystemPicStart(shortPath));
        EXPECT_NE(log.Find("IsSystemPicStart szFileFullPath = " + std::string(shortPath)), "") << log.All();
        const std::string line = log.Find("IsSystemPicStart strcpy = ");
        EXPECT_EQ(line.find("[WXMINI_PROGRAM_COMMON::IsSystemPicStart("), 0u) << log.All();
        EXPECT_TRUE(line.ends_with("\\Ovrinmuralo.scr ")) << log.All();
    }
    const LogCapture log;
    EXPECT_TRUE(WXMINI_PROGRAM_COMMON::IsSystemPicStart(saver.string().c_str()));
    EXPECT_EQ(log.Find("strcpy"), "") << log.All();
}

TEST(IsSystemPicStart, APathThatIsNotThereIsJudgedUnchanged) {
    EXPECT_TRUE(WXMINI_PROGRAM_COMMON::IsSystemPicStart("C:\\nowhere\\Ovrinmuralo.scr"));
    EXPECT_FALSE(WXMINI_PROGRAM_COMMON::IsSystemPicStart("C:\\nowhere\\OVRINM~1.SCR"));
    EXPECT_FALSE(WXMINI_PROGRAM_COMMON::IsSystemPicStart("Ovrinmuralo.scr"))
        << "without a backslash the long form counts";
}

TEST(IsSystemPicStart, TheLongestPathIsLoggedWholeAndALongerOneCut) {
    const LogCapture log;
    for (const std::size_t letters : {std::size_t{259}, std::size_t{400}}) {
        std::string path(letters, 'a');
        path.replace(0, 3, "C:\\");
        EXPECT_FALSE(WXMINI_PROGRAM_COMMON::IsSystemPicStart(path.c_str()));
        const std::string line = log.Lines().back();
        EXPECT_TRUE(line.ends_with("IsSystemPicStart szFileFullPath = " + path.substr(0, 259) + " ")) << line;
    }
}

TEST(IsSystemPicStart, TheOwnPathIsLogged) {
    const LogCapture log;
    EXPECT_FALSE(WXMINI_PROGRAM_COMMON::IsSystemPicStart());
    const std::string line = log.Find("IsSystemPicStart szFileFullPath = ");
    EXPECT_EQ(line.find("[WXMINI_PROGRAM_COMMON::IsSystemPicStart("), 0u) << log.All();
    EXPECT_NE(line.find("open_win_test.exe "), std::string::npos) << log.All();
}

}  // namespace
