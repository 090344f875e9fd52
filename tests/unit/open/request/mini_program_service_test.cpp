// The requests against the machine's own routes: the real registry and the stand-in SDK.
#include "open/request/mini_program_service.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "open/wx_sdk/wx_api.h"
#include "tests/support/json_of.h"
#include "tests/support/private_registry.h"
#include "tests/support/stand_in_process.h"
#include "tests/unit/open/wx_sdk/stand_in_sdk.h"

namespace {

using MINI_API_CLIENT::CWxApi;

const char kMiniApp[] = R"({"from":"f","type":"miniApp","appId":"app","appPath":"a/b","taskId":"task"})";

std::string Open(const std::string& text) {
    WxMiniProgramService service;
    std::string result = "untouched";
    EXPECT_FALSE(service.OpenApp(JsonOf(text), result));
    return result;
}

std::string Poll(const std::string& text, bool bLastCall = true) {
    WxMiniProgramService service;
    std::string result = "untouched";
    return service.OpenMiniAppSuccessfully(JsonOf(text), result, bLastCall) ? result + " ended" : result;
}

TEST(MiniProgramService, RefusalsAreWords) {
    EXPECT_EQ(Open("null"), "ParseAppOpenInfo error");
    EXPECT_EQ(Open("{}"), "not from");
    EXPECT_EQ(Open(R"({"from":"f","type":"x"})"), "not type");
    EXPECT_EQ(Poll("null"), "ParseAppOpenInfo error");
    EXPECT_EQ(Poll("{}"), "not from");
    EXPECT_EQ(Poll(R"({"from":"f","type":"x"})"), "not type");
}

TEST(MiniProgramService, AMiniAppWithoutItsApplicationIsUninstalled) {
    const CPrivateRegistry registry;
    EXPECT_EQ(Open(kMiniApp), "uninstalled");
}

void OpenAndPollAMiniApp(const std::filesystem::path& folder) {
    const CPrivateRegistry registry;
    const CRegistryValue installed(HKEY_LOCAL_MACHINE,
                                   L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\WeChatMiniProgram",
                                   L"UninstallString", 0, REG_SZ, TextBytes(L"C:\\x\\u.exe"));
    CWxApi& api = CWxApi::GetInstance();
    api.InitData("", (folder / L"nowhere").wstring(), L"other");
    EXPECT_EQ(Open(kMiniApp), "InitWxApi error");

    CStandInSdk sdk("good", folder / L"wxsdk");
    CTestEvent gate;
    sdk.Set(L"gate", gate.Name());
    api.InitData("", folder.wstring(), L"other");
    EXPECT_EQ(Open(kMiniApp), "1");
    const std::string poll = R"({"from":"f","type":"miniApp","taskId":"task"})";
    EXPECT_EQ(Poll(poll), "Loading");
    gate.Set();
    EXPECT_TRUE(sdk.WaitForCall("answered id=1"));
    EXPECT_EQ(Poll(poll), "1 ended");
    EXPECT_EQ(Poll(poll), "0");
    EXPECT_EQ(Poll(R"({"from":"f","type":"miniApp"})"), "OpenProtocolTimeOut type miniApp lack param");
    api.Uninit();
    EXPECT_EQ(sdk.Calls(), (std::vector<std::string>{"init official", "open appId=app appPath=a/b id=1",
                                                     "answer id=1 status=0", "answered id=1", "uninit"}));
}

// In a process of its own: the process-wide binding keeps its library, and with it the folder, to the end.
TEST(MiniProgramServiceDeathTest, AMiniAppIsOpenedAndPolledToItsEnd) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / L"nxl_open_service_test";
    std::filesystem::remove_all(folder);
    EXPECT_EXIT(
        {
            OpenAndPollAMiniApp(folder);
            std::exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
    std::filesystem::remove_all(folder);
}

TEST(MiniProgramService, APageWithoutItsClientIsUninstalled) {
    const CPrivateRegistry registry;
    EXPECT_EQ(Open(R"({"from":"f","type":"weChat","urlScheme":"nxl-none://","wndname":"w","taskId":"k"})"),
              "uninstalled");
}

TEST(MiniProgramService, AnAppletWithoutAnSdkIsToldSo) {
    const CPrivateRegistry registry;
    EXPECT_EQ(Open(R"({"from":"f","type":"yyb","yybParam":"y","appId":"a","taskId":"k"})"), "InitYybApi error");
    EXPECT_EQ(Poll(R"({"from":"f","type":"yyb","taskId":"k"})"), "0");
}

TEST(MiniProgramService, APollOfAnUnknownTaskIsZero) {
    EXPECT_EQ(Poll(R"({"from":"f","type":"weChat","wndname":"w","taskId":"k"})"), "0");
    EXPECT_EQ(Poll(R"({"from":"f","type":"yyb","wndname":"w","taskId":"k","mon_wndexists":1})"), "0");
}

TEST(MiniProgramService, APollWithoutItsParametersIsToldSo) {
    EXPECT_EQ(Poll(R"({"from":"f","type":"weChat","wndname":"w"})"), "OpenProtocolTimeOut type weChat lack param");
    EXPECT_EQ(Poll(R"({"from":"f","type":"weChat","taskId":"k"})"), "OpenProtocolTimeOut type weChat lack param");
    EXPECT_EQ(Poll(R"({"from":"f","type":"yyb","wndname":"w"})"), "OpenProtocolTimeOut type yyb lack param");
}

}  // namespace
