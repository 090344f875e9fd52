#include "open/wx_sdk/wx_api.h"

#include <atomic>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include "foundation/text_helpers.h"
#include "settings.h"
#include "tests/support/log_capture.h"
#include "tests/support/stand_in_process.h"
#include "tests/support/temp_folder.h"
#include "tests/unit/open/wx_sdk/stand_in_sdk.h"

namespace {

using MINI_API_CLIENT::CWxApi;
using Calls = std::vector<std::string>;

const char kConfig[] = R"({"channel_id":"12","product":"p","from":"f"})";
const std::wstring kLoadFailure = L"https://" NEXLET_STATISTICS_HOST L"/static/a/1663.4439.gif?_referer=";

// A binding of its own for each test, with the SDK below its folder.
class WxApiTest : public testing::Test {
  protected:
    WxApiTest() { TakeBeacons(); }
    // Ends the SDK's threads before its library is deleted.
    ~WxApiTest() override { m_api.Uninit(); }

    std::filesystem::path SdkFolder() const { return m_folder.Path() / L"wxsdk"; }
    void UseFolder(const wchar_t* hostTag = L"other", const std::string& config = kConfig) {
        m_api.InitData(config, m_folder.Path().wstring(), hostTag);
    }
    // What OpenApp does for a request.
    std::string Open(const char* appId, const char* taskId, const char* appPath = "path") {
        std::string result = "untouched";
        m_api.OpenWithWxSDK(appId, appPath, taskId, result);
        m_api.SetLastTaskId(taskId);
        return result;
    }
    // The word of a poll, with a mark after it when the task has ended.
    std::string Poll(const std::string& taskId) {
        std::string result = "untouched";
        return m_api.OpenProtocolTimeOut(taskId, result) ? result + " ended" : result;
    }

    CTempFolder m_folder;
    CWxApi m_api;
};

TEST_F(WxApiTest, WithoutAnSdkFolderNothingIsReady) {
    UseFolder();
    const LogCapture log;
    EXPECT_FALSE(m_api.InitWxApi());
    EXPECT_FALSE(m_api.IsInit());
    EXPECT_TRUE(log.Has("enter InitWxApi strWxSdk=")) << log.All();
    EXPECT_TRUE(log.Has("----IsWxSDKOk strDllSdk = \\ocean.dll")) << log.All();
    EXPECT_TRUE(log.Has("wx sdk Is not ok")) << log.All();
    EXPECT_EQ(log.Find("enter InitWxApi").find("[MINI_API_CLIENT::CWxApi::InitWxApi("), 0u) << log.All();
    EXPECT_TRUE(TakeBeacons().empty());
}

TEST_F(WxApiTest, AnSdkFolderWithoutItsLibraryIsNotReady) {
    std::filesystem::create_directories(SdkFolder());
    UseFolder();
    const LogCapture log;
    EXPECT_FALSE(m_api.InitWxApi());
    EXPECT_TRUE(log.Has("enter InitWxApi strWxSdk=" + Utf16ToUtf8(SdkFolder().wstring()))) << log.All();
    EXPECT_TRUE(log.Has("wx sdk Is not ok")) << log.All();
    EXPECT_TRUE(TakeBeacons().empty());
}

TEST_F(WxApiTest, AnOrdinaryHostsLibraryIsBelowWxsdk) {
    const CStandInSdk sdk("good", SdkFolder());
    UseFolder();
    const LogCapture log;
    EXPECT_TRUE(m_api.InitWxApi());
    EXPECT_TRUE(m_api.IsInit());
    EXPECT_TRUE(log.Has("----IsWxSDKOk strDllSdk = " + Utf16ToUtf8(sdk.Library().wstring()))) << log.All();
    EXPECT_NE(log.Find("load status="), "") << log.All();
    EXPECT_EQ(sdk.Calls(), Calls{"init official"});
}

TEST_F(WxApiTest, AnMlHostsLibraryIsInTheFolderItself) {
    const CStandInSdk sdk("good", m_folder.Path());
    UseFolder(L"a-ml-b", R"({"channel_id":12})");
    EXPECT_TRUE(m_api.InitWxApi());
    EXPECT_EQ(sdk.Calls(), Calls{"init official"});
    EXPECT_EQ(m_api.Channel().m_nChannelId, 12u);
}

TEST_F(WxApiTest, AnMlHostFindsNothingBelowWxsdk) {
    const CStandInSdk sdk("good", SdkFolder());
    UseFolder(L"ml", R"({"channel_id":12})");
    EXPECT_FALSE(m_api.InitWxApi());
}

TEST_F(WxApiTest, TheHostTagIsReadInItsCase) {
    const CStandInSdk sdk("good", SdkFolder());
    UseFolder(L"ML Ml m l");
    EXPECT_TRUE(m_api.InitWxApi());
}

TEST_F(WxApiTest, ASecondInitDoesNothingAndKeepsTheTable) {
    CStandInSdk sdk("good", SdkFolder());
    sdk.Set(L"answers", L"never");
    UseFolder();
    ASSERT_TRUE(m_api.InitWxApi());
    EXPECT_EQ(Open("app", "task"), "1");
    const LogCapture log;
    EXPECT_TRUE(m_api.InitWxApi());
    EXPECT_EQ(log.All(), "");
    EXPECT_EQ(Poll("task"), "Loading");
    EXPECT_EQ(sdk.Calls(), (Calls{"init official", "open appId=app appPath=path id=1"}));
}

TEST_F(WxApiTest, ManyThreadsInitialiseOnce) {
    const CStandInSdk sdk("good", SdkFolder());
    UseFolder();
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] { ready += m_api.InitWxApi() ? 1 : 0; });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(ready, 8);
    EXPECT_EQ(sdk.Calls(), Calls{"init official"});
}

