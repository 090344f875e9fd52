// The binding against the stand-in SDK: its files, its start and the login of its user.
#include "open/yyb/yyb_api.h"

#include <cstdint>
#include <ctime>
#include <sstream>
#include <thread>

#include "foundation/text_helpers.h"
#include "open/probes/login_probes.h"
#include "open/yyb/yyb_sdk_files.h"
#include "tests/unit/open/yyb/yyb_fixture.h"

namespace {

using namespace WXMINI_PROGRAM_COMMON;
using YYB_API_CLIENT::CYybApi;
using YYB_API_CLIENT::StateChangeThunk;

const wchar_t kLibrary[] = L"pcyyb_sdk_dll.dll";
const wchar_t kIdentity[] = L"qimei.dll";
const wchar_t kInstaller[] = L"AndrowsInstaller.exe";
const wchar_t kLogo[] = L"androws_logo.png";

class YybSdkFilesTest : public testing::Test {
  protected:
    bool IsNew() const { return IsYybSdkNewVersion(m_sdk.Folder().wstring()); }
    bool IsOk() const { return IsYybSDKOk(m_sdk.Folder().wstring()); }

    CTempFolder m_folder;
    CStandInYyb m_sdk{m_folder.Path() / L"yybsdk"};
};

TEST_F(YybSdkFilesTest, AnOrdinaryHostsFolderIsBelowYybsdk) {
    EXPECT_EQ(GetYybSdkDir(m_folder.Path().wstring(), false), m_sdk.Folder().wstring());
    EXPECT_EQ(GetYybSdkDir(m_folder.Path().wstring(), true), m_folder.Path().wstring());
    EXPECT_EQ(GetYybSdkDir(m_sdk.Folder().wstring(), false), L"");
    EXPECT_EQ(GetYybSdkDir((m_folder.Path() / L"nowhere").wstring(), true), L"");
}

TEST_F(YybSdkFilesTest, TheLibrarysVersionMustReachTheMinimum) {
    EXPECT_TRUE(IsNew());
    m_sdk.Replace(kLibrary, "old");
    EXPECT_FALSE(IsNew());
    m_sdk.Replace(kLibrary, "newer");
    EXPECT_TRUE(IsNew());
    m_sdk.Replace(kLibrary, "older");
    EXPECT_FALSE(IsNew());
    m_sdk.Replace(kLibrary, "");
    EXPECT_FALSE(IsNew());
}

TEST_F(YybSdkFilesTest, TheInstallersVersionMustReachTheMinimum) {
    m_sdk.Replace(kInstaller, "old");
    EXPECT_FALSE(IsNew());
    m_sdk.Replace(kInstaller, "");
    EXPECT_FALSE(IsNew());
}

TEST_F(YybSdkFilesTest, TheVersionsOfTheIdentityLibraryAndTheLogoAreNotLookedAt) {
    m_sdk.Replace(kIdentity, "");
    m_sdk.Replace(kLogo, "");
    EXPECT_TRUE(IsNew());
}

TEST_F(YybSdkFilesTest, AWholeSdkIsOk) {
    const LogCapture log;
    EXPECT_TRUE(IsOk());
    EXPECT_EQ(log.All(), "----IsYybSDKOk strDllSdk = " + Utf16ToUtf8((m_sdk.Folder() / kLibrary).wstring()) + "\n");
}

TEST_F(YybSdkFilesTest, EveryFileMustBeThere) {
    for (const wchar_t* file : {kLibrary, kIdentity, kInstaller, kLogo}) {
        const CTempFolder folder;
        CStandInYyb sdk(folder.Path() / L"sdk");
        sdk.Replace(file, "");
        EXPECT_FALSE(IsYybSDKOk(sdk.Folder().wstring())) << Utf16ToUtf8(file);
    }
}

TEST_F(YybSdkFilesTest, AnotherSignerOfAnyOfThemBlocksTheSdk) {
    for (const wchar_t* file : {kLibrary, kIdentity, kInstaller}) {
        EXPECT_TRUE(IsOk());
        m_sdk.Replace(file, "stranger");
        EXPECT_FALSE(IsOk()) << Utf16ToUtf8(file);
        m_sdk.Replace(file, "good");
    }
}

TEST_F(YybSdkFilesTest, AnUnsignedFileBlocksTheSdk) {
    m_sdk.Replace(kLibrary, "unsigned");
    EXPECT_FALSE(IsOk());
    m_sdk.Replace(kLibrary, "good");
    m_sdk.Replace(kIdentity, "unsigned");
    EXPECT_FALSE(IsOk());
}

class YybApiTest : public YybFixture {
  protected:
    void ExpectNothingLoaded() {
        EXPECT_EQ(GetModuleHandleW((m_sdk.Folder() / kLibrary).c_str()), nullptr);
        EXPECT_EQ(m_sdk.Calls(), Calls());
    }
    std::string Dir() const { return Utf16ToUtf8(m_sdk.Folder().wstring()); }
};

TEST_F(YybApiTest, AWholeSdkIsLoadedAndStarted) {
    const LogCapture log;
    EXPECT_TRUE(m_api.InitYybApi());
    EXPECT_TRUE(m_api.IsInit());
    EXPECT_EQ(log.Find("enter InitYybApi").find("[YYB_API_CLIENT::CYybApi::InitYybApi("), 0u) << log.All();
    EXPECT_TRUE(log.Has("enter InitYybApi strYybSdk=" + Dir())) << log.All();
    EXPECT_TRUE(log.Has("----InitYybApi strYybSdk = " + Dir())) << log.All();
    EXPECT_NE(log.Find("load status="), "") << log.All();
    std::string twice;
    std::string four;
    for (const char c : Dir()) {
        twice += c == '\\' ? "\\\\" : std::string(1, c);
        four += c == '\\' ? "\\\\\\\\" : std::string(1, c);
    }
    EXPECT_EQ(log.Find("m_pInitialize").find("[YYB_API_CLIENT::CYybApi::Initialize("), 0u) << log.All();
    EXPECT_TRUE(log.Has("m_pInitialize ret=0, strEscapedPath = " + twice)) << log.All();
    EXPECT_EQ(m_sdk.Calls(), (Calls{R"(Initialize {"channel_id":12,"download_directory":")" + four +
                                        R"(","product":"p","str_source_from":"f"})",
                                    "RegisterStateChangeHandler"}));
    EXPECT_EQ(GetModuleHandleW((m_sdk.Folder() / kIdentity).c_str()), nullptr);
    EXPECT_TRUE(TakeBeacons().empty());
}

