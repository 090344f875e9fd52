// The open through the WeChat client against the real registry, shell, threads and windows.
#include "tests/support/http_test_server.h"

#include "open/wx_client/wx_client.h"

#include <algorithm>
#include <optional>

#include <shlobj.h>

#include <gtest/gtest.h>

#include "foundation/text_helpers.h"
#include "settings.h"
#include "tests/support/log_capture.h"
#include "tests/support/private_registry.h"
#include "tests/support/stand_in_process.h"
#include "tests/support/stand_in_wechat.h"
#include "tests/support/temp_folder.h"
#include "tests/support/unique_name.h"
#include "tests/unit/open/wx_sdk/stand_in_sdk.h"
#include "tests/unit/support/picture/picture_files.h"

namespace {

const wchar_t kSettingsKey[] = L"Software\\Ovrin\\zolt";
const std::wstring kCodeBeacon = L"https://" NEXLET_STATISTICS_HOST L"/static/a/1663.8991.gif?_referer=";

class WxClient : public testing::Test {
  protected:
    WxClient() {
        TakeBeacons();
        m_info.urlScheme = "nexlet-nobody://x";
        m_info.wndname = Utf16ToUtf8(UniqueName(L"小程序"));
        m_info.taskId = Utf16ToUtf8(UniqueName(L"task"));
    }

    void Install() {
        m_installed.emplace(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Weixin",
                            L"UninstallString", 0, REG_SZ, TextBytes(L"C:\\x\\u.exe"));
    }
    std::string Open() {
        std::string result = "untouched";
        WX_CLIENT::OpenWithWeChat(m_info, result);
        return result;
    }
    // An open whose picture is not there; its caller's beacon has this name.
    void OpenWithShortcut(const std::string& name) {
        m_info.create = true;
        m_info.shortcutName = Utf16ToUtf8(UniqueName(L"shortcut"));
        m_info.imageUrl = Utf16ToUtf8(m_server.Url(L"/none"));
        m_info.errorDot = name;
        EXPECT_EQ(Open(), "0");
    }

    std::optional<CPrivateRegistry> m_registry{std::in_place};
    std::optional<CRegistryValue> m_installed;
    AppOpenInfo m_info;
    HttpTestServer m_server{[](const HttpTestRequest& request) {
        const pictures::Bytes picture = pictures::HalfTransparentPng();
        return request.strTarget == "/picture" ? HttpTestReply::Of(200, std::string(picture.begin(), picture.end()))
                                               : HttpTestReply::Of(404);
    }};
};

TEST_F(WxClient, WithoutTheClientTheAnswerIsUninstalled) {
    m_info.show = m_info.create = true;
    const LogCapture log;
    EXPECT_EQ(Open(), "uninstalled");
    EXPECT_EQ(log.All(), "");
}

TEST_F(WxClient, ASchemeWithoutAProgramIsZeroAndLeavesNoTask) {
    Install();
    EXPECT_EQ(Open(), "0");
    std::string result;
    EXPECT_FALSE(WX_CLIENT::OpenProtocolTimeOut(m_info.wndname, m_info.taskId, result, true));
    EXPECT_EQ(result, "0");
}

TEST_F(WxClient, AnOpenThatTheShellTakesIsATaskUntilItsWindowIsThere) {
    Install();
    // The shell opens a program as well as a URL.
    m_info.urlScheme = Utf16ToUtf8(ProgramFolder().wstring() + L"\\world\\stand_in.exe");
    ASSERT_EQ(Open(), "1");
    std::string result;
    EXPECT_FALSE(WX_CLIENT::OpenProtocolTimeOut(m_info.wndname, m_info.taskId, result, false));
    EXPECT_EQ(result, "Loading");
    const HWND window = CreateWindowExW(0, L"STATIC", Utf8ToUtf16(m_info.wndname).c_str(), 0, 0, 0, 0, 0, HWND_MESSAGE,
                                        nullptr, nullptr, nullptr);
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(WX_CLIENT::OpenProtocolTimeOut(m_info.wndname, m_info.taskId, result, false));
    EXPECT_EQ(result, "1");
    EXPECT_FALSE(WX_CLIENT::OpenProtocolTimeOut(m_info.wndname, m_info.taskId, result, false));
    EXPECT_EQ(result, "0");
    DestroyWindow(window);
}

// The first open of a process and the first steps of its shortcut's thread look up the same libraries at once.
TEST_F(WxClient, TheFirstOpenOfAProcessIsTakenWhileTheShortcutBegins) {
    // The processes that are started see the real registry.
    m_installed.reset();
    m_registry.reset();
    const CTempFolder folder;
    const CRegistryValue on(HKEY_CURRENT_USER, kSettingsKey, L"app_shortcut_create", 0, REG_DWORD, {1, 0, 0, 0});
    CStandInWeChat client(folder.Path() / L"wechat");
    const std::wstring arguments = Utf8ToUtf16(client.Url("page")) + L" " + m_server.Url(L"/none");
    constexpr int kProcesses = 15;
    for (int i = 0; i < kProcesses; ++i) {
        ASSERT_EQ(RunToEnd(ProgramFolder() / L"first_open_role.exe", arguments), 0u) << "process " << i;
    }
    EXPECT_TRUE(WaitUntil([&] { return client.Calls("open ").size() == kProcesses; }));
}

// Only four bytes that make the number 1 count, whatever their type says.
TEST_F(WxClient, TheShortcutSwitchIsFourBytesThatMakeOne) {
    Install();
    OpenWithShortcut("absent");
    const auto with = [&](const std::string& name, DWORD type, const std::vector<std::uint8_t>& data) {
        const CRegistryValue value(HKEY_CURRENT_USER, kSettingsKey, L"app_shortcut_create", 0, type, data);
        OpenWithShortcut(name);
    };
    with("zero", REG_DWORD, {0, 0, 0, 0});
    with("two", REG_DWORD, {2, 0, 0, 0});
    with("text", REG_SZ, TextBytes(L"1"));
    with("long", REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0});
    with("binary", REG_BINARY, {1, 0, 0, 0});
    with("one", REG_DWORD, {1, 0, 0, 0});

