#include "support/replace_file.h"

#include "foundation/windows_headers.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "foundation/handle.h"
#include "tests/support/temp_folder.h"

namespace {

class ReplaceFileTest : public testing::Test {
  protected:
    bool Replace(const std::string& text) {
        return ReplaceFileWithBytes(m_path.wstring(), text.data(), static_cast<std::uint32_t>(text.size()));
    }
    std::string Contents() const {
        std::ifstream file(m_path, std::ios::binary);
        return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    }
    std::filesystem::path Temporary() const { return m_path.wstring() + L".write_cache"; }

    CTempFolder m_folder;
    std::filesystem::path m_path = m_folder.Path() / L"文件.png";
};

TEST_F(ReplaceFileTest, PutsANewFileInPlaceAndLeavesNoTemporaryOne) {
    EXPECT_TRUE(Replace("new"));
    EXPECT_EQ(Contents(), "new");
    EXPECT_FALSE(std::filesystem::exists(Temporary()));
}

TEST_F(ReplaceFileTest, ReplacesWhatIsThere) {
    std::ofstream(m_path) << "a longer earlier file";
    EXPECT_TRUE(Replace("new"));
    EXPECT_EQ(Contents(), "new");
}

TEST_F(ReplaceFileTest, ReplacesAReadOnlyFileToo) {
    std::ofstream(m_path) << "earlier";
    ASSERT_TRUE(SetFileAttributesW(m_path.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_TRUE(Replace("new"));
    EXPECT_EQ(Contents(), "new");
    EXPECT_EQ(GetFileAttributesW(m_path.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
}

TEST_F(ReplaceFileTest, ATemporaryFileLeftByAnEarlierFailureIsOverwritten) {
    std::ofstream(Temporary()) << "left over from a longer download";
    EXPECT_TRUE(Replace("new"));
    EXPECT_EQ(Contents(), "new");
    EXPECT_FALSE(std::filesystem::exists(Temporary()));
}

TEST_F(ReplaceFileTest, AMissingFolderIsAFailure) {
    m_path = m_folder.Path() / L"missing" / L"file.png";
    EXPECT_FALSE(Replace("new"));
    EXPECT_FALSE(std::filesystem::exists(m_path.parent_path()));
}

TEST_F(ReplaceFileTest, AMoveThatFailsLeavesNoTemporaryFileAndWhatWasThere) {
    std::filesystem::create_directory(m_path);  // nothing can be renamed onto a folder
    EXPECT_FALSE(Replace("new"));
    EXPECT_TRUE(std::filesystem::is_directory(m_path));
    EXPECT_FALSE(std::filesystem::exists(Temporary()));
}

TEST_F(ReplaceFileTest, ATemporaryFileInUseIsAFailure) {
    const CFileHandle busy(
        CreateFileW(Temporary().c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(busy);
    EXPECT_FALSE(Replace("new"));
    EXPECT_FALSE(std::filesystem::exists(m_path));
}

}  // namespace
