// The status operations on this machine, with a registry of their own.
#include <cstdlib>
#include <ctime>
#include <thread>

#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "open/probes/install_probes.h"
#include "open/request/mini_program_service.h"
#include "open/request/status_store.h"
#include "open/yyb/yyb_api.h"
#include "tests/support/log_capture.h"
#include "tests/support/login_mark.h"
#include "tests/support/opened_envelope.h"
#include "tests/support/private_registry.h"
#include "tests/support/stand_in_process.h"
#include "tests/support/stand_in_yyb.h"
#include "tests/support/temp_folder.h"

namespace {

using YYB_API_CLIENT::CYybApi;

#define NXL_UNINSTALL L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
const wchar_t kStatusKey[] = L"SOFTWARE\\OvrinSe\\MiniWxProgram";
const wchar_t kQimeiKey[] = L"SOFTWARE\\qimei";

const char kNothing[] =
    R"({"mini_wx_inst":"0","mini_wx_login":"0","wx_inst":"0","wx_login":"0","yyb_inst":"0","yyb_login":"0"})";

void StoreText(HKEY root, const wchar_t* key, const wchar_t* name, const std::wstring& text) {
    EXPECT_EQ(
        RegSetKeyValueW(root, key, name, REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))),
        ERROR_SUCCESS);
}
void Install(const wchar_t* entry) {
    StoreText(HKEY_LOCAL_MACHINE, entry, L"UninstallString", L"C:\\none\\uninstall.exe");
}

std::string Status() {
    WxMiniProgramService service;
    std::string result = "untouched";
    service.GetWxAppStatus(result);
    return result;
}
std::string StatusOf(const char* key) {
    Json::Value root;
    const std::string status = Status();
    EXPECT_TRUE(ParseJson(status, root)) << status;
    return JsonToText(root[key]);
}

void ExpectStored(const wchar_t* name, std::uint32_t number) {
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, kStatusKey, name), number) << Utf16ToUtf8(name);
}
void ExpectStoredTime(std::time_t start) {
    BYTE data[64] = {};
    DWORD size = sizeof data;
    DWORD type = 0;
    ASSERT_EQ(SHGetValueW(HKEY_CURRENT_USER, kStatusKey, L"zolt_tm", &type, data, &size), ERROR_SUCCESS);
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    const std::wstring text(reinterpret_cast<const wchar_t*>(data));
    EXPECT_EQ(size, (text.size() + 1) * sizeof(wchar_t));
    EXPECT_GE(std::stoll(text), start);
    EXPECT_LE(std::stoll(text), std::time(nullptr));
}

class StatusEdgeTest : public testing::Test {
  protected:
    CPrivateRegistry m_registry;
    CTempFolder m_folder;
    const std::time_t m_nStart = std::time(nullptr);
};

TEST_F(StatusEdgeTest, AMachineWithNothingIsAllZeroAndTheRegistrySaysSo) {
    EXPECT_EQ(Status(), kNothing);
    for (const wchar_t* name :
         {L"wx_install", L"wx_login", L"mini_install", L"mini_login", L"yyb_install", L"yyb_login"}) {
        ExpectStored(name, 0);
    }
    ExpectStoredTime(m_nStart);
}

TEST_F(StatusEdgeTest, EachInstalledProductHasItsOwnKey) {
    Install(NXL_UNINSTALL L"WeChatMiniProgram");
    EXPECT_EQ(StatusOf("mini_wx_inst"), "1");
    EXPECT_EQ(StatusOf("yyb_inst"), "0");
    Install(NXL_UNINSTALL L"Androws");
    EXPECT_EQ(StatusOf("yyb_inst"), "1");
    EXPECT_EQ(StatusOf("wx_inst"), "0");
    Install(NXL_UNINSTALL L"WeChat");
    EXPECT_EQ(StatusOf("wx_inst"), "1");
    ExpectStored(L"wx_install", 1);
    ExpectStored(L"mini_install", 1);
    ExpectStored(L"yyb_install", 1);
    ExpectStored(L"wx_login", 0);
}

TEST_F(StatusEdgeTest, ARunningClientWithoutALoginWindowIsLoggedIn) {
    Install(NXL_UNINSTALL L"WeChat");
    EXPECT_EQ(StatusOf("wx_login"), "0");
    const CStandInProcess client(m_folder.Path() / L"wechat.EXE");
    EXPECT_EQ(StatusOf("wx_login"), "1");
    ExpectStored(L"wx_login", 1);
}

TEST_F(StatusEdgeTest, ARunningClientWithItsLoginWindowIsNot) {
    Install(NXL_UNINSTALL L"WeChat");
    const CStandInProcess client(m_folder.Path() / L"WeChat.exe", L"--window WeChatLoginWndForPC login");
    EXPECT_EQ(StatusOf("wx_login"), "0");
}

