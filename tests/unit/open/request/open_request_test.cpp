#include "open/request/open_request.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "open/request/mini_program_service.h"
#include "tests/support/json_of.h"
#include "tests/support/log_capture.h"

namespace {

AppOpenInfo Parse(const std::string& text) {
    AppOpenInfo info;
    EXPECT_TRUE(WxMiniProgramService::ParseAppOpenInfo(JsonOf(text), info)) << text;
    return info;
}

// Writes down every call, and answers as it was told.
class CRecordingRoutes final : public IOpenRoutes {
  public:
    bool IsSystemPicStart() override {
        m_vecCalls.push_back("IsSystemPicStart");
        return m_bScreenSaver;
    }
    void OpenWithWeChat(const AppOpenInfo& info, std::string& result) override {
        m_vecCalls.push_back("OpenWithWeChat " + info.urlScheme + " " + info.wndname + " " + info.taskId);
        result = "1";
    }
    bool PollWeChat(const OpenPollInfo& info, std::string& result, bool bLastCall) override {
        m_vecCalls.push_back("PollWeChat " + info.wndname + " " + info.taskId + (bLastCall ? " last" : ""));
        result = "Loading";
        return bLastCall;
    }
    bool IsWxMiniProgramInstalled() override {
        m_vecCalls.push_back("IsWxMiniProgramInstalled");
        return m_bInstalled;
    }
    bool InitWxApi() override {
        m_vecCalls.push_back("InitWxApi");
        return m_bInit;
    }
    void OpenWithWxSDK(const AppOpenInfo& info, std::string& result) override {
        m_vecCalls.push_back("OpenWithWxSDK " + info.appId + " [" + info.appPath + "] " + info.taskId);
        result = "1";
    }
    void SetLastTaskId(const std::string& taskId) override { m_vecCalls.push_back("SetLastTaskId " + taskId); }
    bool PollWxSDK(const OpenPollInfo& info, std::string& result) override {
        m_vecCalls.push_back("PollWxSDK " + info.taskId);
        result = "1";
        return info.taskId == "k";
    }
    void OpenWidthYybSDK(const AppOpenInfo& info, bool bAllowInstall, std::string& result) override {
        m_vecCalls.push_back("OpenWidthYybSDK " + info.yybParam + " " + info.appId + " " + info.taskId +
                             (bAllowInstall ? " may install" : ""));
        result = "0";
    }
    bool PollYyb(const OpenPollInfo& info, std::string& result, bool bLastCall) override {
        m_vecCalls.push_back("PollYyb " + info.wndname + " " + info.taskId + " " + std::to_string(info.mon_wndexists) +
                             (bLastCall ? " last" : ""));
        result = "LaunchError";
        return bLastCall;
    }

    bool m_bScreenSaver = false;
    bool m_bInstalled = true;
    bool m_bInit = true;
    std::vector<std::string> m_vecCalls;
};

struct Decided {
    std::string result;
    std::vector<std::string> calls;
};

Decided Decide(const std::string& text, CRecordingRoutes routes = {}) {
    Decided decided;
    decided.result = "untouched";
    DecideOpen(JsonOf(text), routes, decided.result);
    decided.calls = routes.m_vecCalls;
    return decided;
}

struct Polled {
    bool bEnded;
    std::string result;
    std::vector<std::string> calls;
};

Polled Poll(const std::string& text, bool bLastCall = false) {
    CRecordingRoutes routes;
    Polled polled;
    polled.result = "untouched";
    OpenPollInfo info;
    polled.bEnded =
        DecideOpenPoll(ParseOpenPollInfo(JsonOf(text), info) ? &info : nullptr, routes, polled.result, bLastCall);
    polled.calls = routes.m_vecCalls;
    return polled;
}

using Calls = std::vector<std::string>;

// Parsing the opening request.

TEST(ParseAppOpenInfo, EveryFieldIsReadFromItsOwnKey) {
    const AppOpenInfo info = Parse(R"({
        "type":"t","appId":"a","appPath":"p","wndname":"w","urlScheme":"u","yybParam":"y","taskId":"k","from":"f",
        "try_install":1,"AllowInstallYYB":1,"OvrinSafeExist":1,
        "loadingWnd":{"show":1,"timeOut":5000,"name":"n","iconUrl":"i"},
        "appShortcut":{"create":1,"shortcutName":"s","imageUrl":"m","successDot":"sd","errorDot":"ed"}})");
    AppOpenInfo expected;
    expected.type = "t";
    expected.appId = "a";
    expected.appPath = "p";
    expected.wndname = "w";
    expected.urlScheme = "u";
    expected.yybParam = "y";
    expected.taskId = "k";
    expected.from = "f";
    expected.try_install = expected.AllowInstallYYB = expected.OvrinSafeExist = true;
    expected.show = expected.create = true;
    expected.timeOut = 5000;
    expected.name = "n";
    expected.iconUrl = "i";
    expected.shortcutName = "s";
    expected.imageUrl = "m";
    expected.successDot = "sd";
    expected.errorDot = "ed";
    EXPECT_EQ(info, expected);
}

