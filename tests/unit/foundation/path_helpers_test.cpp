#include "foundation/path_helpers.h"

#include <string>

#include <gtest/gtest.h>

#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "tests/support/unique_name.h"

namespace {

// A folder of the test's own with a long name, and one more inside it.
class PathHelpers : public testing::Test {
  protected:
    PathHelpers() {
        wchar_t temp[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, temp);
        wchar_t whole[MAX_PATH] = {};
        GetLongPathNameW(temp, whole, MAX_PATH);
        m_strFolder = std::wstring(whole) + UniqueName(L"A long folder name");
        m_strInner = m_strFolder + L"\\Inner folder";
        CreateDirectoryW(m_strFolder.c_str(), nullptr);
        CreateDirectoryW(m_strInner.c_str(), nullptr);
    }
    ~PathHelpers() override {
        RemoveDirectoryW(m_strInner.c_str());
        RemoveDirectoryW(m_strFolder.c_str());
    }

    std::wstring m_strFolder;
    std::wstring m_strInner;
};

std::wstring ShortName(const std::wstring& path) {
    wchar_t name[MAX_PATH] = {};
    GetShortPathNameW(path.c_str(), name, MAX_PATH);
    return name;
}

TEST_F(PathHelpers, DotsAreResolved) {
    EXPECT_EQ(CanonicalizePath(L"C:\\nowhere\\.\\a\\..\\b"), L"C:\\nowhere\\b");
    EXPECT_EQ(CanonicalizePath(L"C:\\..\\..\\nowhere"), L"C:\\nowhere");
    EXPECT_EQ(CanonicalizePath(m_strInner + L"\\..\\.\\Inner folder"), m_strInner);
}

TEST_F(PathHelpers, TwoStepsUpIsTheFolderAboveTheFilesOwnAndARootStays) {
    for (const wchar_t* path :
         {L"C:\\x.exe", L"C:\\a\\x.exe", L"C:\\a\\b\\x.exe", L"C:\\a\\b\\c d\\x.exe", L"d:\\a.b\\c.d\\x",
          L"\\\\server\\share\\a\\x.exe", L"\\\\server\\share\\a\\b\\x.exe"}) {
        wchar_t expected[MAX_PATH] = {};
        std::wstring(path).copy(expected, MAX_PATH - 1);
        PathAppendW(expected, L"..\\..");
        EXPECT_EQ(TwoStepsUp(path), expected) << Utf16ToUtf8(path);
    }
    EXPECT_EQ(TwoStepsUp(L"C:\\app\\bin\\nexlet.exe"), L"C:\\app");
    EXPECT_EQ(TwoStepsUp(L""), L"");
}

TEST_F(PathHelpers, ShortNamesAreExpanded) {
    const std::wstring shortName = ShortName(m_strInner);
    ASSERT_NE(shortName, L"");
    ASSERT_NE(shortName, m_strInner) << "this volume makes no short names";
    EXPECT_EQ(CanonicalizePath(shortName), m_strInner);
}

TEST_F(PathHelpers, APathThatIsNotThereKeepsItsCanonicalForm) {
    EXPECT_EQ(CanonicalizePath(L"C:\\nowhere\\LONG~1\\x.exe"), L"C:\\nowhere\\LONG~1\\x.exe");
}

TEST_F(PathHelpers, AnEmptyPathIsTheRoot) {
    EXPECT_EQ(CanonicalizePath(L""), L"\\");
}

TEST_F(PathHelpers, APathTooLongForThePlatformIsNowhereAndHoldsNothing) {
    const std::wstring tooLong = L"C:\\" + std::wstring(5000, L'x');
    EXPECT_EQ(CanonicalizePath(tooLong), L"");
    EXPECT_EQ(IsPathUnderDirectory(tooLong, L"C:\\nowhere"), 0);
    EXPECT_EQ(IsPathUnderDirectory(L"C:\\", tooLong), 0);
    EXPECT_EQ(IsPathUnderDirectory(tooLong, tooLong), 0);
}

TEST_F(PathHelpers, APathIsInItsDirectoryByWholeComponents) {
    EXPECT_NE(IsPathUnderDirectory(m_strFolder, m_strInner), 0);
    EXPECT_NE(IsPathUnderDirectory(L"C:\\nowhere", L"C:\\nowhere\\x.exe"), 0);
    EXPECT_EQ(IsPathUnderDirectory(L"C:\\nowhere", L"C:\\nowhere else\\x.exe"), 0);
    EXPECT_EQ(IsPathUnderDirectory(L"C:\\nowhere\\x", L"C:\\nowhere"), 0);
    EXPECT_NE(IsPathUnderDirectory(L"C:\\nowhere", L"C:\\nowhere"), 0) << "the directory itself counts";
}

TEST_F(PathHelpers, CaseAndATrailingBackslashDoNotMatter) {
    EXPECT_NE(IsPathUnderDirectory(L"c:\\NOWHERE", L"C:\\nowhere\\x.exe"), 0);
    EXPECT_NE(IsPathUnderDirectory(L"C:\\nowhere\\", L"C:\\nowhere\\x.exe"), 0);
    EXPECT_NE(IsPathUnderDirectory(L"C:\\", L"C:\\nowhere\\x.exe"), 0);
}

TEST_F(PathHelpers, AClimbOutOfTheDirectoryIsSeen) {
    EXPECT_EQ(IsPathUnderDirectory(L"C:\\nowhere\\in", L"C:\\nowhere\\in\\..\\out\\x.exe"), 0);
    EXPECT_NE(IsPathUnderDirectory(L"C:\\nowhere\\in\\..", L"C:\\nowhere\\out\\x.exe"), 0);
}

TEST_F(PathHelpers, AShortNameIsInTheLongOne) {
    EXPECT_NE(IsPathUnderDirectory(m_strFolder, ShortName(m_strInner)), 0);
    EXPECT_NE(IsPathUnderDirectory(ShortName(m_strFolder), m_strInner), 0);
}

}  // namespace
