// nexlet-world brings a world up around the real helper and takes it down: exports of the registry before and after
// are the same, and no file and no process stays.
#include <array>
#include <cstring>
#include <ctime>
#include <thread>

#include "tests/e2e/world_fixture.h"
#include "tests/support/private_registry.h"
#include "tests/support/stand_in_process.h"

namespace {

namespace fs = std::filesystem;

constexpr char kScenario[] = R"(# The mini-program application, a WeChat that is logged in, and an open that ends well.
keep user SOFTWARE\OvrinSe
keep user SOFTWARE\qimei
# Whatever talks HTTP in the helper's process leaves its settings there.
keep user "SOFTWARE\Microsoft\Windows\CurrentVersion\Internet Settings"
installed WeChatMiniProgram
installed WeChat
value machine32 SOFTWARE\NexletWorldTest\Below "a name" text in {dir}
value user SOFTWARE\NexletWorldTest "" number 7
file nexlet.exe app/bin/nexlet.exe
file world/good/ocean.dll app/wxsdk/ocean.dll
setting app/wxsdk/ocean.ini ocean delay_ms 30
process clients/WeChat.exe --window Chat "a title"
monitor clients/monitor.exe
)";

using World = CWorldTest;

TEST_F(World, UpStatusOpenAndDownLeaveNothing) {
    const std::string before = RegistryText();
    ASSERT_GT(before.size(), 10000u);
    const ConsoleRun up = Up(kScenario);
    ASSERT_EQ(up.dwExitCode, 0u) << up.strErr;
    EXPECT_TRUE(before != RegistryText());
    EXPECT_NE(FindWindowW(L"Chat", L"a title"), nullptr);
    EXPECT_NE(FindWindowW(L"QOvrinSafeMonClass", nullptr), nullptr);
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, L"SOFTWARE\\NexletWorldTest", L""), 7u);

    ASSERT_NO_FATAL_FAILURE(StartHelperOfTheWorld());
    const Json::Value status = StatusOfTheWorld();
    EXPECT_EQ(status["mini_wx_inst"].asString(), "1");
    EXPECT_EQ(status["wx_inst"].asString(), "1");
    EXPECT_EQ(status["wx_login"].asString(), "1");
    EXPECT_EQ(status["yyb_inst"].asString(), "0");
    EXPECT_EQ(Open(MiniAppOpen("t")), "1");
    EXPECT_EQ(PollUntilSettled(MiniAppPoll("t")), "1");
    EXPECT_TRUE(fs::exists(m_directory / "app/wxsdk/ocean_calls.txt"));

    // The helper still runs from the directory: it is ended with the rest.
    const ConsoleRun down = Down();
    EXPECT_EQ(down.dwExitCode, 0u) << down.strErr;
    EXPECT_FALSE(m_helper.IsRunning());
    ExpectNothingLeft(before);
}

// Without a process of the mini-program application only the mark shows its login.
constexpr char kLoginScenario[] = R"(keep user SOFTWARE\OvrinSe
keep user SOFTWARE\qimei
keep user "SOFTWARE\Microsoft\Windows\CurrentVersion\Internet Settings"
installed WeChatMiniProgram
file nexlet.exe app/bin/nexlet.exe
)";

TEST_F(World, LoginOfAScenarioIsFreshWhenItIsBroughtUp) {
    const std::string before = RegistryText();
    ASSERT_GT(before.size(), 10000u);
    const ConsoleRun up = Up(kLoginScenario + std::string("logged-in\n"));
    ASSERT_EQ(up.dwExitCode, 0u) << up.strErr;
    ASSERT_NO_FATAL_FAILURE(StartHelperOfTheWorld());
    EXPECT_EQ(StatusOfTheWorld()["mini_wx_login"].asString(), "1");
    const ConsoleRun down = Down();
    EXPECT_EQ(down.dwExitCode, 0u) << down.strErr;
    ExpectNothingLeft(before);
}

TEST_F(World, LoginMarkOfAFixedTimeIsNotALogin) {
    const std::string mark =
        R"(value user SOFTWARE\Classes\WdTsIndexStore.1 wxl_state bytes 01000000 0000000000000000)";
    const ConsoleRun up = Up(kLoginScenario + mark);
    ASSERT_EQ(up.dwExitCode, 0u) << up.strErr;
    ASSERT_NO_FATAL_FAILURE(StartHelperOfTheWorld());
    const Json::Value status = StatusOfTheWorld();
    EXPECT_EQ(status["mini_wx_inst"].asString(), "1");
    EXPECT_EQ(status["mini_wx_login"].asString(), "0");
}