TEST(ParseAppOpenInfo, AnEmptyObjectGivesTheDefaults) {
    const AppOpenInfo info = Parse("{}");
    EXPECT_EQ(info, AppOpenInfo());
    EXPECT_EQ(info.timeOut, 2000);
}

TEST(ParseAppOpenInfo, WhatIsNotAnObjectIsRefusedAndLeavesTheDefaults) {
    for (const char* text : {"", " ", "null", "[]", "[{}]", "7", "\"text\"", "true", "{", "{\"from\":}", "from"}) {
        AppOpenInfo info;
        EXPECT_FALSE(WxMiniProgramService::ParseAppOpenInfo(JsonOf(text), info)) << text;
        EXPECT_EQ(info, AppOpenInfo()) << text;
    }
}

TEST(ParseAppOpenInfo, ATextNestedTooDeepIsRefused) {
    AppOpenInfo info;
    EXPECT_FALSE(WxMiniProgramService::ParseAppOpenInfo(JsonOf("{\"from\":" + std::string(5000, '[')), info));
    EXPECT_FALSE(WxMiniProgramService::ParseAppOpenInfo(JsonOf(std::string(5000, '{')), info));
    EXPECT_TRUE(WxMiniProgramService::ParseAppOpenInfo(JsonOf("{}"), info));
}

TEST(ParseAppOpenInfo, CommentsAreAllowed) {
    EXPECT_EQ(Parse("/* who */ {\"from\":\"a\" // asks\n}").from, "a");
}

TEST(ParseAppOpenInfo, NullAndBooleansConvertToText) {
    const AppOpenInfo info = Parse(R"({"type":null,"appId":true,"from":false})");
    EXPECT_EQ(info.type, "");
    EXPECT_EQ(info.appId, "true");
    EXPECT_EQ(info.from, "false");
}

TEST(ParseAppOpenInfo, AFlagIsSetByWhatConvertsToOneAlone) {
    EXPECT_TRUE(Parse(R"({"try_install":1})").try_install);
    EXPECT_TRUE(Parse(R"({"try_install":true})").try_install);
    EXPECT_TRUE(Parse(R"({"AllowInstallYYB":1.0})").AllowInstallYYB);
    EXPECT_FALSE(Parse(R"({"try_install":2})").try_install);
    EXPECT_FALSE(Parse(R"({"try_install":0})").try_install);
    EXPECT_FALSE(Parse(R"({"try_install":-1})").try_install);
    EXPECT_FALSE(Parse(R"({"OvrinSafeExist":false})").OvrinSafeExist);
    EXPECT_FALSE(Parse(R"({"OvrinSafeExist":null})").OvrinSafeExist);
}

TEST(ParseAppOpenInfo, ATrueDoesNotShowTheLoadingWindow) {
    EXPECT_FALSE(Parse(R"({"loadingWnd":{"show":true}})").show);
    for (const char* show : {"\"1\"", "1.0", "2", "null", "[1]", "4294967297"}) {
        EXPECT_FALSE(Parse(std::string("{\"loadingWnd\":{\"show\":") + show + "}}").show) << show;
    }
    EXPECT_TRUE(Parse(R"({"loadingWnd":{"show":1}})").show);
}

