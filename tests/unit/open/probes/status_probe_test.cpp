#include "open/probes/status_probe.h"

#include <cstdint>
#include <limits>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "foundation/text_helpers.h"

namespace {

const wchar_t kTray[] = L"Qt51514TrayIconMessageWindowClass";
const wchar_t kMain[] = L"WeChatMainWndForPC";
const wchar_t kLogin[] = L"WeChatLoginWndForPC";

// A made-up machine; every question is written down.
class CMadeUpMachine final : public IStatusFacts {
  public:
    bool IsWeChatInstalled() override { return Ask("wx", m_bInstalled); }
    std::int32_t WeChatKind() override { return m_nKind; }
    bool HasWindow(const wchar_t* className) override {
        return Ask("window:" + Utf16ToUtf8(className), m_setWindows.contains(className));
    }
    bool HasProcess(const wchar_t* name) override { return Ask("process:" + Utf16ToUtf8(name), m_bProcess); }
    bool IsWxMiniProgramInstalled() override { return Ask("mini", m_bMini); }
    bool CheckWxMiniProgramIntalled() override { return Ask("mini login", m_bMiniLogin); }
    bool IsAndrowsInstalled() override { return Ask("yyb", m_bYyb); }
    bool IsYybLogined() override { return Ask("yyb login", m_bYybLogin); }

    bool m_bInstalled = false;
    std::int32_t m_nKind = 0;
    std::set<std::wstring> m_setWindows;
    bool m_bProcess = false;
    bool m_bMini = false;
    bool m_bMiniLogin = false;
    bool m_bYyb = false;
    bool m_bYybLogin = false;
    std::string m_strAsked;