TEST_F(World, NowIsTheTimeOfUp) {
    FILETIME first = {};
    FILETIME last = {};
    const std::int64_t firstSecond = std::time(nullptr);
    GetSystemTimeAsFileTime(&first);
    ASSERT_EQ(
        Up("value user SOFTWARE\\NexletWorldTest n number now\nvalue user SOFTWARE\\NexletWorldTest b bytes 05 now")
            .dwExitCode,
        0u);
    GetSystemTimeAsFileTime(&last);
    const std::int64_t lastSecond = std::time(nullptr);
    const auto second = ReadNumber(HKEY_CURRENT_USER, L"SOFTWARE\\NexletWorldTest", L"n");
    ASSERT_TRUE(second.has_value());
    EXPECT_LE(firstSecond, std::int64_t{*second});
    EXPECT_LE(std::int64_t{*second}, lastSecond);
    std::array<std::uint8_t, 20> bytes = {};
    DWORD size = sizeof bytes;
    ASSERT_EQ(RegGetValueW(HKEY_CURRENT_USER, L"SOFTWARE\\NexletWorldTest", L"b", RRF_RT_REG_BINARY, nullptr,
                           bytes.data(), &size),
              ERROR_SUCCESS);
    ASSERT_EQ(size, 9u);
    EXPECT_EQ(bytes[0], 5u);
    FILETIME time = {};
    std::memcpy(&time, bytes.data() + 1, sizeof time);
    EXPECT_LE(CompareFileTime(&first, &time), 0);
    EXPECT_LE(CompareFileTime(&time, &last), 0);
}

TEST_F(World, ValuesThatStoodThereComeBack) {
    const CRegistryValue own(HKEY_CURRENT_USER, L"SOFTWARE\\NexletWorldTest", L"Own", 0, REG_SZ, TextBytes(L"mine"));
    const CRegistryValue below(HKEY_CURRENT_USER, L"SOFTWARE\\NexletWorldTest\\Below", L"b", 0, REG_MULTI_SZ,
                               TextBytes(L"x"));
    const std::string before = RegistryText();
    ASSERT_GT(before.size(), 10000u);
    ASSERT_EQ(Up(R"(value user SOFTWARE\NexletWorldTest own number 1
value user SOFTWARE\NexletWorldTest own number 2
value user SOFTWARE\NexletWorldTest\Below\Deep x text y
keep user SOFTWARE\NexletWorldTest
keep machine64 SOFTWARE\NexletWorldTest\None)")
                  .dwExitCode,
              0u);
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, L"SOFTWARE\\NexletWorldTest", L"Own"), 2u);
    // Another program writes where the world keeps watch.
    RegDeleteTreeW(HKEY_CURRENT_USER, L"SOFTWARE\\NexletWorldTest\\Below");
    const CRegistryValue stray(HKEY_LOCAL_MACHINE, L"SOFTWARE\\NexletWorldTest\\None\\Deep", L"x", KEY_WOW64_64KEY,
                               REG_SZ, TextBytes(L"x"));
    const ConsoleRun down = Down();
    EXPECT_EQ(down.dwExitCode, 0u) << down.strErr;
    ExpectNothingLeft(before);
}

TEST_F(World, KeptKeyThatIsUnchangedIsNotWritten) {
    const CRegistryValue own(HKEY_CURRENT_USER, L"SOFTWARE\\NexletWorldTest\\Below", L"Own", 0, REG_SZ,
                             TextBytes(L"mine"));
    const auto written = [] {
        HKEY key = nullptr;
        EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"SOFTWARE\\NexletWorldTest\\Below", 0, KEY_READ, &key),
                  ERROR_SUCCESS);
        const CRegistryKey owner(key);
        FILETIME time = {};
        EXPECT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                   nullptr, &time),
                  ERROR_SUCCESS);
        return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
    };
    const std::uint64_t before = written();
    ASSERT_NE(before, 0u);
    ASSERT_EQ(Up("keep user SOFTWARE\\NexletWorldTest").dwExitCode, 0u);
    const ConsoleRun down = Down();
    EXPECT_EQ(down.dwExitCode, 0u) << down.strErr;
    EXPECT_EQ(written(), before);
}

TEST_F(World, SecondUpTakesTheFirstWorldDown) {
    const std::string before = RegistryText();
    ASSERT_GT(before.size(), 10000u);
    ASSERT_EQ(Up("installed Androws\nprocess one.exe").dwExitCode, 0u);
    const ConsoleRun again = Up("installed WeChat\nprocess two.exe");
    EXPECT_EQ(again.dwExitCode, 0u) << again.strErr;
    EXPECT_EQ(CountOf(L"one.exe"), 0);
    EXPECT_EQ(CountOf(L"two.exe"), 1);
    EXPECT_EQ(Down().dwExitCode, 0u);
    EXPECT_EQ(CountOf(L"two.exe"), 0);
    ExpectNothingLeft(before);
}

TEST_F(World, WorldThatACrashLeftHalfWayGoesDownFromItsJournal) {
    const std::string before = RegistryText();
    ASSERT_GT(before.size(), 10000u);
    ASSERT_EQ(Up(kScenario).dwExitCode, 0u);
    // The crash: a process is gone, and the journal's last line is cut.
    const HWND window = FindWindowW(L"Chat", nullptr);
    DWORD id = 0;
    GetWindowThreadProcessId(window, &id);
    {
        CHelperProcess client;
        ASSERT_TRUE(client.Attach(id));
        client.Kill();
    }
    std::ofstream(m_directory / ".nexlet-world", std::ios::binary | std::ios::app) << R"({"kind":"value","pl)";
    const ConsoleRun down = Down();
    EXPECT_EQ(down.dwExitCode, 0u) << down.strErr;
    ExpectNothingLeft(before);
}

