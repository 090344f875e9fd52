// Opening an applet through the YYB SDK, with the real helper.
#include <filesystem>
#include <optional>

#include "foundation/text_helpers.h"
#include "tests/e2e/end_to_end.h"
#include "tests/support/stand_in_process.h"
#include "tests/support/stand_in_yyb.h"
#include "tests/support/unique_name.h"

namespace {

const char kOpen[] = R"({"type":"yyb","yybParam":"the param","appId":"app","taskId":"t","from":"e2e"})";
const char kOpenAndInstall[] = R"({"type":"yyb","yybParam":"the param","appId":"app","taskId":"t","from":"e2e",)"
                               R"("try_install":1,"AllowInstallYYB":1,"OvrinSafeExist":1})";
const char kPoll[] = R"({"type":"yyb","taskId":"t","from":"e2e"})";

class OpenApplet : public CEndToEnd {
  protected:
    void SetUp() override {
        CEndToEnd::SetUp();
        m_sdk.emplace(std::filesystem::path(m_sandbox.SdkPath()) / L"yybsdk");
    }
    static std::string WatchingPoll(const std::wstring& title) {
        return R"({"type":"yyb","taskId":"t","from":"e2e","mon_wndexists":1,"wndname":")" + Utf16ToUtf8(title) +
               R"("})";
    }
    // The SDK reports this for the next launch, when the gate is opened.
    void ReportBehindGate(const wchar_t* status) {
        m_sdk->Set(L"report", std::wstring(LR"({"status":")") + status + LR"(","pkgname":"app"})");
        m_sdk->Set(L"gate", m_gate.Name());
    }

    CTestEvent m_gate;
    std::optional<CStandInYyb> m_sdk;
};

TEST_F(OpenApplet, WholeExchangeSettledByTheSdksReport) {
    ReportBehindGate(L"CompleteLaunch");
    StartHelper();
    EXPECT_EQ(Open(kOpen), "1");
    EXPECT_EQ(m_sdk->Calls("LaunchApplet"), std::vector<std::string>{"LaunchApplet the param"});
    EXPECT_EQ(Poll(kPoll), "Loading") << "a last call ends no task that is not watched";
    EXPECT_EQ(Poll(kPoll), "Loading");
    m_gate.Set();
    EXPECT_EQ(PollUntilSettled(kPoll), "1");
    EXPECT_EQ(Poll(kPoll), "0") << "a settled answer is given once";
    EXPECT_TRUE(Log().Has("enter open yyb"));
    EXPECT_TRUE(Log().Has("----OnDownloadStatus----  CompleteLaunch"));

    AskToExit();
    EXPECT_EQ(m_helper.WaitForEnd(kLongMs), 0u);
    EXPECT_EQ(m_sdk->Calls("Uninitialize").size(), 1u) << "the SDK is let go at the end";
    const std::vector<std::string> started = m_sdk->Calls("Initialize");
    ASSERT_EQ(started.size(), 1u);
    EXPECT_TRUE(started[0].starts_with(R"(Initialize {"channel_id":7,"download_directory":"C:\\\\temp\\\\)"))
        << started[0];
    EXPECT_TRUE(started[0].ends_with(R"("product":"product","str_source_from":"from"})")) << started[0];
}

TEST_F(OpenApplet, FailedLaunchIsToldByItsWord) {
    ReportBehindGate(L"LaunchError");
    StartHelper();
    EXPECT_EQ(Open(kOpen), "1");
    m_gate.Set();
    EXPECT_EQ(PollUntilSettled(kPoll), "LaunchError");
    EXPECT_EQ(Poll(kPoll), "0");
}

TEST_F(OpenApplet, WindowEndsAWatchedOpen) {
    const std::wstring title = UniqueName(L"applet");
    StartHelper();
    EXPECT_EQ(Open(kOpen), "1");
    const CStandInProcess applet(std::filesystem::path(m_sandbox.SdkPath()) / L"applet.exe",
                                 L"--window nexlet_applet " + title);
    EXPECT_EQ(Poll(WatchingPoll(title)), "1");
    EXPECT_EQ(Poll(WatchingPoll(title)), "0");
}

TEST_F(OpenApplet, LastCallEndsAWatchedOpenWithoutItsWindow) {
    StartHelper();
    EXPECT_EQ(Open(kOpen), "1");
    EXPECT_EQ(Poll(WatchingPoll(UniqueName(L"no_window"))), "Loading");
    EXPECT_EQ(Poll(kPoll), "0");
}

TEST_F(OpenApplet, MissingYybWithoutPermissionIsUninstalled) {
    m_sdk->Set(L"present", L"0");
    StartHelper();
    EXPECT_EQ(Open(kOpen), "uninstalled");
    EXPECT_EQ(Open(R"({"type":"yyb","yybParam":"p","appId":"app","taskId":"t","from":"e2e",)"
                   R"("try_install":1,"AllowInstallYYB":1})"),
              "uninstalled")
        << "two of the three words do not permit it";
    EXPECT_TRUE(m_sdk->Calls("LaunchApplet").empty());
    EXPECT_EQ(Poll(kPoll), "0");
}

TEST_F(OpenApplet, MissingYybWithPermissionIsInstalledAndReported) {
    m_sdk->Set(L"present", L"0");
    ReportBehindGate(L"CompleteLaunch");
    StartHelper();
    EXPECT_EQ(Open(kOpenAndInstall), "install");
    EXPECT_EQ(m_sdk->Calls("LaunchApplet").size(), 1u);
    EXPECT_TRUE(Log().WaitFor("/stats/yybinst", kLongMs));
    EXPECT_TRUE(Log().WaitFor("/static/a/1663.9650.gif", kLongMs));
    EXPECT_EQ(Poll(kPoll), "Loading");
    m_gate.Set();
    EXPECT_EQ(PollUntilSettled(kPoll), "1");
}

TEST_F(OpenApplet, SdkOfAnotherSignerIsNotLoaded) {
    m_sdk->Replace(L"qimei.dll", "stranger");
    StartHelper();
    EXPECT_EQ(Open(kOpen), "InitYybApi error");
    EXPECT_TRUE(Log().Has("Yyb sdk is not ok"));
    EXPECT_TRUE(m_sdk->Calls().empty());
    // Put right, it is found by the next open.
    m_sdk->Replace(L"qimei.dll", "good");
    EXPECT_EQ(Open(kOpen), "1");
}

}  // namespace
