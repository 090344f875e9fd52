#include "support/system/replace_file.h"

#include "foundation/windows_headers.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "foundation/handle.h"
#include "support/system/file_calls.h"
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

// The platform's file functions with a fault: each move fails with this error, `g_nFaults` times, and pauses are
// counted.
int g_nFaults = 0;
DWORD g_nError = 0;
int g_nMoves = 0;
DWORD g_nPausedMs = 0;

class CFileFaults {
  public:
    CFileFaults(int moves, DWORD error) {
        g_nFaults = moves;
        g_nError = error;
        g_nMoves = 0;
        g_nPausedMs = 0;
        m_calls = GetFileCalls();
        m_calls.MoveFileExW = [](LPCWSTR from, LPCWSTR to, DWORD flags) -> BOOL {
            ++g_nMoves;
            if (g_nMoves <= g_nFaults) {
                SetLastError(g_nError);
                return FALSE;
            }
            return ::MoveFileExW(from, to, flags);
        };
        m_calls.Sleep = [](DWORD milliseconds) { g_nPausedMs += milliseconds; };
        OverrideFileCalls(&m_calls);
    }
    ~CFileFaults() { OverrideFileCalls(nullptr); }
    CFileFaults(const CFileFaults&) = delete;
    CFileFaults& operator=(const CFileFaults&) = delete;

    // Whole writes become short ones that report success.
    void CutWrites() {
        m_calls.WriteFile = [](HANDLE file, LPCVOID bytes, DWORD size, LPDWORD written, LPOVERLAPPED overlapped) {
            return ::WriteFile(file, bytes, size - 1, written, overlapped);
        };
    }

  private:
    FileCalls m_calls{};
};

TEST_F(ReplaceFileTest, AFileThatIsHeldForAMomentIsReplacedAllTheSame) {
    for (const DWORD error : {DWORD{ERROR_ACCESS_DENIED}, DWORD{ERROR_SHARING_VIOLATION}}) {
        for (const int faults : {1, 10}) {
            std::ofstream(m_path) << "earlier";
            const CFileFaults held(faults, error);
            EXPECT_TRUE(Replace("new")) << error;
            EXPECT_EQ(g_nMoves, faults + 1);
            EXPECT_EQ(g_nPausedMs, 20u * static_cast<DWORD>(faults));
            EXPECT_EQ(Contents(), "new");
            EXPECT_FALSE(std::filesystem::exists(Temporary()));
        }
    }
}

TEST_F(ReplaceFileTest, AFileThatIsHeldLongerThan200MillisecondsIsAFailure) {
    std::ofstream(m_path) << "earlier";
    const CFileFaults held(1000, ERROR_SHARING_VIOLATION);
    EXPECT_FALSE(Replace("new"));
    EXPECT_EQ(g_nMoves, 11);
    EXPECT_EQ(g_nPausedMs, 200u);
    EXPECT_EQ(Contents(), "earlier");
    EXPECT_FALSE(std::filesystem::exists(Temporary()));
}

TEST_F(ReplaceFileTest, AnyOtherErrorIsAFailureAtOnce) {
    const CFileFaults broken(1, ERROR_DISK_FULL);
    EXPECT_FALSE(Replace("new"));
    EXPECT_EQ(g_nMoves, 1);
    EXPECT_EQ(g_nPausedMs, 0u);
}

TEST_F(ReplaceFileTest, RenamingTriesAgainToo) {
    std::ofstream(m_path) << "picture";
    const std::filesystem::path renamed = m_path.wstring() + L".jpg";
    std::ofstream(renamed) << "earlier";
    const CFileFaults held(3, ERROR_SHARING_VIOLATION);
    EXPECT_TRUE(MoveFileOver(m_path.wstring(), renamed.wstring()));
    EXPECT_EQ(g_nMoves, 4);
    EXPECT_FALSE(std::filesystem::exists(m_path));
    m_path = renamed;
    EXPECT_EQ(Contents(), "picture");
}

TEST_F(ReplaceFileTest, AFileThatIsReallyHeldIsReplacedWhenItIsFree) {
    std::ofstream(m_path) << "earlier";
    // Held without the right to delete until the second pause.
    static CFileHandle held;
    held.reset(CreateFileW(m_path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(held);
    FileCalls calls = GetFileCalls();
    g_nPausedMs = 0;
    calls.Sleep = [](DWORD milliseconds) {
        g_nPausedMs += milliseconds;
        if (g_nPausedMs == 2 * milliseconds) {
            held.reset();
        }
    };
    OverrideFileCalls(&calls);
    EXPECT_TRUE(Replace("new"));
    OverrideFileCalls(nullptr);
    EXPECT_EQ(g_nPausedMs, 40u);
    EXPECT_EQ(Contents(), "new");
}

TEST_F(ReplaceFileTest, AShortWriteIsAFailureThatLeavesTheTemporaryFileAndWhatWasThere) {
    std::ofstream(m_path) << "earlier";
    CFileFaults faults(0, 0);
    faults.CutWrites();
    EXPECT_FALSE(Replace("new"));
    EXPECT_EQ(g_nMoves, 0);
    EXPECT_EQ(Contents(), "earlier");
    m_path = Temporary();
    EXPECT_EQ(Contents(), "ne");
}

TEST_F(ReplaceFileTest, ADeviceIsNeverOpened) {
    CFileFaults faults(0, 0);
    for (const wchar_t* name : {L"NUL", L"COM1.png", L"aux"}) {
        m_path = m_folder.Path() / name;
        EXPECT_FALSE(Replace("new"));
        EXPECT_EQ(SaveBody("new", 3, m_path.c_str()), SavedBody::Failed);
    }
    EXPECT_EQ(g_nMoves, 0);
    EXPECT_TRUE(std::filesystem::is_empty(m_folder.Path()));
}

TEST_F(ReplaceFileTest, RemovingTakesReadOnlyFilesAndLeavesFolders) {
    std::ofstream(m_path) << "earlier";
    RemoveFile(m_path.wstring());
    EXPECT_FALSE(std::filesystem::exists(m_path));
    RemoveFile(m_path.wstring());  // nothing there
    std::ofstream(m_path) << "earlier";
    ASSERT_TRUE(SetFileAttributesW(m_path.c_str(), FILE_ATTRIBUTE_READONLY));
    RemoveFile(m_path.wstring());
    EXPECT_FALSE(std::filesystem::exists(m_path));
    std::filesystem::create_directory(m_path);
    RemoveFile(m_path.wstring());
    EXPECT_TRUE(std::filesystem::is_directory(m_path));
}

}  // namespace