TEST_F(WxApiTest, ALibraryThatDoesNotLoadSendsABeaconEachTime) {
    const CStandInSdk sdk("broken", SdkFolder());
    UseFolder();
    for (int attempt = 0; attempt < 2; ++attempt) {
        const LogCapture log;
        EXPECT_FALSE(m_api.InitWxApi());
        EXPECT_TRUE(log.Has("load status=193")) << log.All();
        EXPECT_NE(log.Find("enter InitWxApi"), "") << log.All();
        EXPECT_EQ(TakeBeacons(), (std::vector<Beacon>{{kLoadFailure + L"193", true}}));
    }
}

TEST_F(WxApiTest, AfterAFailureTheNextInitTriesAgain) {
    { const CStandInSdk broken("broken", SdkFolder()); }
    UseFolder();
    EXPECT_FALSE(m_api.InitWxApi());
    const CStandInSdk sdk("good", SdkFolder());
    EXPECT_TRUE(m_api.InitWxApi());
    EXPECT_EQ(sdk.Calls(), Calls{"init official"});
}

TEST_F(WxApiTest, AMissingExportFailsSilentlyAndKeepsTheLibrary) {
    const CStandInSdk sdk("missing_export", SdkFolder());
    UseFolder();
    for (int attempt = 0; attempt < 2; ++attempt) {
        const LogCapture log;
        EXPECT_FALSE(m_api.InitWxApi());
        EXPECT_EQ(log.Lines().size(), 3u) << log.All();
        EXPECT_NE(GetModuleHandleW(sdk.Library().c_str()), nullptr);
    }
    EXPECT_TRUE(TakeBeacons().empty());
    EXPECT_EQ(sdk.Calls(), Calls());
    // Nothing can be opened, and there is nothing to end.
    EXPECT_EQ(Open("app", "task"), "0");
    m_api.Uninit();
    EXPECT_EQ(sdk.Calls(), Calls());
}