TEST(ParseAppOpenInfo, TheLoadingWindowsTextsNeedShow) {
    const AppOpenInfo info = Parse(R"({"loadingWnd":{"timeOut":5000,"name":"n","iconUrl":"i"}})");
    EXPECT_EQ(info.timeOut, 2000);
    EXPECT_EQ(info.name, "");
    EXPECT_EQ(info.iconUrl, "");
}

TEST(ParseAppOpenInfo, LoadingWindowMembersOfAnotherTypeAreIgnored) {
    const AppOpenInfo info = Parse(R"({"loadingWnd":{"show":1,"timeOut":"5000","name":7,"iconUrl":["i"]}})");
    EXPECT_TRUE(info.show);
    EXPECT_EQ(info.timeOut, 2000);
    EXPECT_EQ(info.name, "");
    EXPECT_EQ(info.iconUrl, "");
    EXPECT_EQ(Parse(R"({"loadingWnd":{"show":1,"timeOut":5e3}})").timeOut, 2000);
    EXPECT_EQ(Parse(R"({"loadingWnd":{"show":1,"timeOut":-5}})").timeOut, -5);
}

TEST(ParseAppOpenInfo, NumbersOutside32BitsAreNoIntegers) {
    for (const std::string number :
         {"-2147483649", "-3000000000", "-9223372036854775808", "2147483648", "4294967297"}) {
        EXPECT_FALSE(Parse(R"({"loadingWnd":{"show":)" + number + "}}").show) << number;
        EXPECT_EQ(Parse(R"({"loadingWnd":{"show":1,"timeOut":)" + number + "}}").timeOut, 2000) << number;
        EXPECT_FALSE(Parse(R"({"appShortcut":{"create":)" + number + "}}").create) << number;
    }
    EXPECT_EQ(Parse(R"({"loadingWnd":{"show":1,"timeOut":-2147483648}})").timeOut, -2147483648LL);
    EXPECT_EQ(Parse(R"({"loadingWnd":{"show":1,"timeOut":2147483647}})").timeOut, 2147483647);
}

TEST(ParseAppOpenInfo, ALoadingWindowThatIsNotAnObjectIsIgnored) {
    for (const char* text : {"\"x\"", "1", "[]", "true", "null"}) {
        const AppOpenInfo info = Parse(std::string("{\"from\":\"f\",\"loadingWnd\":") + text + "}");
        EXPECT_FALSE(info.show) << text;
        EXPECT_EQ(info.from, "f") << text;
    }
}

TEST(ParseAppOpenInfo, TheShortcutsTextsNeedCreate) {
    const std::string texts = R"("shortcutName":"s","imageUrl":"m","successDot":"sd","errorDot":"ed"}})";
    for (const char* create : {"\"create\":true,", "\"create\":0,", "\"create\":\"1\",", ""}) {
        EXPECT_EQ(Parse(std::string("{\"appShortcut\":{") + create + texts), AppOpenInfo()) << create;
    }
    const AppOpenInfo info = Parse("{\"appShortcut\":{\"create\":1," + texts);
    EXPECT_TRUE(info.create);
    EXPECT_EQ(info.errorDot, "ed");
}

TEST(ParseAppOpenInfo, ShortcutMembersOfAnotherTypeAreIgnored) {
    const AppOpenInfo info =
        Parse(R"({"appShortcut":{"create":1,"shortcutName":1,"imageUrl":null,"successDot":{},"errorDot":true}})");
    EXPECT_TRUE(info.create);
    EXPECT_EQ(info.shortcutName, "");
    EXPECT_EQ(info.imageUrl, "");
    EXPECT_EQ(info.successDot, "");
    EXPECT_EQ(info.errorDot, "");
    EXPECT_FALSE(Parse(R"({"appShortcut":"x"})").create);
    EXPECT_FALSE(Parse(R"({"appShortcut":null})").create);
}