TEST_F(YybApiTest, ASecondInitOnlyLogsThatItWasEntered) {
    ASSERT_TRUE(m_api.InitYybApi());
    const std::size_t nCalls = m_sdk.Calls().size();
    const LogCapture log;
    EXPECT_TRUE(m_api.InitYybApi());
    EXPECT_EQ(log.Lines().size(), 1u) << log.All();
    EXPECT_TRUE(log.Has("enter InitYybApi")) << log.All();
    EXPECT_EQ(m_sdk.Calls().size(), nCalls);
}

TEST_F(YybApiTest, AnMlHostHasTheFilesInTheFolderItself) {
    m_api.InitData(R"({"channel_id":7})", m_sdk.Folder().wstring(), L"a-ml-b");
    EXPECT_TRUE(m_api.InitYybApi());
    EXPECT_EQ(m_api.Channel().m_nChannelId, 7u);
    EXPECT_EQ(m_sdk.Calls("Initialize").size(), 1u);
}

TEST_F(YybApiTest, TheHostTagIsReadInItsCase) {
    m_api.InitData(kYybConfig, m_sdk.Folder().wstring(), L"ML Ml m l");
    EXPECT_FALSE(m_api.InitYybApi());
}

TEST_F(YybApiTest, WithoutAFolderTheVersionTestFailsFirst) {
    m_api.InitData(kYybConfig, (m_folder.Path() / L"nowhere").wstring(), L"other");
    const LogCapture log;
    EXPECT_FALSE(m_api.InitYybApi());
    EXPECT_TRUE(log.Has("enter InitYybApi strYybSdk=")) << log.All();
    EXPECT_TRUE(log.Has("Yyb sdk is not new version")) << log.All();
    EXPECT_FALSE(log.Has("Yyb sdk is not ok")) << log.All();
    EXPECT_TRUE(TakeBeacons().empty());
}

