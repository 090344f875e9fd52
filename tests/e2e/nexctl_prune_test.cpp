// Which logs "nexctl log prune" removes, and which it leaves alone.
#include <filesystem>
#include <fstream>

#include "tests/e2e/nexctl_fixture.h"
#include "tests/support/unique_name.h"

namespace {

// As the helper writes it: UTF-16, a time, a tab, the text.
void WriteLog(const std::filesystem::path& path, const std::wstring& mark, std::size_t bytes,
              const std::wstring& program) {
    std::wstring text =
        L"1:2:3:4\tstart\r\n1:2:3:5\t" + program + L"\r\n1:2:3:6\t[wWinMain(1)] zolt strCmd=/from:" + mark + L"\r\n";
    while (text.size() * 2 < bytes) {
        text += L"1:2:3:7\t[wWinMain(2)] more\r\n";
    }
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(text.data()), static_cast<std::streamsize>(text.size() * 2));
}

class NexctlPrune : public Nexctl {
  protected:
    void SetUp() override {
        Nexctl::SetUp();
        std::filesystem::create_directories(kFolder);
    }
    void TearDown() override {
        for (const std::filesystem::path& log : m_logs) {
            std::filesystem::remove(log);
            std::filesystem::remove(log.wstring() + L".html");
        }
        Nexctl::TearDown();
    }
    // A log of this test's mark; no process has such a number.
    std::filesystem::path Lay(std::size_t bytes) {
        const std::filesystem::path path =
            std::filesystem::path(kFolder) / (L"Nexlet" + std::to_wstring(++s_nNumber) + L".log");
        WriteLog(path, m_strMark, bytes, m_sandbox.Exe());
        m_logs.push_back(path);
        return path;
    }
    ConsoleRun Prune(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"log", "prune"});
        return Run(arguments);
    }

    static constexpr wchar_t kFolder[] = L"C:\\temp\\zolt";
    static inline unsigned s_nNumber = 3000000000u + GetCurrentProcessId() % 10000 * 100;
    std::vector<std::filesystem::path> m_logs;
};

TEST_F(NexctlPrune, RemovesLargeLogsOfTheMarkWithTheirPagesAndSaysWhich) {
    const std::filesystem::path large = Lay(20000);
    const std::filesystem::path small = Lay(100);
    ASSERT_EQ(RunPlain({"log", "page", "--file", Utf16ToUtf8(large.wstring())}).dwExitCode, 0u);
    ASSERT_TRUE(std::filesystem::exists(large.wstring() + L".html"));
    const ConsoleRun run = Prune({"--larger", "10KB"});
    EXPECT_EQ(run.dwExitCode, 0u) << run.strErr;
    const Json::Value line = JsonLines(run.strOut).at(0);
    ASSERT_EQ(line["removed"].size(), 1u) << line;
    EXPECT_EQ(line["removed"][0].asString(), Utf16ToUtf8(large.wstring()));
    EXPECT_GE(line["bytes"].asUInt64(), 20000u);
    EXPECT_NE(run.strErr.find("removed " + Utf16ToUtf8(large.wstring()) + ", of 20 KB"), std::string::npos)
        << run.strErr;
    EXPECT_FALSE(std::filesystem::exists(large));
    EXPECT_FALSE(std::filesystem::exists(large.wstring() + L".html"));
    EXPECT_TRUE(std::filesystem::exists(small));
}

TEST_F(NexctlPrune, RemovesLogsThatWereNotWrittenForLong) {
    const std::filesystem::path old = Lay(100);
    const std::filesystem::path fresh = Lay(100);
    std::filesystem::last_write_time(old, std::filesystem::file_time_type::clock::now() - std::chrono::hours(24 * 8));
    EXPECT_EQ(Prune({"--older", "9d"}).dwExitCode, 0u);
    EXPECT_TRUE(std::filesystem::exists(old));
    EXPECT_EQ(Prune({"--older", "7d"}).dwExitCode, 0u);
    EXPECT_FALSE(std::filesystem::exists(old));
    EXPECT_TRUE(std::filesystem::exists(fresh));
}

TEST_F(NexctlPrune, DryRunOnlySaysWhatItWouldRemove) {
    const std::filesystem::path log = Lay(20000);
    const ConsoleRun run = Prune({"--larger", "10KB", "--dry-run"});
    EXPECT_EQ(run.dwExitCode, 0u);
    EXPECT_EQ(JsonLines(run.strOut).at(0)["removed"].size(), 1u);
    EXPECT_NE(run.strErr.find("would remove "), std::string::npos) << run.strErr;
    EXPECT_TRUE(std::filesystem::exists(log));
}

TEST_F(NexctlPrune, LogOfARunningHelperIsKept) {
    m_caller = Serve(m_strService);
    StartHelper();
    const ConsoleRun run = Prune({"--larger", "1"});
    EXPECT_EQ(run.dwExitCode, 0u);
    EXPECT_EQ(JsonLines(run.strOut).at(0)["removed"].size(), 0u) << run.strOut;
    EXPECT_FALSE(Log().Lines().empty());
}

TEST_F(NexctlPrune, LogThatSomebodyHasOpenIsToldAndEndsWithTwo) {
    const std::filesystem::path log = Lay(20000);
    const CFileHandle open(CreateFileW(log.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(open.valid());
    const ConsoleRun run = Prune({"--larger", "10KB"});
    EXPECT_EQ(run.dwExitCode, 2u);
    EXPECT_EQ(JsonLines(run.strOut).at(0)["kept"].size(), 1u) << run.strOut;
    EXPECT_NE(run.strErr.find("cannot remove "), std::string::npos) << run.strErr;
}

TEST_F(NexctlPrune, WithoutALimitIsRefused) {
    EXPECT_EQ(Prune({}).dwExitCode, 1u);
    EXPECT_EQ(Prune({"--older", "soon"}).dwExitCode, 1u);
    EXPECT_EQ(Prune({"--larger", "much"}).dwExitCode, 1u);
}

}  // namespace