TEST_F(StatusEdgeTest, AMainWindowIsALoginWhateverItsProcessIsCalled) {
    Install(NXL_UNINSTALL L"WeChat");
    const CStandInProcess client(m_folder.Path() / L"other.exe", L"--window WeChatMainWndForPC main");
    EXPECT_EQ(StatusOf("wx_login"), "1");
}

TEST_F(StatusEdgeTest, TheOtherClientIsLoggedInWithItsTrayWindowAlone) {
    Install(NXL_UNINSTALL L"Weixin");
    {
        const CStandInProcess client(m_folder.Path() / L"WeChat.exe", L"--window WeChatMainWndForPC main");
        EXPECT_EQ(StatusOf("wx_inst"), "1");
        EXPECT_EQ(StatusOf("wx_login"), "0");
    }
    const CStandInProcess client(m_folder.Path() / L"Weixin.exe", L"--window Qt51514TrayIconMessageWindowClass tray");
    EXPECT_EQ(StatusOf("wx_login"), "1");
}

TEST_F(StatusEdgeTest, AMissingClientIsNotLoggedInWhateverItsWindows) {
    const CStandInProcess client(m_folder.Path() / L"WeChat.exe", L"--window WeChatMainWndForPC main");
    EXPECT_EQ(Status(), kNothing);
}

TEST_F(StatusEdgeTest, TheRefreshWritesTheRegistryAndALine) {
    Install(NXL_UNINSTALL L"WeChat");
    const LogCapture log;
    WxMiniProgramService service;
    service.UpdatezoltStatus();
    const std::wstring time = ReadRegString(HKEY_CURRENT_USER, kStatusKey, L"zolt_tm", KEY_READ);
    EXPECT_TRUE(
        log.Has("UpdatezoltStatus wx_inst=1, wx_login=0, mini_wx_inst=0, mini_wx_login=0, yyb_inst=0, "
                "yyb_login=0, time=" +
                Utf16ToUtf8(time) + " "))
        << log.All();
    ExpectStored(L"wx_install", 1);
    ExpectStored(L"yyb_login", 0);
    ExpectStoredTime(m_nStart);
}

TEST_F(StatusEdgeTest, AStatusThatWasWrittenIsReplaced) {
    {
        WxMiniProgramService().UpdatezoltStatus();
        Install(NXL_UNINSTALL L"WeChat");
        WxMiniProgramService().UpdatezoltStatus();
    }
    ExpectStored(L"wx_install", 1);
    EXPECT_EQ(RegDeleteTreeW(HKEY_LOCAL_MACHINE, NXL_UNINSTALL L"WeChat"), ERROR_SUCCESS);
    WxMiniProgramService().UpdatezoltStatus();
    ExpectStored(L"wx_install", 0);
}

// Fails the call whose turn it is, and counts all of them.
int g_nCalls = 0;
int g_nFailingCall = 0;

LSTATUS WINAPI FailOneCall(HKEY root, LPCWSTR key, DWORD reserved, LPWSTR name, DWORD options, REGSAM access,
                           const LPSECURITY_ATTRIBUTES security, PHKEY opened, LPDWORD disposition) {
    return g_nCalls++ == g_nFailingCall
               ? ERROR_ACCESS_DENIED
               : RegCreateKeyExW(root, key, reserved, name, options, access, security, opened, disposition);
}

TEST_F(StatusEdgeTest, AValueThatCannotBeWrittenIsLeftOutAlone) {
    const wchar_t* const names[] = {L"wx_install",  L"wx_login",  L"mini_install", L"mini_login",
                                    L"yyb_install", L"yyb_login", L"zolt_tm"};
    for (int failing = 0; failing < 7; ++failing) {
        SCOPED_TRACE(failing);
        RegDeleteTreeW(HKEY_CURRENT_USER, kStatusKey);
        g_nCalls = 0;
        g_nFailingCall = failing;
        g_pfnCreateStatusKey = &FailOneCall;
        EXPECT_EQ(Status(), kNothing) << "the answer does not depend on it";
        g_pfnCreateStatusKey = &RegCreateKeyExW;
        EXPECT_EQ(g_nCalls, 7);
        for (int at = 0; at < 7; ++at) {
            EXPECT_EQ(RegGetValueW(HKEY_CURRENT_USER, kStatusKey, names[at], RRF_RT_ANY, nullptr, nullptr, nullptr),
                      at == failing ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS)
                << at;
        }
    }
}

