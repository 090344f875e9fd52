// Where the libraries that are loaded late come from.
#include <gtest/gtest.h>

#include <filesystem>

#include "support/loading/loading_layout.h"
#include "support/picture/gdiplus_objects.h"
#include "support/picture/gdiplus_start.h"
#include "tests/support/stand_in_process.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr const wchar_t* kLateLibraries[] = {L"gdiplus.dll", L"ole32.dll",   L"shell32.dll",
                                             L"shlwapi.dll", L"version.dll", L"wininet.dll"};

TEST(LateLibraries, ComeFromTheSystemFolderPastFilesOfTheirNamesBesideTheProgram) {
    const CTempFolder folder;
    const std::filesystem::path role = folder.Path() / L"role.exe";
    std::filesystem::copy_file(ProgramFolder() / L"late_libraries_role.exe", role);
    for (const wchar_t* name : kLateLibraries) {
        std::filesystem::copy_file(ProgramFolder() / L"planted_library.dll", folder.Path() / name);
    }
    EXPECT_EQ(RunToEnd(role, L""), 0u);
}

// The first font of a process: the call that looks GdipCreateFont up hands its size on.
TEST(LateLibraries, TheFirstFontHasTheSizeThatIsAskedFor) {
    ASSERT_NE(StartGdiplus(), 0u);
    Gdiplus::GpFontFamily* rawFamily = nullptr;
    ASSERT_EQ(Late::GdipCreateFontFamilyFromName(kLoadingFontFamilies[0], nullptr, &rawFamily), Gdiplus::Ok);
    const CFontFamily family(rawFamily);
    Gdiplus::GpFont* rawFont = nullptr;
    ASSERT_EQ(Late::GdipCreateFont(rawFamily, 17.25F, Gdiplus::FontStyleRegular, Gdiplus::UnitPixel, &rawFont),
              Gdiplus::Ok);
    const CFont font(rawFont);
    Gdiplus::REAL size = 0;
    EXPECT_EQ(Gdiplus::DllExports::GdipGetFontSize(rawFont, &size), Gdiplus::Ok);
    EXPECT_EQ(size, 17.25F);
}

}  // namespace