TEST_F(YybApiTest, AnOldSdkIsNotLoaded) {
    m_sdk.Replace(kLibrary, "old");
    const LogCapture log;
    EXPECT_FALSE(m_api.InitYybApi());
    EXPECT_TRUE(log.Has("Yyb sdk is not new version")) << log.All();
    ExpectNothingLoaded();
}

TEST_F(YybApiTest, AnotherSignersIdentityLibraryKeepsTheSdkFromLoading) {
    m_sdk.Replace(kIdentity, "stranger");
    const LogCapture log;
    EXPECT_FALSE(m_api.InitYybApi());
    EXPECT_TRUE(log.Has("Yyb sdk is not ok")) << log.All();
    ExpectNothingLoaded();
}

TEST_F(YybApiTest, AMissingLogoKeepsTheSdkFromLoading) {
    m_sdk.Replace(kLogo, "");
    const LogCapture log;
    EXPECT_FALSE(m_api.InitYybApi());
    EXPECT_TRUE(log.Has("Yyb sdk is not ok")) << log.All();
    ExpectNothingLoaded();
}

TEST_F(YybApiTest, AMissingExportLeavesTheSdkLoadedAndNotReady) {
    m_sdk.Replace(kLibrary, "missing_export");
    EXPECT_FALSE(m_api.InitYybApi());
    EXPECT_FALSE(m_api.IsInit());
    EXPECT_NE(GetModuleHandleW((m_sdk.Folder() / kLibrary).c_str()), nullptr);
    EXPECT_EQ(m_sdk.Calls(), Calls());
    EXPECT_EQ(Open("app", "task"), "InitYybApi error");
}

TEST_F(YybApiTest, AnyOfTheSevenExportsMissingIsAFailure) {
    for (const char* name : {"Initialize", "Uninitialize", "CheckPcyyb", "GetQimei", "LaunchApplet",
                             "HasAppletLaunchSuccess", "RegisterStateChangeHandler"}) {
        const CTempFolder folder;
        const CStandInYyb sdk(folder.Path() / L"yybsdk");
        sdk.BreakText(kLibrary, name);
        CYybApi api;
        api.InitData(kYybConfig, folder.Path().wstring(), L"other");
        const LogCapture log;
        EXPECT_FALSE(api.InitYybApi()) << name;
        EXPECT_FALSE(api.IsInit()) << name;
        EXPECT_NE(log.Find("load status="), "") << log.All();
        EXPECT_EQ(sdk.Calls(), Calls()) << name;
        EXPECT_NE(GetModuleHandleW((sdk.Folder() / kLibrary).c_str()), nullptr) << name;
        // What is there can be called all the same.
        EXPECT_EQ(api.CheckPcyyb(), name != std::string("CheckPcyyb"));
        EXPECT_FALSE(api.IsYybLogined()) << name;
        api.Uninit();
        EXPECT_TRUE(sdk.Calls("Uninitialize").empty()) << name;
    }
}

TEST_F(YybApiTest, ALibraryThatDoesNotLoadIsAFailureWithoutABeacon) {
    m_sdk.Set(L"load_fails", L"1");
    const LogCapture log;
    EXPECT_FALSE(m_api.InitYybApi());
    EXPECT_FALSE(m_api.IsInit());
    EXPECT_TRUE(log.Has("load status=1114")) << log.All();
    EXPECT_EQ(GetModuleHandleW((m_sdk.Folder() / kLibrary).c_str()), nullptr);
    EXPECT_FALSE(m_api.CheckPcyyb());
    EXPECT_TRUE(TakeBeacons().empty());
    // Put right, it is loaded by the next call.
    m_sdk.Set(L"load_fails", L"0");
    EXPECT_TRUE(m_api.InitYybApi());
}

TEST_F(YybApiTest, ALoadedLibraryStaysLoadedWhenARetryTakesAnotherFolder) {
    m_sdk.Replace(kLibrary, "missing_export");
    EXPECT_FALSE(m_api.InitYybApi());
    const CStandInYyb sdk(m_folder.Path() / L"other" / L"yybsdk");
    m_api.InitData(kYybConfig, (m_folder.Path() / L"other").wstring(), L"other");
    EXPECT_TRUE(m_api.InitYybApi());
    EXPECT_NE(GetModuleHandleW((m_sdk.Folder() / kLibrary).c_str()), nullptr);
    EXPECT_NE(GetModuleHandleW((sdk.Folder() / kLibrary).c_str()), nullptr);
}

