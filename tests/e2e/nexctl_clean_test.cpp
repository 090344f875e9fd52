// What helpers leave, listed and removed.
#include <filesystem>
#include <fstream>

#include <shlobj.h>
#include <shlwapi.h>

#include "foundation/path_helpers.h"
#include "support/picture/cos_op.h"
#include "tests/e2e/nexctl_fixture.h"

namespace {

constexpr wchar_t kSettings[] = L"Software\\Ovrin\\zolt";
constexpr wchar_t kRecord[] = L"SOFTWARE\\OvrinSe\\MiniWxProgram";

bool HasValue(const wchar_t* key, const wchar_t* value) {
    return RegGetValueW(HKEY_CURRENT_USER, key, value, RRF_RT_ANY, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

class NexctlClean : public Nexctl {
  protected:
    void SetUp() override {
        Nexctl::SetUp();
        wchar_t desktop[MAX_PATH] = {};
        SHGetSpecialFolderPathW(nullptr, desktop, CSIDL_DESKTOP, /*fCreate=*/TRUE);
        m_desktop = desktop;
        m_cache = TemporarySubfolder(L"NxlShortcutCache");
        // What the test has not made is not the test's to count.
        ASSERT_TRUE(SwitchHelperLogOn());
    }
    void TearDown() override {
        std::filesystem::remove(m_desktop / L"another.lnk");
        SHDeleteValueW(HKEY_CURRENT_USER, kSettings, L"of another program");
        Nexctl::TearDown();
        SwitchHelperLogOn();
    }
    // Everything that a helper leaves, made by real parts of it, and something of others beside each.
    void LeaveEverything() {
        m_caller = Serve(m_strService);
        StartHelper();
        Ask(MessageType::S_MT_GetWxAppStatus, Json::Value(Json::objectValue), MessageType::S_MT_StatusReply);
        std::filesystem::create_directories(m_cache);
        std::ofstream(m_cache / L"made.ico") << "icon";
        ASSERT_TRUE(CosOp::CreateDesktopShortcut(L"made", m_sandbox.Exe(), L"", (m_cache / L"made.ico").wstring()));
        ASSERT_TRUE(CosOp::CreateDesktopShortcut(L"another", m_sandbox.Exe(), L"", m_sandbox.Exe()));
        ASSERT_TRUE(std::filesystem::exists(m_desktop / L"made.lnk"));
        ASSERT_EQ(SHSetValueW(HKEY_CURRENT_USER, kSettings, L"of another program", REG_SZ, L"x", 4), ERROR_SUCCESS);
    }
    bool Names(const ConsoleRun& run, const std::string& kind, const std::string& end) {
        const Json::Value line = JsonLines(run.strOut).at(0);
        for (const Json::Value& one : line["found"]) {
            const std::string name =
                one["name"].asString() + (one.isMember("value") ? ": " + one["value"].asString() : "");
            if (one["kind"] == kind && name.ends_with(end)) {
                return true;
            }
        }
        return false;
    }

    std::filesystem::path m_desktop;
    std::filesystem::path m_cache;
};

TEST_F(NexctlClean, ListsEverythingAndRemovesNothingUnasked) {
    LeaveEverything();
    const ConsoleRun run = Run({"clean"});
    EXPECT_EQ(run.dwExitCode, 0u) << run.strErr;
    EXPECT_TRUE(Names(run, "registry", "zolt: debug_log")) << run.strErr;
    EXPECT_TRUE(Names(run, "registry", "MiniWxProgram: zolt_tm")) << run.strErr;
    EXPECT_TRUE(Names(run, "cache", "made.ico")) << run.strErr;
    EXPECT_TRUE(Names(run, "log", "Nexlet" + std::to_string(m_helper.Id()) + ".log")) << run.strErr;
    EXPECT_TRUE(Names(run, "shortcut", "made.lnk")) << run.strErr;
    EXPECT_FALSE(Names(run, "shortcut", "another.lnk"));
    EXPECT_FALSE(Names(run, "registry", "of another program"));
    EXPECT_NE(run.strErr.find("would remove shortcut"), std::string::npos) << run.strErr;
    EXPECT_NE(run.strErr.find("runs and may write some of this again"), std::string::npos) << run.strErr;
    EXPECT_TRUE(HasValue(kSettings, L"debug_log"));
    EXPECT_TRUE(std::filesystem::exists(m_cache / L"made.ico"));
    EXPECT_TRUE(std::filesystem::exists(m_desktop / L"made.lnk"));
}

TEST_F(NexctlClean, RemovesWhatHelpersLeaveAndNothingOfOthers) {
    LeaveEverything();
    const std::filesystem::path log = L"C:\\temp\\zolt\\Nexlet" + std::to_wstring(m_helper.Id()) + L".log";
    const ConsoleRun first = Run({"clean", "--yes"});
    EXPECT_EQ(first.dwExitCode, 0u) << first.strErr;
    EXPECT_NE(first.strErr.find("keeps, a process writes it: log " + Utf16ToUtf8(log.wstring())), std::string::npos)
        << first.strErr;
    EXPECT_TRUE(std::filesystem::exists(log)) << "its process runs";
    EXPECT_FALSE(HasValue(kSettings, L"debug_log"));
    EXPECT_TRUE(HasValue(kSettings, L"of another program"));
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, kRecord, 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(std::filesystem::exists(m_cache));
    EXPECT_FALSE(std::filesystem::exists(m_desktop / L"made.lnk"));
    EXPECT_TRUE(std::filesystem::exists(m_desktop / L"another.lnk"));
    m_caller.reset();
    m_helper.Kill();
    EXPECT_EQ(Run({"clean", "--yes"}).dwExitCode, 0u);
    EXPECT_FALSE(std::filesystem::exists(log));
    EXPECT_EQ(JsonLines(Run({"clean"}).strOut).at(0)["found"].size(), 0u) << "nothing is left";
}

TEST_F(NexctlClean, FileThatIsHeldIsToldAndEndsWithTwo) {
    std::filesystem::create_directories(m_cache);
    const std::filesystem::path held = m_cache / L"held.ico";
    {
        const CFileHandle file(
            CreateFileW(held.c_str(), GENERIC_WRITE, /*dwShareMode=*/0, nullptr, CREATE_ALWAYS, 0, nullptr));
        ASSERT_TRUE(file.valid());
        const ConsoleRun run = Run({"clean", "--yes"});
        EXPECT_EQ(run.dwExitCode, 2u) << run.strErr;
        EXPECT_NE(run.strErr.find("cannot remove cache " + Utf16ToUtf8(held.wstring()) + " (system error 32)"),
                  std::string::npos)
            << run.strErr;
    }
    EXPECT_EQ(Run({"clean", "--yes"}).dwExitCode, 0u);
}

}  // namespace