TEST(ParseAppOpenInfo, TheLogTellsTheRequest) {
    const LogCapture log;
    Parse(R"({"type":"miniApp","appId":"a","appPath":"p","from":"小","taskId":"k","try_install":true})");
    EXPECT_TRUE(
        log.Has("ParseAppOpenInfo : type[miniApp] appId[a] appPath[p] wndname[] urlScheme[] yybParam[] taskId[k] "
                "from[小] try_install[1] AllowInstallYYB[0] OvrinSafeExist[0]"))
        << log.All();
    EXPECT_TRUE(log.Has("ParseAppOpenInfo loadingWnd: show[0] timeOut[2000] name[] iconUrl[] ")) << log.All();
    EXPECT_EQ(log.Find("ParseAppOpenInfo : ").find("[WxMiniProgramService::ParseAppOpenInfo("), 0u) << log.All();
    Parse(R"({"loadingWnd":{"show":1,"timeOut":5,"name":"n","iconUrl":"i"}})");
    EXPECT_TRUE(log.Has("ParseAppOpenInfo loadingWnd: show[1] timeOut[5] name[n] iconUrl[i] ")) << log.All();
}

TEST(ParseAppOpenInfo, TheShortcutLineNamesBothBeaconsErrorDot) {
    const LogCapture log;
    Parse(R"({"appShortcut":{"create":1,"shortcutName":"s","imageUrl":"m","successDot":"sd","errorDot":"ed"}})");
    EXPECT_TRUE(
        log.Has("ParseAppOpenInfo appShortcut: create[1] imageUrl[m] shortcutName[s] errorDot[sd] errorDot[ed] "))
        << log.All();
}

TEST(ParseAppOpenInfo, ARefusedTextLogsNothing) {
    const LogCapture log;
    AppOpenInfo info;
    EXPECT_FALSE(WxMiniProgramService::ParseAppOpenInfo(JsonOf("[]"), info));
    EXPECT_EQ(log.All(), "");
}

struct Inconvertible {
    const char* name;
    const char* text;
    const char* failure;
};

void PrintTo(const Inconvertible& one, std::ostream* out) {
    *out << one.name;
}

using ParseAppOpenInfoDeathTest = testing::TestWithParam<Inconvertible>;

TEST_P(ParseAppOpenInfoDeathTest, AValueThatDoesNotConvertEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const std::string text = GetParam().text;
    EXPECT_DEATH(
        [&]() noexcept {
            AppOpenInfo info;
            WxMiniProgramService::ParseAppOpenInfo(JsonOf(text), info);
        }(),
        GetParam().failure);
}

constexpr char kNoText[] = "Type is not convertible to string";
constexpr char kNoInt[] = "Value is not convertible to Int";

INSTANTIATE_TEST_SUITE_P(
    TopLevel, ParseAppOpenInfoDeathTest,
    testing::Values(
        Inconvertible{"Number", R"({"type":7})", kNoText}, Inconvertible{"Real", R"({"appId":1.5})", kNoText},
        Inconvertible{"Array", R"({"appPath":[]})", kNoText}, Inconvertible{"Object", R"({"wndname":{}})", kNoText},
        Inconvertible{"Negative", R"({"urlScheme":-1})", kNoText},
        Inconvertible{"Large", R"({"yybParam":3000000000})", kNoText},
        Inconvertible{"FullArray", R"({"taskId":[1]})", kNoText}, Inconvertible{"Zero", R"({"from":0})", kNoText},
        Inconvertible{"TextFlag", R"({"try_install":"1"})", kNoInt},
        Inconvertible{"ArrayFlag", R"({"AllowInstallYYB":[]})", kNoInt},
        Inconvertible{"ObjectFlag", R"({"OvrinSafeExist":{}})", kNoInt},
        Inconvertible{"LargeFlag", R"({"try_install":3000000000})", "LargestUInt out of Int range"},
        Inconvertible{"SmallFlag", R"({"try_install":-3000000000})", "LargestInt out of Int range"}),
    [](const auto& row) { return std::string(row.param.name); });