TEST_F(StatusEdgeTest, AFreshLoginMarkOfTheMiniProgramApplicationIsALogin) {
    Install(NXL_UNINSTALL L"WeChatMiniProgram");
    EXPECT_EQ(StatusOf("mini_wx_login"), "0");
    ExpectStored(L"mini_login", 0);
    const CRegistryValue mark(HKEY_CURRENT_USER, kLoginMarkKey, kLoginMarkValue, 0, REG_BINARY, LoginMarkBytes(1, 60));
    EXPECT_EQ(StatusOf("mini_wx_login"), "1");
    ExpectStored(L"mini_login", 1);
    EXPECT_EQ(StatusOf("wx_login"), "0");
}

// The process-wide binding keeps its SDK and its pair: a process of its own for each.
void AskWithAStoredIdentity() {
    const CPrivateRegistry registry;
    const std::time_t start = std::time(nullptr);
    StoreText(HKEY_CURRENT_USER, kQimeiKey, L"qimei32", L"qone_32");
    StoreText(HKEY_CURRENT_USER, kQimeiKey, L"qimei36", L"中36");
    Install(NXL_UNINSTALL L"Androws");
    WxMiniProgramService service;
    std::string result = "untouched";
    service.GetWxAppStatusEncrypt(result);
    EXPECT_EQ(OpenedEnvelope(result),
              R"({"mini_wx_inst":"0","mini_wx_login":"0","qimei32":"qone_32","qimei36":"中36","wx_inst":"0",)"
              R"("wx_login":"0","yyb_inst":"1","yyb_login":"0"})");
    ExpectStored(L"yyb_install", 1);
    ExpectStoredTime(start);
    EXPECT_EQ(ReadRegString(HKEY_CURRENT_USER, kStatusKey, L"qimei32", KEY_READ), L"");
}

void AskARunningHost(const std::filesystem::path& folder) {
    const CPrivateRegistry registry;
    CStandInYyb sdk(folder / L"yybsdk");
    CYybApi::GetInstance().InitData(R"({"channel_id":"1"})", folder.wstring(), L"other");
    const CStandInProcess host(folder / L"Androws.exe");
    EXPECT_EQ(StatusOf("yyb_login"), "1");
    ExpectStored(L"yyb_login", 1);
    sdk.Set(L"login", L"0");
    EXPECT_EQ(StatusOf("yyb_login"), "0");
    WxMiniProgramService service;
    std::string result;
    service.GetWxAppStatusEncrypt(result);
    const std::string text = OpenedEnvelope(result);
    EXPECT_NE(text.find(R"("qimei32":"qone_32","qimei36":"qone_36")"), std::string::npos) << text;
    CYybApi::GetInstance().Uninit();
}

TEST(StatusEdgeDeathTest, TheLoginAndTheIdentityComeFromTheSdk) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / L"nxl_status_edge_test";
    std::filesystem::remove_all(folder);
    EXPECT_EXIT(
        {
            AskARunningHost(folder);
            std::exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
    std::filesystem::remove_all(folder);
}

void RefreshDuringAStart(const std::filesystem::path& folder) {
    const CPrivateRegistry registry;
    const std::time_t start = std::time(nullptr);
    CStandInYyb sdk(folder / L"yybsdk");
    CTestEvent gate;
    sdk.Set(L"initialize_hold", gate.Name());
    CYybApi& api = CYybApi::GetInstance();
    api.InitData(R"({"channel_id":"1"})", folder.wstring(), L"other");
    std::thread starter([&] { EXPECT_TRUE(api.InitYybApi()); });
    EXPECT_TRUE(sdk.WaitForCall("starting"));
    CTestEvent refreshed;
    std::thread refresher([&] {
        WxMiniProgramService service;
        service.UpdatezoltStatus();
        refreshed.Set();
    });
    EXPECT_TRUE(refreshed.Wait()) << "it waits for the start";
    EXPECT_FALSE(api.IsInit());
    ExpectStored(L"yyb_login", 0);
    ExpectStoredTime(start);
    gate.Set();
    starter.join();
    refresher.join();
    api.Uninit();
}

// A process of its own for each: the binding of a process keeps its SDK loaded to the end.
TEST(StatusEdgeDeathTest, ARefreshDoesNotWaitForAnSdkThatAnotherThreadIsStarting) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / L"nxl_status_refresh_test";
    std::filesystem::remove_all(folder);
    EXPECT_EXIT(
        {
            RefreshDuringAStart(folder);
            std::exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
    std::filesystem::remove_all(folder);
}

TEST(StatusEdgeDeathTest, AnIdentityThatIsStoredIsInTheEncryptedFormAlone) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            AskWithAStoredIdentity();
            std::exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
