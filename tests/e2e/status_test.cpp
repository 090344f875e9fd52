// Status, identity and envelope through the real helper, with the products that are there or not.
#include <filesystem>

#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "tests/e2e/end_to_end.h"
#include "tests/support/login_mark.h"
#include "tests/support/opened_envelope.h"
#include "tests/support/private_registry.h"
#include "tests/support/stand_in_process.h"
#include "tests/support/stand_in_yyb.h"

namespace {

#define NXL_UNINSTALL L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
const wchar_t kStatusKey[] = L"SOFTWARE\\OvrinSe\\MiniWxProgram";

// An uninstall entry for the length of a scope.
class CInstalled {
  public:
    explicit CInstalled(const wchar_t* entry)
        : m_value(HKEY_LOCAL_MACHINE, entry, L"UninstallString", KEY_WOW64_64KEY, REG_SZ,
                  TextBytes(L"C:\\none\\uninstall.exe")) {}

  private:
    CRegistryValue m_value;
};

class AppStatus : public CEndToEnd {
  protected:
    void TearDown() override {
        CEndToEnd::TearDown();
        // What the helper has left in this prefix.
        RegDeleteTreeW(HKEY_CURRENT_USER, kStatusKey);
        RegDeleteTreeW(HKEY_CURRENT_USER, L"SOFTWARE\\qimei");
    }
    std::string StatusText() {
        return Ask(MessageType::S_MT_GetWxAppStatus, Json::Value(Json::objectValue),
                   MessageType::S_MT_StatusReply)["result"]
            .asString();
    }
    Json::Value Status() { return JsonOf(StatusText()); }
    std::filesystem::path App() const { return m_sandbox.SdkPath(); }
};

TEST_F(AppStatus, AMachineWithTheMiniProgramApplicationAloneSaysSo) {
    StartHelper();
    EXPECT_EQ(
        StatusText(),
        R"({"mini_wx_inst":"1","mini_wx_login":"0","wx_inst":"0","wx_login":"0","yyb_inst":"0","yyb_login":"0"})");
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, kStatusKey, L"mini_install"), 1u);
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, kStatusKey, L"wx_install"), 0u);
}

TEST_F(AppStatus, FreshLoginMarkOfTheMiniProgramApplicationIsALogin) {
    const CRegistryValue mark(HKEY_CURRENT_USER, kLoginMarkKey, kLoginMarkValue, KEY_WOW64_32KEY, REG_BINARY,
                              LoginMarkBytes(1, 60));
    StartHelper();
    EXPECT_EQ(
        StatusText(),
        R"({"mini_wx_inst":"1","mini_wx_login":"1","wx_inst":"0","wx_login":"0","yyb_inst":"0","yyb_login":"0"})");
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, kStatusKey, L"mini_login"), 1u);
}

TEST_F(AppStatus, InstalledClientThatDoesNotRunIsNotLoggedIn) {
    const CInstalled client(NXL_UNINSTALL L"WeChat");
    StartHelper();
    EXPECT_EQ(Status()["wx_inst"].asString(), "1");
    EXPECT_EQ(Status()["wx_login"].asString(), "0");
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, kStatusKey, L"wx_install"), 1u);
}

TEST_F(AppStatus, RunningClientIsLoggedInUnlessItsLoginWindowIsUp) {
    const CInstalled client(NXL_UNINSTALL L"WeChat");
    StartHelper();
    {
        const CStandInProcess process(App() / L"WeChat.exe", L"--window WeChatLoginWndForPC login");
        EXPECT_EQ(Status()["wx_login"].asString(), "0");
    }
    const CStandInProcess process(App() / L"WeChat.exe");
    EXPECT_EQ(Status()["wx_login"].asString(), "1");
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, kStatusKey, L"wx_login"), 1u);
}

TEST_F(AppStatus, EncryptedStatusIsThePlainOneWithTheIdentity) {
    const CInstalled host(NXL_UNINSTALL L"Androws");
    const CStandInYyb sdk(App() / L"yybsdk");
    const CStandInProcess process(App() / L"Androws.exe");
    StartHelper();
    Json::Value plain = Status();
    EXPECT_EQ(plain["yyb_inst"].asString(), "1");
    EXPECT_EQ(plain["yyb_login"].asString(), "1");
    plain["qimei32"] = "qone_32";
    plain["qimei36"] = "qone_36";
    const std::string result = Ask(MessageType::S_MT_GetWxAppStatusEncrypt, Json::Value(Json::objectValue),
                                   MessageType::S_MT_StatusEncryptReply)["result"]
                                   .asString();
    EXPECT_EQ(OpenedEnvelope(result), WriteJson(plain));
}

TEST_F(AppStatus, IdentityComesFromTheSdkAndStaysInTheRegistry) {
    const CStandInYyb sdk(App() / L"yybsdk");
    StartHelper();
    Json::Value content(Json::objectValue);
    content["mine"] = "echoed";
    const Json::Value reply = Ask(MessageType::S_MT_GetWxAppQIMEI, content, MessageType::S_MT_QIMEIReply);
    EXPECT_EQ(WriteJson(reply), R"({"mine":"echoed","strQ32":"qone_32","strQ36":"qone_36"})");
    wchar_t stored[32] = {};
    DWORD size = sizeof stored;
    EXPECT_EQ(SHGetValueW(HKEY_CURRENT_USER, L"SOFTWARE\\qimei", L"qimei36", nullptr, stored, &size), ERROR_SUCCESS);
    EXPECT_EQ(std::wstring(stored), L"qone_36");
}

TEST_F(AppStatus, IdentityWithoutASourceIsTwoEmptyTexts) {
    StartHelper();
    EXPECT_EQ(
        WriteJson(Ask(MessageType::S_MT_GetWxAppQIMEI, Json::Value(Json::objectValue), MessageType::S_MT_QIMEIReply)),
        R"({"strQ32":"","strQ36":""})");
    EXPECT_TRUE(Log().Has("Yyb sdk is not new version"));
}

TEST_F(AppStatus, TextUnderTheEnvelopeCanBeOpened) {
    StartHelper();
    Json::Value content(Json::objectValue);
    content["p1"] = R"({"text":"文 text"})";
    const Json::Value reply = Ask(MessageType::S_MT_GetRSAEncrypt, content, MessageType::S_MT_RSAEncryptReply);
    EXPECT_EQ(OpenedEnvelope(reply["result"].asString()), "文 text");
    EXPECT_EQ(reply["p1"], content["p1"]);
}

}  // namespace