// Deciding the opening request.

TEST(DecideOpen, ATextThatIsNotAnObjectIsAParseError) {
    for (const char* text : {"", "[]", "7", "\"from\"", "{\"from\":\"f\"", "null"}) {
        const Decided decided = Decide(text);
        EXPECT_EQ(decided.result, "ParseAppOpenInfo error") << text;
        EXPECT_EQ(decided.calls, Calls()) << text;
    }
}

TEST(DecideOpen, AMissingFromIsToldBeforeAnUnknownType) {
    EXPECT_EQ(Decide(R"({"type":"other"})").result, "not from");
    EXPECT_EQ(Decide(R"({})").result, "not from");
    EXPECT_EQ(Decide(R"({"from":"","type":"yyb"})").result, "not from");
    EXPECT_EQ(Decide(R"({"from":null})").calls, Calls());
}

TEST(DecideOpen, AFromWithoutATypeCountsAsNone) {
    EXPECT_EQ(Decide(R"({"from":"f"})").result, "not type");
    EXPECT_EQ(Decide(R"({"from":"f","type":"other"})").result, "not type");
}

TEST(DecideOpen, TheCaseOfATypeMatters) {
    for (const char* type : {"WeChat", "wechat", "MiniApp", "miniapp", "YYB", "yyb ", " yyb", "weChat\\u0000"}) {
        EXPECT_EQ(Decide(std::string(R"({"from":"f","taskId":"k","type":")") + type + "\"}").result, "not type")
            << type;
    }
}

TEST(DecideOpen, TheScreenSaverRefusesEveryTypeAfterFrom) {
    CRecordingRoutes routes;
    routes.m_bScreenSaver = true;
    for (const char* type : {"weChat", "miniApp", "yyb", "other", ""}) {
        const std::string text = std::string(R"({"from":"f","appId":"a","taskId":"k","wndname":"w","urlScheme":"u",)"
                                             R"("yybParam":"y","type":")") +
                                 type + "\"}";
        const Decided decided = Decide(text, routes);
        EXPECT_EQ(decided.result, "is system screen saver") << type;
        EXPECT_EQ(decided.calls, Calls{"IsSystemPicStart"}) << type;
    }
}

TEST(DecideOpen, TheScreenSaverStillTellsAParseErrorAndAMissingFrom) {
    CRecordingRoutes routes;
    routes.m_bScreenSaver = true;
    EXPECT_EQ(Decide("[", routes).result, "ParseAppOpenInfo error");
    EXPECT_EQ(Decide(R"({"type":"yyb"})", routes).result, "not from");
}

TEST(DecideOpen, TheScreenSaverIsLogged) {
    CRecordingRoutes routes;
    routes.m_bScreenSaver = true;
    const LogCapture log;
    Decide(R"({"from":"f"})", routes);
    EXPECT_TRUE(log.Has("OpenApp ----- Is System screen saver return")) << log.All();
}

TEST(DecideOpen, WeChatNeedsSchemeWindowNameAndTask) {
    const std::string lack = "OpenWithWeChat lack param";
    EXPECT_EQ(Decide(R"({"from":"f","type":"weChat","wndname":"w","taskId":"k"})").result, lack);
    EXPECT_EQ(Decide(R"({"from":"f","type":"weChat","urlScheme":"u","taskId":"k"})").result, lack);
    EXPECT_EQ(Decide(R"({"from":"f","type":"weChat","urlScheme":"u","wndname":"w"})").result, lack);
    EXPECT_EQ(Decide(R"({"from":"f","type":"weChat"})").calls, Calls{"IsSystemPicStart"});
}

TEST(DecideOpen, WeChatGoesToTheClient) {
    const Decided decided = Decide(R"({"from":"f","type":"weChat","urlScheme":"u","wndname":"w","taskId":"k"})");
    EXPECT_EQ(decided.result, "1");
    EXPECT_EQ(decided.calls, (Calls{"IsSystemPicStart", "OpenWithWeChat u w k"}));
}