TEST_F(World, DownNamesAFileThatIsHeldAndTheNextDownRemovesIt) {
    const std::string before = RegistryText();
    ASSERT_GT(before.size(), 10000u);
    ASSERT_EQ(Up("installed WeChat\nfile nexlet.exe a/held.exe\nfile nexlet.exe b/free.exe").dwExitCode, 0u);
    {
        const CFileHandle held(CreateFileW((m_directory / "a/held.exe").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                           OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(held.valid());
        const ConsoleRun down = Down();
        EXPECT_EQ(down.dwExitCode, 3u);
        EXPECT_NE(down.strErr.find("held.exe is held by another program (system error 32)"), std::string::npos)
            << down.strErr;
        EXPECT_FALSE(fs::exists(m_directory / "b")) << "only what is held stays";
        EXPECT_TRUE(fs::exists(m_directory / ".nexlet-world"));
    }
    EXPECT_EQ(Down().dwExitCode, 0u);
    ExpectNothingLeft(before);
}

TEST_F(World, DownWaitsForAFileThatIsHeldForAMoment) {
    const std::string before = RegistryText();
    ASSERT_GT(before.size(), 10000u);
    ASSERT_EQ(Up("file nexlet.exe a/held.exe\nfile nexlet.exe b/free.exe").dwExitCode, 0u);
    SetFileAttributesW((m_directory / "b/free.exe").c_str(), FILE_ATTRIBUTE_READONLY);
    CFileHandle held(CreateFileW((m_directory / "a/held.exe").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                 OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(held.valid());
    ConsoleRun down;
    std::thread taker([&] { down = Down(); });
    // "down" continues with the rest and returns to what is held.
    while (fs::exists(m_directory / "b")) {
        Sleep(10);
    }
    held.reset();
    taker.join();
    EXPECT_EQ(down.dwExitCode, 0u) << down.strErr;
    ExpectNothingLeft(before);
}

TEST_F(World, UpThatFailsHalfWayTakesBackWhatItDid) {
    const std::string before = RegistryText();
    ASSERT_GT(before.size(), 10000u);
    const ConsoleRun up = Up("installed WeChat\nprocess a.exe\nfile nexlet.exe b.exe\nfile nexlet.exe b.exe");
    EXPECT_EQ(up.dwExitCode, 2u);
    EXPECT_NE(up.strErr.find("line 4: "), std::string::npos) << up.strErr;
    EXPECT_EQ(CountOf(L"a.exe"), 0);
    ExpectNothingLeft(before);
}

TEST_F(World, DirectoryWithSomethingInItIsLeftAlone) {
    fs::create_directories(m_directory);
    std::ofstream(m_directory / "mine") << "x";
    EXPECT_EQ(Up("installed WeChat").dwExitCode, 2u);
    EXPECT_EQ(Down().dwExitCode, 3u);
    EXPECT_EQ(ReadAll(m_directory / "mine"), "x");
}

TEST_F(World, EmptyDirectoryThatWasThereStays) {
    fs::create_directories(m_directory);
    ASSERT_EQ(Up("file nexlet.exe a/b/c.exe").dwExitCode, 0u);
    EXPECT_TRUE(fs::exists(m_directory / "a/b/c.exe"));
    EXPECT_EQ(Down().dwExitCode, 0u);
    EXPECT_TRUE(fs::is_empty(m_directory));
}

TEST_F(World, UnusableScenarioChangesNothingAndNamesTheLine) {
    const ConsoleRun wrong = Up("installed WeChat\n\nbuild x");
    EXPECT_EQ(wrong.dwExitCode, 1u);
    EXPECT_NE(wrong.strErr.find("line 3: nothing is called \"build\""), std::string::npos) << wrong.strErr;
    EXPECT_FALSE(fs::exists(m_directory));
    const ConsoleRun missing = Up("file world/none.dll x");
    EXPECT_EQ(missing.dwExitCode, 1u);
    EXPECT_NE(missing.strErr.find("none.dll is not there"), std::string::npos) << missing.strErr;

    EXPECT_EQ(Run({"check", Utf8(m_root / "scenario")}).dwExitCode, 1u);
    std::ofstream(m_root / "scenario", std::ios::binary) << kScenario;
    EXPECT_EQ(Run({"check", Utf8(m_root / "scenario")}).dwExitCode, 0u);
    EXPECT_EQ(Run({"check", Utf8(m_root / "no file")}).dwExitCode, 1u);
    EXPECT_EQ(Run({}).dwExitCode, 1u);
    EXPECT_EQ(Down().dwExitCode, 3u);
    const ConsoleRun help = Run({"--help"});
    EXPECT_EQ(help.dwExitCode, 0u);
    EXPECT_EQ(help.strOut.rfind("usage: nexlet-world up", 0), 0u);
}

}  // namespace