    std::vector<std::wstring> seen;
    EXPECT_TRUE(WaitUntil([&] {
        for (const auto& [url, flag] : TakeBeacons()) {
            seen.push_back(url);
        }
        return seen.size() >= 4;
    }));
    std::ranges::sort(seen);
    EXPECT_EQ(seen, (std::vector<std::wstring>{L"binary", kCodeBeacon + L"2", kCodeBeacon + L"2", L"one"}));
}

TEST_F(WxClient, TheCodeGoesOutWithoutAQueryOfItsOwn) {
    m_info.shortcutName = Utf16ToUtf8(UniqueName(L"shortcut"));
    m_info.imageUrl = Utf16ToUtf8(m_server.Url(L"/none"));
    m_info.errorDot = "http://dots.invalid/error";
    EXPECT_EQ(WX_CLIENT::CreateAppShortcut(&m_info), 0xFFFFFFFFu);
    EXPECT_EQ(TakeBeacons(), (std::vector<Beacon>{{L"http://dots.invalid/error", false}, {kCodeBeacon + L"2", false}}));
}

TEST_F(WxClient, AShortcutIsWrittenWithItsPictureAndIconInTheCache) {
    const std::wstring name = UniqueName(L"shortcut");
    m_info.shortcutName = Utf16ToUtf8(name);
    m_info.imageUrl = Utf16ToUtf8(m_server.Url(L"/picture"));
    m_info.successDot = "http://dots.invalid/success";
    EXPECT_EQ(WX_CLIENT::CreateAppShortcut(&m_info), 0u);
    EXPECT_EQ(TakeBeacons(),
              (std::vector<Beacon>{{L"http://dots.invalid/success", false}, {kCodeBeacon + L"1", false}}));
    wchar_t desktop[MAX_PATH] = {};
    ASSERT_TRUE(SHGetSpecialFolderPathW(nullptr, desktop, CSIDL_DESKTOP, FALSE));
    const std::filesystem::path cache = std::filesystem::temp_directory_path() / L"NxlShortcutCache";
    std::error_code error;
    for (const std::filesystem::path& path :
         {std::filesystem::path(desktop) / (name + L".lnk"), cache / (name + L".png"), cache / (name + L".ico")}) {
        EXPECT_TRUE(std::filesystem::remove(path, error)) << path;
    }
    EXPECT_FALSE(std::filesystem::exists(cache / name)) << "it was renamed";
}

TEST_F(WxClient, TheThreadsWithoutInfoBreakOff) {
    const LogCapture log;
    EXPECT_EQ(WX_CLIENT::PopWxLoadingWnd(nullptr), 0xFFFFFFFFu);
    EXPECT_EQ(WX_CLIENT::CreateAppShortcut(nullptr), 0xFFFFFFFFu);
    EXPECT_TRUE(TakeBeacons().empty());
    EXPECT_EQ(log.Find("PopWxLoadingWnd begin").find("[WX_CLIENT::PopWxLoadingWnd("), 0u) << log.All();
    EXPECT_EQ(log.Lines().size(), 2u) << log.All();
}

TEST_F(WxClient, AWindowThatIsNotWantedIsNotMade) {
    const LogCapture log;
    EXPECT_EQ(WX_CLIENT::PopWxLoadingWnd(&m_info), 0u);
    EXPECT_EQ(log.Lines().size(), 1u) << log.All();
}

TEST_F(WxClient, TheWindowGetsWhatTheRequestSays) {
    m_info.show = true;
    m_info.name = "应用";
    m_info.timeOut = 1;
    const LogCapture log;
    EXPECT_EQ(WX_CLIENT::PopWxLoadingWnd(&m_info), 0u);
    EXPECT_TRUE(log.Has("SetAppText strAppText :[应用]")) << log.All();
    EXPECT_TRUE(log.Has("SetAppWndName strAppWndName :[" + m_info.wndname + "]")) << log.All();
    EXPECT_TRUE(log.Has("SetTimeOut dwTimeOut :[1]")) << log.All();
}

}  // namespace