TEST(DecideOpen, AMiniAppNeedsAppAndTask) {
    const Decided noTask = Decide(R"({"from":"f","type":"miniApp","appId":"a"})");
    EXPECT_EQ(noTask.result, "OpenWithWxSDK lack param");
    EXPECT_EQ(noTask.calls, Calls{"IsSystemPicStart"});
    EXPECT_EQ(Decide(R"({"from":"f","type":"miniApp","taskId":"k"})").result, "OpenWithWxSDK lack param");
}

TEST(DecideOpen, AMiniAppNeedsNoPath) {
    const Decided decided = Decide(R"({"from":"f","type":"miniApp","appId":"a","taskId":"k"})");
    EXPECT_EQ(decided.result, "1");
    EXPECT_EQ(decided.calls, (Calls{"IsSystemPicStart", "IsWxMiniProgramInstalled", "InitWxApi", "OpenWithWxSDK a [] k",
                                    "SetLastTaskId k"}));
}

TEST(DecideOpen, TheTaskIdIsStoredAfterTheOpenCall) {
    const Decided decided = Decide(R"({"from":"f","type":"miniApp","appId":"a","appPath":"p","taskId":"k"})");
    ASSERT_EQ(decided.calls.size(), 5u);
    EXPECT_EQ(decided.calls[3], "OpenWithWxSDK a [p] k");
    EXPECT_EQ(decided.calls[4], "SetLastTaskId k");
}

TEST(DecideOpen, AMiniAppWithoutItsApplicationIsUninstalledAndStillTheLastTask) {
    CRecordingRoutes routes;
    routes.m_bInstalled = false;
    const Decided decided = Decide(R"({"from":"f","type":"miniApp","appId":"a","taskId":"k"})", routes);
    EXPECT_EQ(decided.result, "uninstalled");
    EXPECT_EQ(decided.calls, (Calls{"IsSystemPicStart", "IsWxMiniProgramInstalled", "SetLastTaskId k"}));
}

TEST(DecideOpen, AMiniAppWithoutItsSdkIsAnInitErrorAndStillTheLastTask) {
    CRecordingRoutes routes;
    routes.m_bInit = false;
    const Decided decided = Decide(R"({"from":"f","type":"miniApp","appId":"a","taskId":"k"})", routes);
    EXPECT_EQ(decided.result, "InitWxApi error");
    EXPECT_EQ(decided.calls, (Calls{"IsSystemPicStart", "IsWxMiniProgramInstalled", "InitWxApi", "SetLastTaskId k"}));
}

TEST(DecideOpen, YybNeedsParamAppAndTask) {
    const std::string lack = "OpenWidthYybSDK lack param";
    EXPECT_EQ(Decide(R"({"from":"f","type":"yyb","appId":"a","taskId":"k"})").result, lack);
    EXPECT_EQ(Decide(R"({"from":"f","type":"yyb","yybParam":"y","taskId":"k"})").result, lack);
    EXPECT_EQ(Decide(R"({"from":"f","type":"yyb","yybParam":"y","appId":"a"})").result, lack);
    EXPECT_EQ(Decide(R"({"from":"f","type":"yyb"})").calls, Calls{"IsSystemPicStart"});
}

TEST(DecideOpen, YybMayInstallWithAllThreeFlagsAlone) {
    const char* names[] = {"try_install", "AllowInstallYYB", "OvrinSafeExist"};
    for (int set = 0; set < 8; ++set) {
        std::string text = R"({"from":"f","type":"yyb","yybParam":"y","appId":"a","taskId":"k")";
        for (int flag = 0; flag < 3; ++flag) {
            text += std::string(",\"") + names[flag] + "\":" + ((set >> flag) & 1 ? "1" : "0");
        }
        const Decided decided = Decide(text + "}");
        EXPECT_EQ(decided.result, "0") << text;
        EXPECT_EQ(decided.calls,
                  (Calls{"IsSystemPicStart", std::string("OpenWidthYybSDK y a k") + (set == 7 ? " may install" : "")}))
            << text;
    }
}

