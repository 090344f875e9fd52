// The reports of an install that an open through the YYB SDK starts, as the servers see them.
#include "tests/e2e/proxied.h"

#include <algorithm>
#include <filesystem>
#include <optional>

#include "foundation/text_helpers.h"
#include "tests/support/stand_in_process.h"
#include "tests/support/stand_in_yyb.h"
#include "tests/support/system_version.h"
#include "tests/support/tls_test_server.h"
#include "tests/support/unique_name.h"

namespace {

const char kOpen[] = R"({"type":"yyb","yybParam":"the param","appId":"app","taskId":"t","from":"e2e"})";
const char kOpenAndInstall[] = R"({"type":"yyb","yybParam":"the param","appId":"app","taskId":"t","from":"e2e",)"
                               R"("try_install":1,"AllowInstallYYB":1,"OvrinSafeExist":1})";

class InstallReports : public CProxied {
  protected:
    void SetUp() override {
        CProxied::SetUp();
        m_sdk.emplace(std::filesystem::path(m_sandbox.SdkPath()) / L"yybsdk");
        m_sdk->Set(L"present", L"0");
        HelperStart start;
        start.strChannel = MakeChannelText(m_strMark, m_strMid, 7, "product", "from");
        StartHelper(start);
    }
    // What the statistics hosts got by TLS, in order.
    std::vector<std::string> Reports() const { return tls_test_server::Requests("m=" + m_strMid); }

    const std::string m_strMid = Utf16ToUtf8(UniqueName(L"mid"));
    std::optional<CStandInYyb> m_sdk;
};

class InstallReportsOfAnOldSystem : public InstallReports {
  protected:
    ScopedSystemVersion m_version{L"6.1"};
};

TEST_F(InstallReports, BothAreSeenByTheirServers) {
    EXPECT_EQ(Open(kOpenAndInstall), "install");
    EXPECT_EQ(m_sdk->Calls("LaunchApplet"), std::vector<std::string>{"LaunchApplet the param"});
    ASSERT_TRUE(WaitUntil([&] { return Reports().size() >= 2; }));
    const std::vector<std::string> reports = Reports();
    EXPECT_EQ(reports[0], "self_signed GET /stats/yybinst?m=" + m_strMid);
    EXPECT_TRUE(reports[1].starts_with("self_signed GET /static/a/1663.9650.gif?t=")) << reports[1];
    EXPECT_TRUE(reports[1].ends_with("&m=" + m_strMid)) << reports[1];
    EXPECT_EQ(reports.size(), 2u);
    EXPECT_EQ(Targets("nexlet.invalid:443"),
              (std::vector<std::string>{"install.nexlet.invalid:443", "statistics.nexlet.invalid:443"}));
}

TEST_F(InstallReports, AnInstallThatFailsToLaunchIsReportedAllTheSame) {
    m_sdk->Set(L"launch", L"-3");
    m_sdk->Set(L"launch_error", L"1234");
    EXPECT_EQ(Open(kOpenAndInstall), "install");
    EXPECT_TRUE(Log().Has("LaunchApplet error 1234"));
    EXPECT_TRUE(WaitUntil([&] { return Reports().size() >= 2; }));
}

TEST_F(InstallReports, NothingIsReportedForAnythingButAnInstall) {
    EXPECT_EQ(Open(kOpen), "uninstalled");
    m_sdk->Set(L"present", L"1");
    EXPECT_EQ(Open(kOpenAndInstall), "1") << "it is there already";
    m_sdk->Set(L"present", L"0");
    // The reports leave in order: when those of this one are there, none came before.
    EXPECT_EQ(Open(kOpenAndInstall), "install");
    ASSERT_TRUE(WaitUntil([&] { return Reports().size() >= 2; }));
    EXPECT_EQ(Reports().size(), 2u);
}

TEST_F(InstallReportsOfAnOldSystem, BothArePlain) {
    EXPECT_EQ(Open(kOpenAndInstall), "install");
    ASSERT_TRUE(WaitForTargets("m=" + m_strMid, 2));
    const std::vector<std::string> targets = Targets("m=" + m_strMid);
    EXPECT_EQ(targets[0], "http://install.nexlet.invalid:80/stats/yybinst?m=" + m_strMid);
    EXPECT_TRUE(targets[1].starts_with("http://statistics.nexlet.invalid:80/static/a/1663.9650.gif?t=")) << targets[1];
}

}  // namespace