// What the SDK calls while it is loaded or started.
CYybApi* g_pNested = nullptr;
std::vector<bool> g_vecNested;
void InitAgain() {
    g_vecNested.push_back(g_pNested->InitYybApi());
}

TEST_F(YybApiTest, AnInitInsideTheInitOfItsThreadStartsNothing) {
    std::wostringstream address;
    address << std::hex << reinterpret_cast<std::uintptr_t>(&InitAgain);
    m_sdk.Set(L"initialize_calls", address.str());
    m_sdk.Set(L"load_calls", address.str());
    g_pNested = &m_api;
    g_vecNested.clear();
    EXPECT_TRUE(m_api.InitYybApi());
    EXPECT_EQ(g_vecNested, (std::vector<bool>{false, false}));
    EXPECT_EQ(m_sdk.Calls("Initialize").size(), 1u);
    EXPECT_EQ(m_sdk.Calls("RegisterStateChangeHandler").size(), 1u);
}

class YybSlowStartTest : public YybApiTest {
  protected:
    // An SDK that a thread of its own is starting until the gate is opened.
    void BeginToStart() {
        m_sdk.Set(L"initialize_hold", m_gate.Name());
        m_starter = std::thread([this] { m_bStarted = m_api.InitYybApi(); });
        EXPECT_TRUE(m_sdk.WaitForCall("starting"));
    }
    void EndStart() {
        m_gate.Set();
        m_starter.join();
    }

    CTestEvent m_gate;
    std::thread m_starter;
    bool m_bStarted = false;
};

TEST_F(YybSlowStartTest, AnotherThreadWaitsForTheStartAndFindsTheSdkReady) {
    BeginToStart();
    CTestEvent second;
    bool bReady = false;
    std::thread waiter([&] {
        second.Set();
        bReady = m_api.InitYybApi();
    });
    EXPECT_TRUE(second.Wait());
    EXPECT_FALSE(m_api.IsInit());
    EndStart();
    waiter.join();
    EXPECT_TRUE(m_bStarted);
    EXPECT_TRUE(bReady);
    EXPECT_EQ(m_sdk.Calls("Initialize").size(), 1u);
}

TEST_F(YybSlowStartTest, AThreadThatMustNotWaitFindsNoLoginAndLeavesTheSdkAndTheCacheAlone) {
    const CStandInProcess host(m_folder.Path() / L"Androws.exe");
    const auto now = static_cast<std::uint32_t>(std::time(nullptr));
    WriteYybLoginCache({now, 1});
    BeginToStart();
    CTestEvent answered;
    std::thread asker([&] {
        EXPECT_FALSE(m_api.IsYybLoginedNow());
        answered.Set();
    });
    EXPECT_TRUE(answered.Wait()) << "it waits for the start";
    EXPECT_TRUE(m_sdk.Calls("CheckPcyyb").empty());
    LoginCache cache;
    ReadYybLoginCache(cache);
    EXPECT_EQ(cache, (LoginCache{now, 1}));
    EndStart();
    asker.join();
    EXPECT_TRUE(m_api.IsYybLoginedNow());
}

TEST_F(YybSlowStartTest, AThreadThatMustNotWaitStartsTheSdkWhenNoOtherThreadDoes) {
    EXPECT_FALSE(m_api.IsYybLoginedNow());
    EXPECT_TRUE(m_api.IsInit());
    EXPECT_EQ(m_sdk.Calls("CheckPcyyb").size(), 1u);
}

// Nothing may unwind through the SDK.
static_assert(noexcept(StateChangeThunk("", 0)));

