// Opening a page through the installed WeChat client, with the real helper: the client is the stand-in, every host is
// the test's proxy, and the statistics host answers by TLS.
#include "tests/e2e/proxied.h"

#include <filesystem>
#include <fstream>
#include <optional>

#include <shlobj.h>

#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "tests/support/private_registry.h"
#include "tests/support/stand_in_wechat.h"
#include "tests/support/tls_test_server.h"
#include "tests/support/unique_name.h"
#include "tests/unit/support/picture/picture_files.h"

namespace {

constexpr char kPictureUrl[] = "http://pictures.invalid/picture";
constexpr char kSuccessDot[] = "http://dots.invalid/success";
constexpr char kErrorDot[] = "http://dots.invalid/error";
constexpr char kCodePath[] = "/static/a/1663.8991.gif";

std::string TextOf(const pictures::Bytes& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

class OpenPage : public CProxied {
  protected:
    void SetUp() override {
        CProxied::SetUp();
        m_client.emplace(std::filesystem::path(m_sandbox.SdkPath()) / L"wechat");
        m_client->Set(L"gate", m_gate.Name());
        m_client->Set(L"title", m_strTitle);
        // Most tests set the switch themselves.
        m_nInfoStatus = 404;
    }
    void TearDown() override {
        CProxied::TearDown();
        m_client.reset();
        std::error_code error;
        std::filesystem::remove(Shortcut(), error);
        for (const wchar_t* ending : {L"", L".png", L".jpg", L".ico"}) {
            std::filesystem::remove(Cached(ending), error);
        }
    }

    HttpTestReply Answer(const HttpTestRequest& request) override {
        return request.strTarget.find("pictures.invalid") == std::string::npos ? CProxied::Answer(request) : m_picture;
    }

    void Start() {
        HelperStart start;
        start.strChannel = MakeChannelText(m_strMark, m_strMid, 7, "product", "from");
        StartHelper(start);
    }

    Json::Value PlainOpen() const {
        Json::Value open(Json::objectValue);
        open["type"] = "weChat";
        open["urlScheme"] = m_client->Url("page?a=1");
        open["wndname"] = Utf16ToUtf8(m_strTitle);
        open["taskId"] = "t";
        open["from"] = "e2e";
        return open;
    }
    Json::Value ShortcutOpen() const {
        Json::Value open = PlainOpen();
        open["appShortcut"]["create"] = 1;
        open["appShortcut"]["shortcutName"] = Utf16ToUtf8(m_strName);
        open["appShortcut"]["imageUrl"] = kPictureUrl;
        open["appShortcut"]["successDot"] = kSuccessDot;
        open["appShortcut"]["errorDot"] = kErrorDot;
        return open;
    }
    std::string Open(const Json::Value& open) { return CProxied::Open(WriteJson(open)); }
    std::string Poll(const std::string& taskId = "t") {
        Json::Value poll = PlainOpen();
        poll["taskId"] = taskId;
        return CProxied::Poll(WriteJson(poll));
    }
    // The window of the target comes.
    void ShowTarget() {
        m_gate.Set();
        EXPECT_TRUE(m_client->WaitForCall("window " + Utf16ToUtf8(m_strTitle)));
    }

    // Waits for the beacon of a shortcut and gives its query with the number t cut out.
    std::string CodeBeacon() const {
        std::vector<std::string> seen;
        EXPECT_TRUE(WaitUntil([&] { return !(seen = CodeBeacons()).empty(); }));
        EXPECT_EQ(seen.size(), 1u);
        return seen.empty() ? std::string() : seen[0];
    }
    std::vector<std::string> CodeBeacons() const {
        std::vector<std::string> beacons;
        for (const std::string& line : tls_test_server::Requests(kCodePath)) {
            const std::size_t number = line.find("?t=");
            const std::size_t mid = line.find("&m=" + m_strMid);
            if (mid != std::string::npos && number < mid) {
                beacons.push_back(line.substr(0, number + 3) + "*" + line.substr(mid));
            }
        }
        return beacons;
    }
    std::string ExpectedBeacon(int code) const {
        return std::string("self_signed GET ") + kCodePath + "?_referer=" + std::to_string(code) + "?t=*&m=" + m_strMid;
    }

    std::filesystem::path Shortcut() const {
        wchar_t desktop[MAX_PATH] = {};
        EXPECT_TRUE(SHGetSpecialFolderPathW(nullptr, desktop, CSIDL_DESKTOP, FALSE));
        return std::filesystem::path(desktop) / (m_strName + L".lnk");
    }
    std::filesystem::path Cached(const std::wstring& ending) const {
        return std::filesystem::temp_directory_path() / L"NxlShortcutCache" / (m_strName + ending);
    }

    // An open whose shortcut ends with this code.
    void ExpectCode(int code) {
        const CSwitch on(1);
        Start();
        EXPECT_EQ(Open(ShortcutOpen()), "1") << "the open itself is not touched";
        EXPECT_EQ(CodeBeacon(), ExpectedBeacon(code));
        // Sent before it, by the same worker.
        EXPECT_EQ(Targets("dots.invalid"), std::vector<std::string>{code == 1 ? "http://dots.invalid:80/success"
                                                                              : "http://dots.invalid:80/error"});
        EXPECT_EQ(std::filesystem::exists(Shortcut()), code == 1);
        ShowTarget();
        EXPECT_EQ(Poll(), "1");
    }

    // What the daily configuration leaves in the registry.
    class CSwitch {
      public:
        explicit CSwitch(std::uint8_t value)
            : m_value(HKEY_CURRENT_USER, L"Software\\Ovrin\\zolt", L"app_shortcut_create", 0, REG_DWORD,
                      {value, 0, 0, 0}) {}

      private:
        CRegistryValue m_value;
    };

    const std::wstring m_strTitle = UniqueName(L"小程序 page");
    std::wstring m_strName = UniqueName(L"快捷");
    const std::string m_strMid = Utf16ToUtf8(UniqueName(L"mid"));
    HttpTestReply m_picture = HttpTestReply::Of(200, TextOf(pictures::HalfTransparentPng()));
    CTestEvent m_gate;
    std::optional<CStandInWeChat> m_client;
};

TEST_F(OpenPage, APlainOpenIsTheShellCallAndATaskAlone) {
    Start();
    EXPECT_EQ(Open(PlainOpen()), "1");
    EXPECT_TRUE(m_client->WaitForCall("open " + m_client->Url("page?a=1")));
    ShowTarget();
    EXPECT_EQ(Poll(), "1");
    EXPECT_TRUE(Log().Has("erase t"));
    EXPECT_EQ(Poll(), "0") << "the task is gone";
    EXPECT_EQ(Log().Find("PopWxLoadingWnd"), "");
    EXPECT_EQ(Log().Find("CreateAppShortcut"), "");
}

TEST_F(OpenPage, AnOpenWithWindowAndShortcutRunsToItsEnd) {
    m_nInfoStatus = 200;
    Start();
    ASSERT_TRUE(Log().WaitFor("appShortcut create [1]", kLongMs));
    ASSERT_TRUE(WaitUntil([] { return Stored(L"last_info_time").has_value(); }));

    Json::Value open = ShortcutOpen();
    open["loadingWnd"]["show"] = 1;
    open["loadingWnd"]["timeOut"] = 1234;
    open["loadingWnd"]["name"] = "应用";
    open["loadingWnd"]["iconUrl"] = kPictureUrl;
    EXPECT_EQ(Open(open), "1");
    EXPECT_TRUE(m_client->WaitForCall("open " + m_client->Url("page?a=1")));

    // The helper is asked to follow it.
    Json::Value follow = PlainOpen();
    follow["interval"] = 60000;
    follow["successLog"].append("http://dots.invalid/opened");
    follow["errorLog"].append("http://dots.invalid/not_opened");
    Json::Value content(Json::objectValue);
    content["service_id"] = m_strService;
    content["p1"] = WriteJson(follow);
    ASSERT_EQ(m_caller->Send(Number(MessageType::S_MT_DelayCheckWndStatus), content, kLongMs), CallerResult::Ok);
    ASSERT_TRUE(Log().WaitFor("print strResult=Loading, bLastCall = 0", kLongMs));

    EXPECT_EQ(CodeBeacon(), ExpectedBeacon(1));
    EXPECT_EQ(Targets("dots.invalid"), std::vector<std::string>{"http://dots.invalid:80/success"});
    EXPECT_TRUE(std::filesystem::exists(Shortcut()));
    EXPECT_TRUE(std::filesystem::exists(Cached(L".ico")));
    EXPECT_TRUE(Log().WaitFor("SetTimeOut dwTimeOut :[1234]", kLongMs));

    ShowTarget();
    EXPECT_TRUE(WaitForTargets("http://dots.invalid:80/opened", 1));
    EXPECT_TRUE(Log().Has("erase t"));
    EXPECT_EQ(Poll(), "0") << "the task is gone";
    EXPECT_TRUE(Targets("not_opened").empty());
}

TEST_F(OpenPage, ALoadingWindowWithoutATimeHasTwoSeconds) {
    Start();
    Json::Value open = PlainOpen();
    open["loadingWnd"]["show"] = 1;
    EXPECT_EQ(Open(open), "1");
    EXPECT_TRUE(Log().WaitFor("SetTimeOut dwTimeOut :[2000]", kLongMs));
}

TEST_F(OpenPage, WithoutTheClientNothingIsStarted) {
    m_client.reset();
    const CSwitch on(1);
    Start();
    EXPECT_EQ(CProxied::Open(R"({"type":"weChat","urlScheme":"nexlet-nobody://x","wndname":"w","taskId":"t",)"
                             R"("from":"e2e","loadingWnd":{"show":1},"appShortcut":{"create":1,"shortcutName":"n",)"
                             R"("imageUrl":"http://pictures.invalid/picture"}})"),
              "uninstalled");
    EXPECT_EQ(CProxied::Poll(R"({"type":"weChat","wndname":"w","taskId":"t","from":"e2e"})"), "0");
    EXPECT_EQ(Log().Find("PopWxLoadingWnd"), "");
    EXPECT_EQ(Log().Find("CreateAppShortcut"), "");
}

TEST_F(OpenPage, ARefusingShellLeavesTheWindowAndTheShortcut) {
    const CSwitch on(1);
    Start();
    Json::Value open = ShortcutOpen();
    open["urlScheme"] = "nexlet-nobody://x";
    open["loadingWnd"]["show"] = 1;
    EXPECT_EQ(Open(open), "0");
    EXPECT_TRUE(Log().WaitFor("PopWxLoadingWnd begin", kLongMs));
    EXPECT_EQ(CodeBeacon(), ExpectedBeacon(1));
    EXPECT_TRUE(std::filesystem::exists(Shortcut()));
    EXPECT_EQ(Poll(), "0") << "there is no task";
}

TEST_F(OpenPage, AClientWithoutItsProgramIsARefusingShell) {
    ASSERT_TRUE(std::filesystem::remove(m_client->Folder() / L"WeChat.exe"));
    Start();
    EXPECT_EQ(Open(PlainOpen()), "0");
    EXPECT_EQ(Poll(), "0");
    std::filesystem::copy_file(WorldFolder() / L"WeChat.exe", m_client->Folder() / L"WeChat.exe");
}

TEST_F(OpenPage, AShortcutNeedsTheWishAndTheSwitch) {
    Start();
    EXPECT_EQ(Open(ShortcutOpen()), "1") << "no switch";
    {
        const CSwitch off(0);
        EXPECT_EQ(Open(ShortcutOpen()), "1");
    }
    const CSwitch on(1);
    EXPECT_EQ(Open(PlainOpen()), "1") << "no wish";
    EXPECT_EQ(Open(ShortcutOpen()), "1");
    EXPECT_EQ(CodeBeacon(), ExpectedBeacon(1));
    EXPECT_EQ(Log().Count("CreateAppShortcut begin"), 1u);
    EXPECT_EQ(Targets("pictures.invalid").size(), 1u);
}

TEST_F(OpenPage, TheCodeIsBetweenTwoQuestionMarks) {
    const CSwitch on(1);
    Start();
    Open(ShortcutOpen());
    EXPECT_EQ(CodeBeacon(), ExpectedBeacon(1));
    EXPECT_NE(Log().Find("Report: https://statistics.nexlet.invalid/static/a/1663.8991.gif?_referer=1 sync : 0"), "");
}

TEST_F(OpenPage, AWrittenShortcutIsCodeOne) {
    ExpectCode(1);
}

TEST_F(OpenPage, APictureThatIsNotThereIsCodeTwo) {
    m_picture = HttpTestReply::Of(404, "not here");
    ExpectCode(2);
    EXPECT_TRUE(Log().Has(std::string("url download failed, [") + kPictureUrl + "]"));
}

TEST_F(OpenPage, AServerThatSaysNothingIsCodeTwo) {
    m_picture = HttpTestReply::Raw("");
    ExpectCode(2);
}

TEST_F(OpenPage, GarbageForAPictureIsCodeThree) {
    m_picture = HttpTestReply::Of(200, "<html>not a picture</html>");
    ExpectCode(3);
}

TEST_F(OpenPage, ABmpIsCodeThreeAlthoughAnIconCouldBeMadeOfIt) {
    m_picture = HttpTestReply::Of(200, TextOf(pictures::TwoColourBmp(32, 32, 0xFF0000, 0x00FF00)));
    ExpectCode(3);
}

TEST_F(OpenPage, AJpegThatCannotBeDecodedIsCodeFour) {
    m_picture = HttpTestReply::Of(200, "\xFF\xD8\xFF\xE0 and no more");
    ExpectCode(4);
    EXPECT_TRUE(Log().Has("[" + Utf16ToUtf8(Cached(L".jpg").wstring()) + "] to ico failed"));
    EXPECT_TRUE(std::filesystem::exists(Cached(L".jpg")));
    EXPECT_FALSE(std::filesystem::exists(Cached(L".ico")));
}

TEST_F(OpenPage, AMachineWithoutShellLinksIsCodeFive) {
    const CRegistryValue broken(HKEY_LOCAL_MACHINE,
                                L"Software\\Classes\\CLSID\\{00021401-0000-0000-C000-000000000046}\\InprocServer32",
                                L"", KEY_WOW64_64KEY, REG_SZ, TextBytes(L"C:\\none\\none.dll"));
    ExpectCode(5);
    EXPECT_TRUE(std::filesystem::exists(Cached(L".ico")));
}

TEST_F(OpenPage, APngUnderTheNameOfAJpegGetsItsOwnExtensionAfterThatName) {
    m_strName += L".jpg";
    ExpectCode(1);
    EXPECT_TRUE(std::filesystem::exists(Cached(L".png"))) << Cached(L".png");
    EXPECT_FALSE(std::filesystem::exists(Cached(L""))) << "it was renamed";
    EXPECT_TRUE(std::filesystem::exists(Cached(L".ico")));
}

TEST_F(OpenPage, AnEarlierPictureAndIconDoNotSurviveAFailure) {
    std::filesystem::create_directories(Cached(L"").parent_path());
    for (const wchar_t* ending : {L"", L".jpg", L".ico"}) {
        std::ofstream(Cached(ending)) << "earlier";
    }
    m_picture = HttpTestReply::Of(200, "\xFF\xD8\xFF\xE0 and no more");
    ExpectCode(4);
    EXPECT_FALSE(std::filesystem::exists(Cached(L".ico")));
    EXPECT_GT(std::filesystem::file_size(Cached(L".jpg")), 7u);
}

TEST_F(OpenPage, ASecondOpenOfATaskLeavesOneEntryThatIsAnsweredOnce) {
    Start();
    EXPECT_EQ(Open(PlainOpen()), "1");
    EXPECT_EQ(Open(PlainOpen()), "1");
    ShowTarget();
    EXPECT_EQ(Poll(), "1");
    EXPECT_EQ(Poll(), "0");
}

TEST_F(OpenPage, TheCallersPollIsTheLastOneAndEndsATaskWithoutItsWindow) {
    Start();
    EXPECT_EQ(Open(PlainOpen()), "1");
    EXPECT_EQ(Poll("another"), "0");
    EXPECT_EQ(Poll(), "Loading");
    EXPECT_TRUE(Log().Has("erase t"));
    EXPECT_EQ(Poll(), "0");
}

TEST_F(OpenPage, AFollowedOpenWithoutItsWindowEndsAsAFailure) {
    Start();
    EXPECT_EQ(Open(PlainOpen()), "1");
    Json::Value follow = PlainOpen();
    follow["interval"] = 4000;
    follow["errorLog"].append("http://dots.invalid/not_opened");
    Json::Value content(Json::objectValue);
    content["service_id"] = m_strService;
    content["p1"] = WriteJson(follow);
    ASSERT_EQ(m_caller->Send(Number(MessageType::S_MT_DelayCheckWndStatus), content, kLongMs), CallerResult::Ok);
    EXPECT_TRUE(WaitForTargets("http://dots.invalid:80/not_opened", 1));
    EXPECT_EQ(Log().Count("print strResult=Loading, bLastCall = 0"), 1u);
    EXPECT_EQ(Log().Count("print strResult=Loading, bLastCall = 1"), 1u);
    EXPECT_EQ(Poll(), "0");
}

// Requests come and go while pictures are fetched: no request waits for them, and every shortcut has its own copies.
TEST_F(OpenPage, ASlowPictureKeepsNoCallerWaiting) {
    const CSwitch on(1);
    CTestEvent delivered;
    m_picture.nBytesBeforeGate = 10;
    const CKernelHandle gate(OpenEventW(SYNCHRONIZE, FALSE, delivered.Name().c_str()));
    m_picture.hGate = gate.get();
    Start();
    EXPECT_EQ(Open(ShortcutOpen()), "1");
    ASSERT_TRUE(WaitForTargets("pictures.invalid", 1));
    ExpectServed();
    EXPECT_FALSE(std::filesystem::exists(Shortcut()));
    delivered.Set();
    EXPECT_EQ(CodeBeacon(), ExpectedBeacon(1));
    EXPECT_TRUE(std::filesystem::exists(Shortcut()));
}

}  // namespace