TEST_F(WxApiTest, AnyOfTheSixExportsMissingIsAFailure) {
    for (const char* name : {"ocean_init", "ocean_check_installation", "ocean_open_miniprogram",
                             "ocean_download_web_installer", "ocean_install", "ocean_uninit"}) {
        const CTempFolder folder;
        const CStandInSdk sdk("good", folder.Path() / L"wxsdk");
        sdk.BreakText(L"ocean.dll", name);
        CWxApi api;
        api.InitData(kConfig, folder.Path().wstring(), L"other");
        EXPECT_FALSE(api.InitWxApi()) << name;
        EXPECT_FALSE(api.IsInit()) << name;
        api.Uninit();
        EXPECT_EQ(sdk.Calls(), Calls()) << name;
        EXPECT_NE(GetModuleHandleW(sdk.Library().c_str()), nullptr) << name;
    }
    EXPECT_TRUE(TakeBeacons().empty());
}

TEST_F(WxApiTest, ALoadedLibraryStaysLoadedWhenARetryTakesAnotherFolder) {
    const CStandInSdk incomplete("missing_export", SdkFolder());
    UseFolder();
    EXPECT_FALSE(m_api.InitWxApi());
    const CStandInSdk sdk("good", m_folder.Path() / L"other" / L"wxsdk");
    m_api.InitData(kConfig, (m_folder.Path() / L"other").wstring(), L"other");
    EXPECT_TRUE(m_api.InitWxApi());
    EXPECT_NE(GetModuleHandleW(incomplete.Library().c_str()), nullptr);
    EXPECT_NE(GetModuleHandleW(sdk.Library().c_str()), nullptr);
}

// What the SDK calls while ocean_init runs.
CWxApi* g_pNested = nullptr;
bool g_bNested = true;
void InitAgain() {
    g_bNested = g_pNested->InitWxApi();
}

TEST_F(WxApiTest, AnInitInsideTheInitOfItsThreadStartsNothing) {
    CStandInSdk sdk("good", SdkFolder());
    std::wostringstream address;
    address << std::hex << reinterpret_cast<std::uintptr_t>(&InitAgain);
    sdk.Set(L"init_calls", address.str());
    UseFolder();
    g_pNested = &m_api;
    g_bNested = true;
    EXPECT_TRUE(m_api.InitWxApi());
    EXPECT_FALSE(g_bNested);
    EXPECT_EQ(sdk.Calls(), Calls{"init official"});
}

// Nothing may unwind through the SDK.
static_assert(noexcept(MINI_API_CLIENT::OnOceanOpenResult(0, 0)));

TEST_F(WxApiTest, AnOpenBeforeInitIsRefusedAndNotStored) {
    EXPECT_EQ(Open("app", "task"), "0");
    EXPECT_EQ(Poll("task"), "0");
}

TEST_F(WxApiTest, APollIsLoadingUntilTheAnswerAndThenAnsweredOnce) {
    CStandInSdk sdk("good", SdkFolder());
    CTestEvent gate;
    sdk.Set(L"gate", gate.Name());
    UseFolder();
    ASSERT_TRUE(m_api.InitWxApi());
    EXPECT_EQ(Open("app", "task", "pages/index"), "1");
    EXPECT_EQ(Poll("task"), "Loading");
    EXPECT_EQ(Poll("task"), "Loading");
    gate.Set();
    ASSERT_TRUE(sdk.WaitForCall("answered id=1"));
    EXPECT_EQ(Poll("task"), "1 ended");
    EXPECT_EQ(Poll("task"), "0");
    EXPECT_EQ(sdk.Calls(), (Calls{"init official", "open appId=app appPath=pages/index id=1", "answer id=1 status=0",
                                  "answered id=1"}));
}

TEST_F(WxApiTest, AFailedOpenIsAnsweredWithZero) {
    CStandInSdk sdk("failing", SdkFolder());
    CTestEvent gate;
    sdk.Set(L"gate", gate.Name());
    UseFolder();
    ASSERT_TRUE(m_api.InitWxApi());
    EXPECT_EQ(Open("app", "task"), "1");
    gate.Set();
    ASSERT_TRUE(sdk.WaitForCall("answered id=1"));
    EXPECT_EQ(Poll("task"), "0 ended");
    EXPECT_EQ(Poll("task"), "0");
}