// Polling.

TEST(DecideOpenPoll, ATextThatIsNotAnObjectIsAParseError) {
    for (const char* text : {"", "[]", "7", "\"from\"", "{", "null"}) {
        const Polled polled = Poll(text);
        EXPECT_FALSE(polled.bEnded) << text;
        EXPECT_EQ(polled.result, "ParseAppOpenInfo error") << text;
        EXPECT_EQ(polled.calls, Calls()) << text;
    }
}

TEST(DecideOpenPoll, AMissingFromIsToldBeforeAnUnknownType) {
    EXPECT_EQ(Poll(R"({"type":"other"})").result, "not from");
    EXPECT_EQ(Poll(R"({"type":"weChat","from":7})").result, "not from");
    EXPECT_FALSE(Poll("{}").bEnded);
}

TEST(DecideOpenPoll, AnUnknownTypeCountsAsNone) {
    EXPECT_EQ(Poll(R"({"from":"f"})").result, "not type");
    EXPECT_EQ(Poll(R"({"from":"f","type":"WeChat"})").result, "not type");
    // A type that is not a text counts as none.
    EXPECT_EQ(Poll(R"({"from":"f","type":7})").result, "not type");
    EXPECT_FALSE(Poll(R"({"from":"f"})").bEnded);
}

TEST(DecideOpenPoll, EachTypeAsksItsRoute) {
    const Polled weChat = Poll(R"({"from":"f","type":"weChat","wndname":"w","taskId":"k"})", true);
    EXPECT_TRUE(weChat.bEnded);
    EXPECT_EQ(weChat.result, "Loading");
    EXPECT_EQ(weChat.calls, Calls{"PollWeChat w k last"});
    EXPECT_FALSE(Poll(R"({"from":"f","type":"weChat","wndname":"w","taskId":"k"})", false).bEnded);

    const Polled miniApp = Poll(R"({"from":"f","type":"miniApp","taskId":"k"})", true);
    EXPECT_TRUE(miniApp.bEnded);
    EXPECT_EQ(miniApp.result, "1");
    EXPECT_EQ(miniApp.calls, Calls{"PollWxSDK k"});
    EXPECT_FALSE(Poll(R"({"from":"f","type":"miniApp","taskId":"other"})", true).bEnded);

    const Polled yyb = Poll(R"({"from":"f","type":"yyb","wndname":"w","taskId":"k","mon_wndexists":1})", true);
    EXPECT_TRUE(yyb.bEnded);
    EXPECT_EQ(yyb.result, "LaunchError");
    EXPECT_EQ(yyb.calls, Calls{"PollYyb w k 1 last"});
    EXPECT_FALSE(Poll(R"({"from":"f","type":"yyb","wndname":"w","taskId":"k"})", false).bEnded);
}

TEST(DecideOpenPoll, TextsOfAnotherTypeCountAsEmpty) {
    const Polled polled = Poll(R"({"from":"f","type":"yyb","wndname":["w"],"taskId":12})");
    EXPECT_EQ(polled.calls, Calls{"PollYyb   0"});
}

TEST(DecideOpenPoll, TheWindowWatchIsConvertedToANumber) {
    const auto watch = [](const std::string& value) {
        OpenPollInfo info;
        EXPECT_TRUE(ParseOpenPollInfo(JsonOf("{\"mon_wndexists\":" + value + "}"), info)) << value;
        return info.mon_wndexists;
    };
    EXPECT_EQ(watch("1"), 1u);
    EXPECT_EQ(watch("true"), 1u);
    EXPECT_EQ(watch("1.9"), 1u);
    EXPECT_EQ(watch("0"), 0u);
    EXPECT_EQ(watch("null"), 0u);
    EXPECT_EQ(watch("-1"), 0xFFFFFFFFu);
}

TEST(DecideOpenPollDeathTest, AWindowWatchThatDoesNotConvertEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH([]() noexcept { Poll(R"({"from":"f","type":"yyb","mon_wndexists":"1"})"); }(),
                 "Value is not convertible to Int");
}

}  // namespace
