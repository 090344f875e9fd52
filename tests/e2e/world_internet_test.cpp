// The servers that nexlet-world brings up, and its client of a URL scheme, as the real helper meets them; and that the
// user's proxy is afterwards what it was, however a world came to its end.
#include "tests/e2e/world_fixture.h"
#include "tests/support/private_registry.h"

#include "foundation/json_text.h"
#include "support/http/http_transfer.h"

namespace {

constexpr wchar_t kSettings[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
constexpr char kInternet[] = R"(keep user SOFTWARE\Ovrin
keep user SOFTWARE\OvrinSe
keep user SOFTWARE\qimei
keep user "SOFTWARE\Microsoft\Windows\CurrentVersion\Internet Settings"
internet clients/internet.exe
# Wine fills its lists of certificates at the first question for one.
keep machine64 SOFTWARE\Microsoft\SystemCertificates
keep user SOFTWARE\Microsoft\SystemCertificates
file nexlet.exe app/bin/nexlet.exe
)";

// As the helper does it, certificate faults included; "status N" when the answer is another than 200.
std::string Fetch(const wchar_t* url) {
    COvHttpTransfer transfer;
    std::string body;
    transfer.SetRequest(
        url,
        [](std::uint32_t, const void* bytes, std::uint32_t size, void* context) -> std::uint32_t {
            static_cast<std::string*>(context)->append(static_cast<const char*>(bytes), size);
            return 0;
        },
        &body);
    const std::int32_t result = transfer.Execute();
    return result == 200 ? body : "status " + std::to_string(result);
}

class WorldInternet : public CWorldTest {
  protected:
    ConsoleRun Requests(const std::string& part, const std::string& timeMs = "30000") const {
        return Run({"requests", Utf8(m_directory), part, timeMs});
    }
    // The one request with part in it, which must come.
    Json::Value Request(const std::string& part) const {
        const ConsoleRun run = Requests(part);
        EXPECT_EQ(run.dwExitCode, 0u) << part << run.strErr;
        EXPECT_EQ(std::ranges::count(run.strOut, '\n'), 1) << run.strOut;
        return run.dwExitCode == 0 ? JsonOf(run.strOut) : Json::Value(Json::objectValue);
    }
    std::size_t JournalLines() const {
        const std::string text = ReadAll(m_directory / ".nexlet-world");
        return static_cast<std::size_t>(std::ranges::count(text, '\n'));
    }
};

TEST_F(WorldInternet, TheDailyFileAndABeaconByTlsAreAnsweredAndSeen) {
    // A proxy of the user's own has to come back.
    const CRegistryValue server(HKEY_CURRENT_USER, kSettings, L"ProxyServer", 0, REG_SZ, TextBytes(L"mine:8080"));
    const CRegistryValue script(HKEY_CURRENT_USER, kSettings, L"AutoConfigURL", 0, REG_SZ, TextBytes(L"http://mine/"));
    const std::string before = RegistryText();
    ASSERT_GT(before.size(), 10000u);
    const ConsoleRun up = Up(std::string(kInternet) + R"(installed WeChatMiniProgram
file world/broken/ocean.dll app/wxsdk/ocean.dll
answer info.nexlet.invalid /wxzolt/info.txt 200 after 50 text {"appShortcut":{"create":1}}
answer statistics.nexlet.invalid /static/a/* 204
)");
    ASSERT_EQ(up.dwExitCode, 0u) << up.strErr;
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, kSettings, L"ProxyEnable"), 1u);

    ASSERT_NO_FATAL_FAILURE(StartHelperOfTheWorld());
    ASSERT_TRUE(Log().WaitFor("appShortcut create [1]", kLongMs));
    const Json::Value info = Request("info.txt");
    EXPECT_EQ(info["url"].asString(), "http://info.nexlet.invalid/wxzolt/info.txt");
    EXPECT_EQ(info["method"].asString(), "GET");
    EXPECT_EQ(info["status"].asUInt(), 200u);

    // The SDK cannot be loaded, and says so to the statistics host.
    EXPECT_NE(Open(MiniAppOpen("t")), "1");
    const Json::Value beacon = Request("1663.4439.gif");
    EXPECT_EQ(beacon["url"].asString().rfind("https://statistics.nexlet.invalid/static/a/1663.4439.gif?_referer=", 0),
              0u)
        << beacon["url"].asString();
    EXPECT_TRUE(beacon["url"].asString().ends_with("&m=mid"));
    EXPECT_EQ(beacon["status"].asUInt(), 204u);

    // And the caller's own URLs, here of a target that was never opened.
    Json::Value follow = JsonOf(MiniAppPoll("t"));
    follow["interval"] = 0;
    follow["errorLog"].append("https://caller.invalid/not_opened?a=b");
    Json::Value content = ServiceContent(m_strService);
    content["p1"] = WriteJson(follow);
    ASSERT_EQ(m_caller->Send(Number(MessageType::S_MT_DelayCheckWndStatus), content, kLongMs), CallerResult::Ok);
    EXPECT_EQ(Request("not_opened")["url"].asString(), "https://caller.invalid/not_opened?a=b");
    EXPECT_EQ(Requests("no such thing", "0").dwExitCode, 4u);
    EXPECT_EQ(Run({"requests", Utf8(m_directory)}).dwExitCode, 0u);

    const ConsoleRun down = Down();
    EXPECT_EQ(down.dwExitCode, 0u) << down.strErr;
    ExpectNothingLeft(before);
    EXPECT_EQ(Requests("x", "0").dwExitCode, 3u) << "the world has ended";
}

TEST_F(WorldInternet, WhatNoAnswerFitsIsNotThere) {
    ASSERT_EQ(Up(std::string(kInternet) + "installed WeChatMiniProgram").dwExitCode, 0u);
    ASSERT_NO_FATAL_FAILURE(StartHelperOfTheWorld());
    EXPECT_TRUE(Log().WaitFor("HttpContextText error", kLongMs));
    EXPECT_EQ(Request("info.txt")["status"].asUInt(), 404u);
    // Answers are read again for each request.
    std::ofstream(m_directory / "answers.txt", std::ios::binary) << "answer * /picture 200 file app/bin/nexlet.exe\n";
    EXPECT_EQ(Fetch(L"http://pictures.invalid/picture"), ReadAll(OwnFolder() + L"\\nexlet.exe"));
    EXPECT_EQ(Fetch(L"https://pictures.invalid/picture"), ReadAll(OwnFolder() + L"\\nexlet.exe"));
    EXPECT_EQ(Down().dwExitCode, 0u);
}

TEST_F(WorldInternet, ASchemeOpensThePageOfItsClient) {
    const std::string before = RegistryText();
    ASSERT_GT(before.size(), 10000u);
    const std::string title = Utf16ToUtf8(UniqueName(L"小程序 page"));
    const ConsoleRun up =
        Up(std::string(kInternet) + "installed WeChat\nscheme nexlet-world-test \"clients/We Chat.exe\" " + title +
           "\nsetting clients/wechat.ini wechat delay_ms 100\n");
    ASSERT_EQ(up.dwExitCode, 0u) << up.strErr;
    ASSERT_NO_FATAL_FAILURE(StartHelperOfTheWorld());
    Json::Value open(Json::objectValue);
    open["type"] = "weChat";
    open["urlScheme"] = "nexlet-world-test://page?a=1";
    open["wndname"] = title;
    open["taskId"] = "t";
    open["from"] = "e2e";
    EXPECT_EQ(Open(WriteJson(open)), "1");
    // A poll takes the task off, so the window is waited for here.
    const ULONGLONG startedAt = GetTickCount64();
    while (FindWindowW(nullptr, Utf8ToUtf16(title).c_str()) == nullptr && GetTickCount64() - startedAt < kLongMs) {
        Sleep(10);
    }
    EXPECT_EQ(Poll(WriteJson(open)), "1");
    EXPECT_EQ(ReadAll(m_directory / "clients/wechat_calls.txt"),
              "open nexlet-world-test://page?a=1\nwindow " + title + "\n");
    EXPECT_EQ(Down().dwExitCode, 0u);
    ExpectNothingLeft(before);
}

TEST_F(WorldInternet, AKilledUpGoesDownToWhatWasThere) {
    const std::string before = RegistryText();
    ASSERT_GT(before.size(), 10000u);
    std::ofstream(m_root / "scenario", std::ios::binary)
        << kInternet << "process clients/one.exe\nscheme nexlet-world-test clients/WeChat.exe\ninstalled WeChat\n";
    // With the process of the internet, in the middle of the user's proxy, and after it.
    for (const std::size_t lines : {8u, 11u, 17u}) {
        CHelperProcess up;
        ASSERT_TRUE(up.Start(OwnFolder() + L"\\nexlet-world.exe",
                             L"up \"" + (m_root / "scenario").wstring() + L"\" \"" + m_directory.wstring() + L"\""));
        const ULONGLONG startedAt = GetTickCount64();
        while (JournalLines() < lines && up.IsRunning() && GetTickCount64() - startedAt < kLongMs) {
            Sleep(0);
        }
        up.Kill();
        ASSERT_GE(JournalLines(), lines);
        const ConsoleRun down = Down();
        EXPECT_EQ(down.dwExitCode, 0u) << down.strErr;
        ExpectNothingLeft(before);
    }
}

TEST_F(WorldInternet, AKilledDownIsFinishedByTheNext) {
    const std::string before = RegistryText();
    ASSERT_GT(before.size(), 10000u);
    for (const DWORD afterMs : {5u, 40u, 120u}) {
        ASSERT_EQ(
            Up(std::string(kInternet) + "installed WeChat\nscheme nexlet-world-test clients/WeChat.exe\n").dwExitCode,
            0u);
        // What the world keeps has something to be taken back from.
        const CRegistryValue stray(HKEY_CURRENT_USER, kSettings, L"stray", 0, REG_SZ, TextBytes(L"x"));
        CHelperProcess down;
        ASSERT_TRUE(down.Start(OwnFolder() + L"\\nexlet-world.exe", L"down \"" + m_directory.wstring() + L"\""));
        WaitForSingleObject(down.Handle(), afterMs);
        down.Kill();
        // It may have been quicker, and the world has ended.
        const ConsoleRun again = Down();
        EXPECT_TRUE(again.dwExitCode == 0 || (again.dwExitCode == 3 && !std::filesystem::exists(m_directory)))
            << again.strErr;
    }
    ExpectNothingLeft(before);
}

TEST_F(WorldInternet, ServersThatWereKilledLeaveNoProxy) {
    const std::string before = RegistryText();
    ASSERT_GT(before.size(), 10000u);
    ASSERT_EQ(Up(kInternet).dwExitCode, 0u);
    ASSERT_EQ(CountOf(L"internet.exe"), 1);
    const ConsoleRun kill = RunConsoleProgram(LR"(C:\windows\system32\taskkill.exe)", {"/f", "/im", "internet.exe"});
    EXPECT_EQ(kill.dwExitCode, 0u) << kill.strOut << kill.strErr;
    const ConsoleRun down = Down();
    EXPECT_EQ(down.dwExitCode, 0u) << down.strErr;
    ExpectNothingLeft(before);
}

}  // namespace