TEST_F(WxApiTest, ALateAnswerIsWaitedFor) {
    const CStandInSdk sdk("late", SdkFolder());
    UseFolder();
    ASSERT_TRUE(m_api.InitWxApi());
    EXPECT_EQ(Open("app", "task"), "1");
    EXPECT_EQ(Poll("task"), "Loading");
    ASSERT_TRUE(sdk.WaitForCall("answered id=1"));
    EXPECT_EQ(Poll("task"), "1 ended");
}

TEST_F(WxApiTest, AnOlderTaskStaysLoadingWhenItsAnswerComesAfterTheNextRequest) {
    CStandInSdk sdk("good", SdkFolder());
    CTestEvent olderGate;
    CTestEvent newerGate;
    UseFolder();
    ASSERT_TRUE(m_api.InitWxApi());
    sdk.Set(L"gate", olderGate.Name());
    EXPECT_EQ(Open("app one", "older"), "1");
    sdk.Set(L"gate", newerGate.Name());
    EXPECT_EQ(Open("app two", "newer"), "1");
    olderGate.Set();
    ASSERT_TRUE(sdk.WaitForCall("answered id=1"));
    EXPECT_EQ(Poll("older"), "Loading");
    EXPECT_EQ(Poll("newer"), "Loading");
    newerGate.Set();
    ASSERT_TRUE(sdk.WaitForCall("answered id=2"));
    EXPECT_EQ(Poll("older"), "Loading");
    EXPECT_EQ(Poll("newer"), "1 ended");
}

TEST_F(WxApiTest, AnAnswerForAnUnknownIdChangesNothing) {
    const CStandInSdk sdk("unknown_id", SdkFolder());
    UseFolder();
    ASSERT_TRUE(m_api.InitWxApi());
    EXPECT_EQ(Open("app", "task"), "1");
    ASSERT_TRUE(sdk.WaitForCall("answered id=1001"));
    EXPECT_EQ(Poll("task"), "Loading");
}

TEST_F(WxApiTest, AnAnswerInsideTheOpenCallIsLost) {
    const CStandInSdk sdk("inside", SdkFolder());
    UseFolder();
    ASSERT_TRUE(m_api.InitWxApi());
    EXPECT_EQ(Open("app", "task"), "1");
    EXPECT_EQ(Poll("task"), "Loading");
    EXPECT_EQ(sdk.Calls(),
              (Calls{"init official", "open appId=app appPath=path id=1", "answer id=1 status=0", "answered id=1"}));
}

TEST_F(WxApiTest, AnAnswerThatTheOpenCallWaitsForDoesNotLockUp) {
    const CStandInSdk sdk("inside_thread", SdkFolder());
    UseFolder();
    ASSERT_TRUE(m_api.InitWxApi());
    EXPECT_EQ(Open("app", "task"), "1");
    EXPECT_EQ(Poll("task"), "Loading");
}

TEST_F(WxApiTest, ARefusedOpenIsStoredUnderIdZero) {
    const CStandInSdk sdk("refusing", SdkFolder());
    UseFolder();
    ASSERT_TRUE(m_api.InitWxApi());
    EXPECT_EQ(Open("app", "first"), "0");
    EXPECT_EQ(Poll("first"), "Loading");
    EXPECT_EQ(Open("app", "second"), "0");
    EXPECT_EQ(Poll("first"), "0");
    EXPECT_EQ(Poll("second"), "Loading");
}

TEST_F(WxApiTest, AReusedIdReplacesItsTask) {
    CStandInSdk sdk("good", SdkFolder());
    sdk.Set(L"id", L"4294967295");
    sdk.Set(L"answers", L"never");
    UseFolder();
    ASSERT_TRUE(m_api.InitWxApi());
    EXPECT_EQ(Open("app", "first"), "1");
    EXPECT_EQ(Open("app", "second"), "1");
    EXPECT_EQ(Poll("first"), "0");
    EXPECT_EQ(Poll("second"), "Loading");
}

TEST_F(WxApiTest, APollWithoutATaskIdIsToldSo) {
    EXPECT_EQ(Poll(""), "OpenProtocolTimeOut type miniApp lack param");
}