TEST_F(YybApiTest, AnSdkThatRefusesToStartIsTriedAgainFromTheBeginning) {
    m_sdk.Set(L"initialize", L"-3");
    const LogCapture log;
    EXPECT_FALSE(m_api.InitYybApi());
    EXPECT_FALSE(m_api.IsInit());
    EXPECT_TRUE(log.Has("----Initialize error =  0")) << log.All();
    EXPECT_NE(log.Find("m_pInitialize ret=-3, strEscapedPath = "), "") << log.All();
    EXPECT_TRUE(m_sdk.Calls("Register").empty());
    // What it exports can be called all the same.
    EXPECT_TRUE(m_api.CheckPcyyb());
    m_sdk.Set(L"initialize", L"0");
    EXPECT_TRUE(m_api.InitYybApi());
    EXPECT_EQ(m_sdk.Calls("Initialize").size(), 2u);
}

TEST_F(YybApiTest, ABadConfigStillStartsTheSdkWithDefaults) {
    const LogCapture log;
    m_api.InitData("{", m_folder.Path().wstring(), L"other");
    CYybApi api;
    api.InitData("[]", m_folder.Path().wstring(), L"other");
    EXPECT_EQ(log.Find("parse error").find("[YYB_API_CLIENT::CYybApi::InitData("), 0u) << log.All();
    EXPECT_EQ(log.Find("value is error").find("[YYB_API_CLIENT::CYybApi::InitData("), 0u) << log.All();
    EXPECT_TRUE(api.InitYybApi());
    const Calls calls = m_sdk.Calls("Initialize");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_TRUE(calls[0].starts_with(R"(Initialize {"channel_id":0,)")) << calls[0];
    EXPECT_TRUE(calls[0].ends_with(R"("product":"","str_source_from":""})")) << calls[0];
    api.Uninit();
}

TEST_F(YybApiTest, InitializeWithoutAnSdkFails) {
    const LogCapture log;
    EXPECT_FALSE(m_api.Initialize());
    EXPECT_EQ(log.All(), "");
}

TEST_F(YybApiTest, CheckPcyybReadsTheLowByteAlone) {
    {
        const LogCapture log;
        EXPECT_FALSE(m_api.CheckPcyyb());
        EXPECT_TRUE(log.Has("enter CheckPcyyb")) << log.All();
        EXPECT_TRUE(log.Has("end CheckPcyyb")) << log.All();
    }
    ASSERT_TRUE(m_api.InitYybApi());
    const LogCapture log;
    EXPECT_TRUE(m_api.CheckPcyyb());
    EXPECT_TRUE(log.Has("CheckPcyyb ret=1")) << log.All();
    m_sdk.Set(L"present", L"0");
    EXPECT_FALSE(m_api.CheckPcyyb());
    EXPECT_TRUE(log.Has("CheckPcyyb ret=0")) << log.All();
    EXPECT_FALSE(log.Has("end CheckPcyyb")) << log.All();
}