  private:
    bool Ask(const std::string& what, bool bAnswer) {
        m_strAsked += what + ";";
        return bAnswer;
    }
};

CMadeUpMachine Machine(std::int32_t kind, const std::set<std::wstring>& windows = {}, bool bProcess = false) {
    CMadeUpMachine machine;
    machine.m_bInstalled = kind != 0;
    machine.m_nKind = kind;
    machine.m_setWindows = windows;
    machine.m_bProcess = bProcess;
    return machine;
}

bool Login(CMadeUpMachine machine, const std::string& asked) {
    const bool bLogin = DecideWeChatLogin(machine);
    EXPECT_EQ(machine.m_strAsked, asked);
    return bLogin;
}

TEST(WeChatLogin, WithoutTheClientNoWindowAndNoProcessIsLookedAt) {
    EXPECT_FALSE(Login(Machine(0, {kTray, kMain}, true), "wx;"));
}

TEST(WeChatLogin, AClientThatWasRemovedHasNoneAlthoughItsKindIsRemembered) {
    for (const std::int32_t kind : {1, 2}) {
        CMadeUpMachine machine = Machine(kind, {kTray, kMain}, true);
        machine.m_bInstalled = false;
        EXPECT_FALSE(Login(machine, "wx;")) << kind;
    }
}

TEST(WeChatLogin, AMainWindowIsALogin) {
    EXPECT_TRUE(Login(Machine(1, {kMain}), "wx;window:WeChatMainWndForPC;"));
    EXPECT_TRUE(Login(Machine(1, {kMain, kLogin}), "wx;window:WeChatMainWndForPC;"));
}

TEST(WeChatLogin, ARunningClientWithoutALoginWindowIsALogin) {
    EXPECT_TRUE(
        Login(Machine(1, {}, true), "wx;window:WeChatMainWndForPC;process:WeChat.exe;window:WeChatLoginWndForPC;"));
}

TEST(WeChatLogin, ALoginWindowIsNone) {
    EXPECT_FALSE(Login(Machine(1, {kLogin}, true),
                       "wx;window:WeChatMainWndForPC;process:WeChat.exe;window:WeChatLoginWndForPC;"));
}

TEST(WeChatLogin, AClientThatDoesNotRunHasNone) {
    EXPECT_FALSE(Login(Machine(1, {kTray}), "wx;window:WeChatMainWndForPC;process:WeChat.exe;"));
}

TEST(WeChatLogin, TheOtherClientNeedsItsTrayWindow) {
    EXPECT_TRUE(Login(Machine(2, {kTray}), "wx;window:Qt51514TrayIconMessageWindowClass;"));
    EXPECT_FALSE(Login(Machine(2, {kMain}, true), "wx;window:Qt51514TrayIconMessageWindowClass;"));
}

TEST(WeChatLogin, AnyOtherKindHasNone) {
    EXPECT_FALSE(Login(Machine(3, {kTray, kMain}, true), "wx;"));
    EXPECT_FALSE(Login(Machine(-1, {kTray, kMain}, true), "wx;"));
}

TEST(AppStatus, TheProbesAreAskedInOrder) {
    CMadeUpMachine machine = Machine(2);
    EXPECT_EQ(ProbeAppStatus(machine), (AppStatus{.wx_inst = true}));
    EXPECT_EQ(machine.m_strAsked, "wx;wx;window:Qt51514TrayIconMessageWindowClass;mini;mini login;yyb;yyb login;");
}

TEST(AppStatus, EachProbeGivesItsOwnAnswer) {
    const auto probe = [](auto change) {
        CMadeUpMachine machine;
        change(machine);
        return ProbeAppStatus(machine);
    };
    EXPECT_EQ(probe([](CMadeUpMachine&) {}), AppStatus());
    EXPECT_EQ(probe([](CMadeUpMachine& machine) { machine.m_bMini = true; }), (AppStatus{.mini_wx_inst = true}));
    EXPECT_EQ(probe([](CMadeUpMachine& machine) { machine.m_bMiniLogin = true; }), (AppStatus{.mini_wx_login = true}));
    EXPECT_EQ(probe([](CMadeUpMachine& machine) { machine.m_bYyb = true; }), (AppStatus{.yyb_inst = true}));
    EXPECT_EQ(probe([](CMadeUpMachine& machine) { machine.m_bYybLogin = true; }), (AppStatus{.yyb_login = true}));
}

TEST(AppStatus, WithoutTheClientBothItsAnswersAreZero) {
    CMadeUpMachine machine = Machine(0, {kMain}, true);
    const AppStatus status = ProbeAppStatus(machine);
    EXPECT_FALSE(status.wx_inst);
    EXPECT_FALSE(status.wx_login);
    EXPECT_EQ(machine.m_strAsked, "wx;wx;mini;mini login;yyb;yyb login;");
}

TEST(AppStatus, TheTextHasItsKeysSorted) {
    EXPECT_EQ(
        WriteAppStatus(AppStatus()),
        R"({"mini_wx_inst":"0","mini_wx_login":"0","wx_inst":"0","wx_login":"0","yyb_inst":"0","yyb_login":"0"})");
    EXPECT_EQ(
        WriteAppStatus(AppStatus{.wx_inst = true, .mini_wx_login = true, .yyb_login = true}),
        R"({"mini_wx_inst":"0","mini_wx_login":"1","wx_inst":"1","wx_login":"0","yyb_inst":"0","yyb_login":"1"})");
}

TEST(AppStatus, TheIdentityPairIsInTheLongerTextAlone) {
    EXPECT_EQ(WriteAppStatus(AppStatus{.wx_login = true}, "q32", ""),
              R"({"mini_wx_inst":"0","mini_wx_login":"0","qimei32":"q32","qimei36":"","wx_inst":"0","wx_login":"1",)"
              R"("yyb_inst":"0","yyb_login":"0"})");
}

TEST(AppStatus, TheRegistryHasItsOwnNamesAndOrder) {
    std::string text;
    for (const auto& [name, number] : StatusValues(AppStatus{true, false, true, false, false, true})) {
        text += Utf16ToUtf8(name) + "=" + std::to_string(number) + " ";
    }
    EXPECT_EQ(text, "wx_install=1 wx_login=0 mini_install=1 mini_login=0 yyb_install=0 yyb_login=1 ");
}

TEST(DecimalText, WritesDigitsWithASignBelowZero) {
    EXPECT_EQ(DecimalText(0), L"0");
    EXPECT_EQ(DecimalText(7), L"7");
    EXPECT_EQ(DecimalText(1700000000), L"1700000000");
    EXPECT_EQ(DecimalText(-10), L"-10");
    EXPECT_EQ(DecimalText(std::numeric_limits<std::int64_t>::max()), L"9223372036854775807");
    EXPECT_EQ(DecimalText(std::numeric_limits<std::int64_t>::min()), L"-9223372036854775808");
}

}  // namespace
