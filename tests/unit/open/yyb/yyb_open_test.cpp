// Opens and polls against the stand-in SDK, and reports before, during and after the launch.
#include <thread>

#include "foundation/text_helpers.h"
#include "settings.h"
#include "tests/support/unique_name.h"
#include "tests/unit/open/yyb/yyb_fixture.h"

namespace {

using YYB_API_CLIENT::StateChangeThunk;

const wchar_t kComplete[] = LR"({"status":"CompleteLaunch","pkgname":"app"})";
const char kCompleteReported[] = R"(reported {"status":"CompleteLaunch","pkgname":"app"})";

class YybOpenTest : public YybFixture {
  protected:
    static void Report(const char* status, const char* pkgname) {
        StateChangeThunk((std::string(R"({"status":")") + status + R"(","pkgname":")" + pkgname + R"("})").c_str(), 0);
    }
    // How often the login was looked at.
    static std::size_t LoginLooks(const LogCapture& log) {
        return log.Count("---IsYybLogined---- 未安装") + log.Count("enter CheckPcyyb");
    }
};

TEST_F(YybOpenTest, WithoutAnSdkTheOpenSaysSo) {
    m_sdk.Replace(L"qimei.dll", "stranger");
    const LogCapture log;
    EXPECT_EQ(Open("app", "task", true), "InitYybApi error");
    EXPECT_EQ(log.Find("enter open yyb").find("[YYB_API_CLIENT::CYybApi::OpenWidthYybSDK("), 0u) << log.All();
    EXPECT_TRUE(log.Has("init yyb error")) << log.All();
    EXPECT_EQ(Poll("task"), "0");
    EXPECT_TRUE(TakeBeacons().empty());
}

TEST_F(YybOpenTest, AnAppletIsLaunchedAndWaits) {
    const LogCapture log;
    EXPECT_EQ(Open("app", "task"), "1");
    EXPECT_TRUE(log.Has("enter open yyb")) << log.All();
    EXPECT_TRUE(log.Has("end open yyb result=1")) << log.All();
    EXPECT_EQ(m_sdk.Calls("LaunchApplet"), Calls{"LaunchApplet param"});
    EXPECT_EQ(Poll("task"), "Loading");
    EXPECT_TRUE(TakeBeacons().empty());
}

TEST_F(YybOpenTest, AFailedLaunchIsStoredAllTheSame) {
    m_sdk.Set(L"launch", L"-1");
    const LogCapture log;
    EXPECT_EQ(Open("app", "task"), "0");
    EXPECT_TRUE(log.Has("end open yyb result=0")) << log.All();
    EXPECT_EQ(Poll("task"), "Loading");
    Report("CompleteLaunch", "app");
    EXPECT_EQ(Poll("task"), "1 ended");
}

TEST_F(YybOpenTest, AMissingYybWithoutPermissionIsUninstalled) {
    m_sdk.Set(L"present", L"0");
    EXPECT_EQ(Open("app", "task"), "uninstalled");
    EXPECT_TRUE(m_sdk.Calls("LaunchApplet").empty());
    EXPECT_EQ(Poll("task"), "0");
    EXPECT_TRUE(TakeBeacons().empty());
}

TEST_F(YybOpenTest, AMissingYybWithPermissionIsInstalledByTheLaunch) {
    m_sdk.Set(L"present", L"0");
    const LogCapture log;
    EXPECT_EQ(Open("app", "task", true), "install");
    EXPECT_TRUE(log.Has("install yyb")) << log.All();
    EXPECT_EQ(log.Find("LaunchApplet error"), "") << log.All();
    EXPECT_EQ(m_sdk.Calls("LaunchApplet"), Calls{"LaunchApplet param"});
    EXPECT_EQ(TakeBeacons(), (std::vector<Beacon>{
                                 {L"https://" NEXLET_INSTALL_STATISTICS_HOST L"/stats/yybinst", false},
                                 {L"https://" NEXLET_STATISTICS_HOST L"/static/a/1663.9650.gif", false},
                             }));
    EXPECT_EQ(Poll("task"), "Loading");
    Report("CompleteLaunch", "app");
    EXPECT_EQ(Poll("task"), "1 ended");
}

TEST_F(YybOpenTest, AFailedInstallIsInstallToo) {
    m_sdk.Set(L"present", L"0");
    m_sdk.Set(L"launch", L"5");
    m_sdk.Set(L"launch_error", L"1223");
    const LogCapture log;
    EXPECT_EQ(Open("app", "task", true), "install");
    EXPECT_TRUE(log.Has("LaunchApplet error 1223")) << log.All();
    EXPECT_EQ(TakeBeacons().size(), 2u);
    EXPECT_EQ(Poll("task"), "Loading");
}

TEST_F(YybOpenTest, APresentYybIsOpenedWithPermissionToo) {
    EXPECT_EQ(Open("app", "task", true), "1");
    EXPECT_TRUE(TakeBeacons().empty());
}

TEST_F(YybOpenTest, AReportAfterTheLaunchSettlesTheTask) {
    CTestEvent gate;
    m_sdk.Set(L"report", kComplete);
    m_sdk.Set(L"gate", gate.Name());
    EXPECT_EQ(Open("app", "task"), "1");
    EXPECT_EQ(Poll("task"), "Loading");
    gate.Set();
    ASSERT_TRUE(m_sdk.WaitForCall(kCompleteReported));
    EXPECT_EQ(Poll("task"), "1 ended");
    EXPECT_EQ(Poll("task"), "0");
}

TEST_F(YybOpenTest, ALaunchErrorIsToldOnce) {
    m_sdk.Set(L"report", LR"({"status":"LaunchError","pkgname":"app"})");
    EXPECT_EQ(Open("app", "task"), "1");
    ASSERT_TRUE(m_sdk.WaitForCall(R"(reported {"status":"LaunchError","pkgname":"app"})"));
    EXPECT_EQ(Poll("task"), "LaunchError ended");
    EXPECT_EQ(Poll("task"), "0");
}

TEST_F(YybOpenTest, AReportInsideTheLaunchSettlesTheTask) {
    m_sdk.Set(L"report", kComplete);
    m_sdk.Set(L"reports", L"inside");
    EXPECT_EQ(Open("app", "task"), "1");
    EXPECT_EQ(m_sdk.Calls("reported").size(), 1u);
    EXPECT_EQ(Poll("task"), "1 ended");
}

TEST_F(YybOpenTest, AReportInsideAnInstallingLaunchFindsNoTask) {
    m_sdk.Set(L"present", L"0");
    m_sdk.Set(L"report", kComplete);
    m_sdk.Set(L"reports", L"inside");
    EXPECT_EQ(Open("app", "task", true), "install");
    EXPECT_EQ(m_sdk.Calls("reported").size(), 1u);
    EXPECT_EQ(Poll("task"), "Loading");
}

// The report comes on the SDK's own thread while the launch call is held; it waits and then finds the task, also one
// that is stored after the launch.
TEST_F(YybOpenTest, AReportOfAnotherThreadWaitsForTheLaunchToReturn) {
    for (const wchar_t* present : {L"1", L"0"}) {
        CTestEvent gate;
        CTestEvent hold;
        m_sdk.Set(L"present", present);
        m_sdk.Set(L"report", kComplete);
        m_sdk.Set(L"gate", gate.Name());
        m_sdk.Set(L"hold", hold.Name());
        const std::size_t nReported = m_sdk.Calls("reported").size();
        const std::size_t nHolding = m_sdk.Calls("holding").size();
        const LogCapture log;
        std::thread opener([this] { Open("app", "task", true); });
        EXPECT_TRUE(WaitUntil([&] { return m_sdk.Calls("holding").size() > nHolding; }));
        gate.Set();
        // It has been read, and now waits.
        EXPECT_TRUE(WaitUntil([&] { return log.Has("----OnDownloadStatus----  CompleteLaunch"); }));
        EXPECT_EQ(m_sdk.Calls("reported").size(), nReported);
        hold.Set();
        opener.join();
        EXPECT_TRUE(WaitUntil([&] { return m_sdk.Calls("reported").size() > nReported; }));
        EXPECT_EQ(Poll("task"), "1 ended");
    }
}

// How long a poll that nothing holds up may take to show that. One that waits is seen to wait, however slow it is.
constexpr DWORD kShowsMs = 300;

TEST_F(YybOpenTest, APollWaitsForAnOpenUnderWay) {
    CTestEvent hold;
    m_sdk.Set(L"hold", hold.Name());
    std::thread opener([this] { EXPECT_EQ(Open("app", "task"), "1"); });
    EXPECT_TRUE(m_sdk.WaitForCall("holding"));
    CTestEvent started;
    std::string polled;
    const CKernelHandle hPolled(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::thread poller([&] {
        started.Set();
        polled = Poll("task");
        SetEvent(hPolled.get());
    });
    EXPECT_TRUE(started.Wait());
    EXPECT_EQ(WaitForSingleObject(hPolled.get(), kShowsMs), static_cast<DWORD>(WAIT_TIMEOUT)) << "it did not wait";
    hold.Set();
    opener.join();
    poller.join();
    EXPECT_EQ(polled, "Loading");
}

TEST_F(YybOpenTest, TheShutdownDoesNotWaitForAnOpenUnderWay) {
    CTestEvent hold;
    m_sdk.Set(L"hold", hold.Name());
    std::thread opener([this] { Open("app", "task"); });
    EXPECT_TRUE(m_sdk.WaitForCall("holding"));
    m_api.Uninit();
    EXPECT_EQ(m_sdk.Calls("Uninitialize").size(), 1u);
    hold.Set();
    opener.join();
}

TEST_F(YybOpenTest, ALaunchWordWithoutAPackageDoesNotLookAtTheLogin) {
    EXPECT_EQ(Open("app", "task"), "1");
    const LogCapture log;
    StateChangeThunk(R"({"status":"CompleteLaunch"})", 0);
    EXPECT_EQ(LoginLooks(log), 0u) << log.All();
    EXPECT_EQ(Poll("task"), "Loading");
}

TEST_F(YybOpenTest, ALaunchWordForAnUnknownPackageLooksAtTheLogin) {
    EXPECT_EQ(Open("app", "task"), "1");
    const LogCapture log;
    Report("CompleteLaunch", "other");
    EXPECT_EQ(LoginLooks(log), 1u) << log.All();
    EXPECT_EQ(Poll("task"), "Loading");
}

TEST_F(YybOpenTest, AnInformativeWordMovesNothing) {
    EXPECT_EQ(Open("app", "task"), "1");
    const LogCapture log;
    for (const char* status : {"INIT", "active", "error", "complete", "Installed", "InstallError", "Error"}) {
        Report(status, "app");
    }
    EXPECT_EQ(LoginLooks(log), 0u) << log.All();
    EXPECT_EQ(Poll("task"), "Loading");
}

TEST_F(YybOpenTest, OfTwoTasksOfOneAppletTheFirstIsSettled) {
    EXPECT_EQ(Open("app", "b"), "1");
    EXPECT_EQ(Open("app", "a"), "1");
    Report("CompleteLaunch", "app");
    EXPECT_EQ(Poll("b"), "Loading");
    EXPECT_EQ(Poll("a"), "1 ended");
}

TEST_F(YybOpenTest, AWatchedTaskEndsWhenItsWindowIsThere) {
    const std::wstring title = UniqueName(L"小程序");
    EXPECT_EQ(Open("app", "task"), "1");
    EXPECT_EQ(Poll("task", Utf16ToUtf8(title), 1), "Loading");
    const CStandInProcess applet(m_folder.Path() / L"applet.exe", L"--window nexlet_applet " + title);
    // Nothing asked for it.
    EXPECT_EQ(Poll("task", Utf16ToUtf8(title), 0), "Loading");
    EXPECT_EQ(Poll("task", Utf16ToUtf8(title), 2), "Loading");
    const LogCapture log;
    EXPECT_EQ(Poll("task", Utf16ToUtf8(title), 1), "1 ended");
    EXPECT_EQ(log.Find("erase task").find("[YYB_API_CLIENT::CYybApi::OpenProtocolTimeOut("), 0u) << log.All();
    EXPECT_TRUE(log.Has("bLastCall = 0")) << log.All();
    EXPECT_EQ(Poll("task", Utf16ToUtf8(title), 1), "0");
}

TEST_F(YybOpenTest, ALastCallEndsAWatchedTask) {
    EXPECT_EQ(Open("app", "task"), "1");
    const LogCapture log;
    EXPECT_EQ(Poll("task", Utf16ToUtf8(UniqueName(L"no window")), 1, true), "Loading ended");
    EXPECT_TRUE(log.Has("bLastCall = 1")) << log.All();
    EXPECT_TRUE(log.Has("erase task")) << log.All();
    Report("CompleteLaunch", "app");
    EXPECT_EQ(Poll("task"), "0");
}

TEST_F(YybOpenTest, ALastCallKeepsATaskThatIsNotWatched) {
    EXPECT_EQ(Open("app", "task"), "1");
    EXPECT_EQ(Poll("task", "", 0, true), "Loading");
    Report("CompleteLaunch", "app");
    EXPECT_EQ(Poll("task"), "1 ended");
}

TEST_F(YybOpenTest, APollWithoutATaskIdIsToldSo) {
    EXPECT_EQ(Poll(""), "OpenProtocolTimeOut type yyb lack param");
}

TEST(YybOpenDeathTest, AReportThatDoesNotConvertEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            const CTempFolder folder;
            const CPrivateRegistry registry;
            const CStandInYyb sdk(folder.Path() / L"yybsdk");
            YYB_API_CLIENT::CYybApi api;
            api.InitData(kYybConfig, folder.Path().wstring(), L"other");
            api.InitYybApi();
            StateChangeThunk(R"({"status":5})", 0);
        },
        "Type is not convertible to string");
}

}  // namespace