TEST_F(YybApiTest, ManyThreadsStartTheSdkOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([this] { EXPECT_TRUE(m_api.InitYybApi()); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(m_sdk.Calls("Initialize").size(), 1u);
}

TEST_F(YybApiTest, UninitIsCalledOnceAndOnlyForAReadySdk) {
    m_sdk.Set(L"initialize", L"1");
    m_api.InitYybApi();
    m_api.Uninit();
    EXPECT_TRUE(m_sdk.Calls("Uninitialize").empty());
    m_sdk.Set(L"initialize", L"0");
    ASSERT_TRUE(m_api.InitYybApi());
    m_api.Uninit();
    m_api.Uninit();
    EXPECT_EQ(m_sdk.Calls("Uninitialize").size(), 1u);
}

// A report before a binding is there, or after its end, has no effect.
TEST_F(YybApiTest, AReportWithoutABindingIsDropped) {
    {
        CYybApi api;
        api.InitData(kYybConfig, m_folder.Path().wstring(), L"other");
        ASSERT_TRUE(api.InitYybApi());
        api.Uninit();
    }
    const LogCapture log;
    StateChangeThunk(R"({"status":"INIT"})", 0);
    EXPECT_EQ(log.All(), "");
}

TEST_F(YybApiTest, AReportInsideTheRegistrationDoesNotLockUp) {
    for (const wchar_t* where : {L"inside", L"inside_thread"}) {
        const CTempFolder folder;
        CStandInYyb sdk(folder.Path() / L"yybsdk");
        sdk.Set(L"register_report", LR"({"status":"CompleteLaunch","pkgname":"app"})");
        sdk.Set(L"register_reports", where);
        CYybApi api;
        api.InitData(kYybConfig, folder.Path().wstring(), L"other");
        EXPECT_TRUE(api.InitYybApi());
        EXPECT_EQ(sdk.Calls("reported").size(), 1u);
        EXPECT_EQ(sdk.Calls("Initialize").size(), 1u);
        // The login was looked at.
        EXPECT_EQ(sdk.Calls("CheckPcyyb").size(), 1u);
        api.Uninit();
    }
}

class YybLoginedTest : public YybFixture {
  protected:
    LoginCache Cache() {
        LoginCache cache;
        ReadYybLoginCache(cache);
        return cache;
    }
    const std::uint32_t m_nStart = static_cast<std::uint32_t>(std::time(nullptr));
};

TEST_F(YybLoginedTest, WithoutAnSdkThereIsNoneAndTheCacheIsCleared) {
    m_sdk.Replace(kLogo, "");
    WriteYybLoginCache({m_nStart, 1});
    const LogCapture log;
    EXPECT_FALSE(m_api.IsYybLogined());
    EXPECT_TRUE(log.Has("---IsYybLogined---- 未安装")) << log.All();
    EXPECT_EQ(Cache(), LoginCache());
}

TEST_F(YybLoginedTest, WithoutYybThereIsNoneAndTheCacheIsCleared) {
    m_sdk.Set(L"present", L"0");
    WriteYybLoginCache({m_nStart, 1});
    const CStandInProcess host(m_folder.Path() / L"Androws.exe");
    EXPECT_FALSE(m_api.IsYybLogined());
    EXPECT_EQ(Cache(), LoginCache());
    EXPECT_TRUE(m_sdk.Calls("HasAppletLaunchSuccess").empty());
}

TEST_F(YybLoginedTest, ARunningHostIsAskedForItsLogin) {
    const CStandInProcess host(m_folder.Path() / L"Androws.exe");
    const LogCapture log;
    EXPECT_TRUE(m_api.IsYybLogined());
    EXPECT_TRUE(log.Has("---IsYybLogined---- run [1], login [1]")) << log.All();
    EXPECT_EQ(Cache().ls, 1u);
    EXPECT_GE(Cache().lt, m_nStart);
    EXPECT_LE(Cache().lt, static_cast<std::uint32_t>(std::time(nullptr)));
}

TEST_F(YybLoginedTest, ARunningHostWithoutALoginClearsTheCache) {
    m_sdk.Set(L"login", L"0");
    WriteYybLoginCache({m_nStart, 1});
    const CStandInProcess host(m_folder.Path() / L"Androws.exe");
    EXPECT_FALSE(m_api.IsYybLogined());
    EXPECT_EQ(Cache(), LoginCache());
}

TEST_F(YybLoginedTest, TheStoreAloneCountsAsRunning) {
    const CStandInProcess store(m_folder.Path() / L"AndrowsStore.exe");
    const LogCapture log;
    EXPECT_TRUE(m_api.IsYybLogined());
    EXPECT_TRUE(log.Has("---IsYybLogined---- run [1], login [1]")) << log.All();
}

TEST_F(YybLoginedTest, AHostThatDoesNotRunIsJudgedByTheCache) {
    EXPECT_FALSE(m_api.IsYybLogined());
    WriteYybLoginCache({m_nStart - 864000, 1});
    EXPECT_TRUE(m_api.IsYybLogined());
    WriteYybLoginCache({m_nStart - 2419201, 1});
    EXPECT_FALSE(m_api.IsYybLogined());
    // What is stale stays there.
    EXPECT_EQ(Cache(), (LoginCache{m_nStart - 2419201, 1}));
    EXPECT_TRUE(m_sdk.Calls("HasAppletLaunchSuccess").empty());
}

TEST(YybApiDeathTest, AChannelNumberFromAnOrdinaryHostEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        []() noexcept {
            CYybApi api;
            api.InitData(R"({"channel_id":12})", L"", L"other");
        }(),
        "Type is not convertible to string");
}

TEST(YybApi, TheProcessHasOneBinding) {
    EXPECT_EQ(&CYybApi::GetInstance(), &CYybApi::GetInstance());
}

}  // namespace