// How long a poll that nothing holds up may take to show that. One that waits is seen to wait, however slow it is.
constexpr DWORD kShowsMs = 300;

TEST_F(WxApiTest, APollWaitsForAnOpenUnderWay) {
    CStandInSdk sdk("good", SdkFolder());
    CTestEvent hold;
    sdk.Set(L"hold", hold.Name());
    sdk.Set(L"answers", L"never");
    UseFolder();
    ASSERT_TRUE(m_api.InitWxApi());
    std::thread opener([&] { EXPECT_EQ(Open("app", "task"), "1"); });
    EXPECT_TRUE(sdk.WaitForCall("holding id=1"));
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
    // It saw the task that was being opened.
    EXPECT_EQ(polled, "Loading");
}

TEST_F(WxApiTest, TheShutdownDoesNotWaitForAnOpenUnderWay) {
    CStandInSdk sdk("good", SdkFolder());
    CTestEvent hold;
    sdk.Set(L"hold", hold.Name());
    UseFolder();
    ASSERT_TRUE(m_api.InitWxApi());
    std::thread opener([&] { Open("app", "task"); });
    EXPECT_TRUE(sdk.WaitForCall("holding id=1"));
    m_api.Uninit();
    EXPECT_EQ(sdk.Calls().back(), "uninit");
    hold.Set();
    opener.join();
}

TEST_F(WxApiTest, UninitIsCalledOnce) {
    const CStandInSdk sdk("good", SdkFolder());
    UseFolder();
    m_api.Uninit();
    EXPECT_EQ(sdk.Calls(), Calls());
    ASSERT_TRUE(m_api.InitWxApi());
    m_api.Uninit();
    m_api.Uninit();
    EXPECT_EQ(sdk.Calls(), (Calls{"init official", "uninit"}));
}

TEST_F(WxApiTest, InitDataTellsATextThatIsNotJson) {
    const LogCapture log;
    m_api.InitData("{", L"", L"");
    EXPECT_TRUE(log.Has("parse error")) << log.All();
    EXPECT_EQ(log.Find("parse error").find("[MINI_API_CLIENT::CWxApi::InitData("), 0u) << log.All();
    EXPECT_EQ(m_api.Channel().m_nChannelId, 0u);
}

TEST_F(WxApiTest, InitDataTellsARootThatIsNotAnObject) {
    const LogCapture log;
    m_api.InitData("[]", L"", L"");
    EXPECT_TRUE(log.Has("value is error")) << log.All();
    EXPECT_EQ(log.Find("value is error").find("[MINI_API_CLIENT::CWxApi::InitData("), 0u) << log.All();
}

TEST_F(WxApiTest, InitDataReadsTheChannel) {
    const LogCapture log;
    m_api.InitData(kConfig, L"", L"other");
    EXPECT_EQ(log.All(), "");
    EXPECT_EQ(m_api.Channel().m_nChannelId, 12u);
    EXPECT_EQ(m_api.Channel().m_strProduct, "p");
    EXPECT_EQ(m_api.Channel().m_strFrom, "f");
}

TEST_F(WxApiTest, ABadChannelDoesNotKeepTheSdkFromOpening) {
    CStandInSdk sdk("good", SdkFolder());
    UseFolder(L"other", "no json");
    ASSERT_TRUE(m_api.InitWxApi());
    EXPECT_EQ(Open("app", "task"), "1");
}

TEST(WxApiDeathTest, AChannelNumberFromAnOrdinaryHostEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        []() noexcept {
            CWxApi api;
            api.InitData(R"({"channel_id":12})", L"", L"other");
        }(),
        "Type is not convertible to string");
}

TEST(WxApiDeathTest, AMissingChannelFromAnOrdinaryHostEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        []() noexcept {
            CWxApi api;
            api.InitData("{}", L"", L"other");
        }(),
        "invalid stoul argument");
}

TEST(WxApi, TheProcessHasOneBinding) {
    EXPECT_EQ(&CWxApi::GetInstance(), &CWxApi::GetInstance());
}

}  // namespace
