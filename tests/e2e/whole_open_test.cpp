// A typical open from the first start to the end of the process, once for each route: replies, log, beacons, statistics
// URLs, the monitor's notice, the registry and the exit code.
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>

#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "tests/e2e/proxied.h"
#include "tests/support/stand_in_monitor.h"
#include "tests/support/stand_in_wechat.h"
#include "tests/support/stand_in_yyb.h"
#include "tests/support/system_version.h"
#include "tests/support/unique_name.h"

namespace {

// Three asks. The time of grace is as long; both together fit between two looks of the helper.
constexpr int kInterval = 4100;
constexpr UINT_PTR kLongTimer = 272;
constexpr char kNoticeBeacon[] = "/static/a/1687.8948.gif";
const char kPopUp[] = R"({"name":"Jump & run","icon":"http://pictures/i.png","appid":"wx1","impressionid":"imp-9",)"
                      R"("style_id":-3,"ext_data":{"b":[1,true],"a":"x"}})";

class WholeOpen;

// What differs from route to route.
struct Route {
    const char* name;
    const char* type;
    const char* open;  // the p1 of the open
    const char* word;  // the result word of the open
    void (*lay)(WholeOpen& test);
    std::vector<std::string> log;      // of the open, in order
    std::vector<std::string> beacons;  // sent before the delayed check, in order
};

void PrintTo(const Route& route, std::ostream* out) {
    *out << route.name;
}

class WholeOpen : public CProxied, public ::testing::WithParamInterface<Route> {
  public:
    void LayOcean() {
        m_sandbox.LayOcean(L"good", /*mlHost=*/m_strMark == L"ml");
        m_sandbox.SetOcean(L"gate", m_gate.Name());
        m_calls = [this] { return m_sandbox.OceanCalls(); };
        m_lastCall = "uninit\n";
    }
    void LayYyb() {
        const std::filesystem::path folder(m_sandbox.SdkPath());
        m_yyb.emplace(m_strMark == L"ml" ? folder : folder / L"yybsdk");
        m_yyb->Set(L"report", LR"({"status":"CompleteLaunch","pkgname":"wx1"})");
        m_yyb->Set(L"gate", m_gate.Name());
        m_calls = [this] { return Joined(m_yyb->Calls()); };
        m_lastCall = "Uninitialize\n";
    }
    void LayYybThatIsToBeInstalled() {
        LayYyb();
        m_yyb->Set(L"present", L"0");
    }

    void LayWeChat() {
        const std::wstring title = UniqueName(L"page");
        m_client.emplace(std::filesystem::path(m_sandbox.SdkPath()) / L"wechat");
        m_client->Set(L"title", title);
        m_client->Set(L"gate", m_gate.Name());
        m_more["urlScheme"] = m_client->Url("page");
        m_more["wndname"] = Utf16ToUtf8(title);
        m_calls = [this] { return Joined(m_client->Calls()); };
        m_lastCall = "window " + Utf16ToUtf8(title) + "\n";
    }

  protected:
    explicit WholeOpen(const std::wstring& mark = L"e2e") : CProxied(mark) {}

    static std::string Joined(const std::vector<std::string>& calls) {
        std::string text;
        for (const std::string& call : calls) {
            text += call + "\n";
        }
        return text;
    }

    void TearDown() override {
        CProxied::TearDown();
        m_client.reset();
    }

    // members, and those that only the machine knows.
    Json::Value WithMore(Json::Value members) const {
        for (const std::string& key : m_more.getMemberNames()) {
            members[key] = m_more[key];
        }
        return members;
    }

    // The text of the delayed check: what the poll asks, how long, and what to fetch afterwards.
    std::string RunStatus(int interval) const {
        Json::Value run = WithMore(Json::objectValue);
        run["type"] = GetParam().type;
        run["taskId"] = "task-1";
        run["from"] = "e2e";
        run["interval"] = interval;
        for (const char* url : {"http://caller.invalid/success/1", "", "http://caller.invalid/success/2"}) {
            run["successLog"].append(url);
        }
        run["errorLog"].append("http://caller.invalid/error/1");
        run["isWxPopShow"] = 1;
        run["wxPopData"] = JsonOf(kPopUp);
        return WriteJson(run);
    }

    // The start, the ready notice, the open and its reply.
    void StartAndOpen() {
        GetParam().lay(*this);
        ASSERT_TRUE(m_sandbox.Ready());
        StartHelper();
        Json::Value content = ServiceContent(m_strService);
        content["p1"] = WithMore(JsonOf(GetParam().open));
        content["mine"] = "echoed";
        const Json::Value reply =
            Ask(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN, content, MessageType::S_MT_OpenMiniAppReply);
        content["result"] = GetParam().word;
        content["ret"] = "0";
        EXPECT_EQ(reply, content) << "the request comes back with two keys";
    }

    // The delayed check; the SDK answers when it has asked in vain once.
    void CheckDelayed() {
        Json::Value content(Json::objectValue);
        content["p1"] = RunStatus(kInterval);
        ASSERT_EQ(m_caller->Send(Number(MessageType::S_MT_DelayCheckWndStatus), content, kLongMs), CallerResult::Ok);
        ASSERT_TRUE(Log().WaitFor("print strResult=Loading, bLastCall = 0", kLongMs));
        EXPECT_TRUE(Targets("caller.invalid").empty()) << "nothing is fetched while the open is under way";
        m_gate.Set();
        ASSERT_TRUE(Log().WaitFor("DelayCheckWndThread end", kLongMs));
        EXPECT_EQ(Targets("caller.invalid"), (std::vector<std::string>{"http://caller.invalid:80/success/1",
                                                                       "http://caller.invalid:80/success/2"}));
    }

    // The log of the whole life, up to the erased instance.
    void ExpectTheLogOfAllSteps(const std::vector<std::string>& ofTheNotice) const {
        std::vector<std::string> lines = {
            "zolt strCmd=",
            "start init",
            "For the first time!",
            "create timer",
            "InitZOLTSIPC end",
            "InitHangWatcherThread begin",
            "InitMonCPUUsageThread begin",
            "InitConfInfoThread begin",
            "DealWithMsg end",
            R"(Type=12, Message={"content":{"p1":"1"},"message_type":12})",
            "receive WM_COPY_DATA_MSG_IPC_GET_OPEN",
        };
        const auto add = [&lines](const std::vector<std::string>& more) {
            lines.insert(lines.end(), more.begin(), more.end());
        };
        add(GetParam().log);
        add({"Type=17, Message=", "receive MessageType::S_MT_DelayCheckWndStatus", "error second DelayCheckWndStatus",
             "DelayCheckWndThread strServiceId = svc, interval 4100", "print strResult=Loading, bLastCall = 0",
             "enter to NotifyWDMonitorMsg"});
        add(ofTheNotice);
        add({"print strResult=1, bLastCall = 0", "successLog url=http://caller.invalid/success/1",
             "HttpResponseCallback: dwStatus=200", "successLog url=", "successLog url=http://caller.invalid/success/2",
             "HttpResponseCallback: dwStatus=200", "DelayCheckWndThread end",
             "receive MessageType::S_MT_ExitExeProcess", "DestroyWxServiceItme begin", "DestroyWxServiceItme end",
             "DelayedDestroyThread end, strServiceId = svc", "Check procee exit begin",
             "erase it ,is service id svc, nDelayedTaskCount = 0, bDLLWndExist = 1, bIsDelayedDestroy = 1",
             "begin destruct strServiceId = svc "});
        EXPECT_EQ(Log().FirstOutOfOrder(lines), "") << Log().Tail(300);
    }

    void ExpectBeacons(std::vector<std::string> paths) const {
        const std::vector<std::string> seen = Targets("statistics.nexlet.invalid");
        ASSERT_EQ(seen.size(), paths.size()) << ::testing::PrintToString(seen);
        for (std::size_t i = 0; i < paths.size(); ++i) {
            EXPECT_NE(seen[i].find(paths[i]), std::string::npos) << seen[i];
            EXPECT_NE(seen[i].find("e2e-mid"), std::string::npos) << "the machine id is in every one: " << seen[i];
        }
    }

    // The daily file was fetched once and is remembered.
    void ExpectTheDailyConfiguration() const {
        EXPECT_EQ(Targets(kInfoPath).size(), 1u);
        EXPECT_EQ(Stored(L"app_shortcut_create"), 1u);
        EXPECT_TRUE(Stored(L"last_info_time"));
    }

    void ExpectTheLastCall() const { EXPECT_TRUE(m_calls().ends_with(m_lastCall)) << m_calls(); }

    // On a system of version 6.1 the beacons are plain, and the proxy sees where they go.
    ScopedSystemVersion m_version{L"6.1"};
    CTestEvent m_gate;
    std::optional<CStandInYyb> m_yyb;
    std::optional<CStandInWeChat> m_client;
    Json::Value m_more{Json::objectValue};
    std::function<std::string()> m_calls;
    std::string m_lastCall;  // by the end of the process
};

TEST_P(WholeOpen, RunsFromTheStartToTheEndOfTheProcess) {
    const CStandInMonitor monitor(std::filesystem::path(m_sandbox.SdkPath()) / L"monitor");
    ASSERT_NO_FATAL_FAILURE(StartAndOpen());
    ASSERT_NO_FATAL_FAILURE(CheckDelayed());
    AskToExit();
    EXPECT_EQ(m_helper.WaitForEnd(kLongMs), 0u);
    EXPECT_EQ(m_caller->WaitForLoss(kLongMs), CallerResult::Ok);

    const std::string mark(m_strMark.begin(), m_strMark.end());
    ExpectTheLogOfAllSteps({"strResult is not 1, strResult=1, m_mark=" + mark});
    EXPECT_EQ(Log().FirstOutOfOrder({"begin destruct", "ovrinse Check procee exit begin"}), "");
    ExpectBeacons(GetParam().beacons);
    EXPECT_TRUE(monitor.Notices().empty()) << "another mark than ml never reaches the monitor";
    ExpectTheDailyConfiguration();
    ExpectTheLastCall();
}

// The mark whose opens the monitor hears of.
class WholeOpenOfMl : public WholeOpen {
  protected:
    WholeOpenOfMl() : WholeOpen(L"ml") {}

    // The longer timer has run out: its message, ahead of its time.
    void RunTheLongTimerOut() {
        HWND window = nullptr;
        ASSERT_TRUE(WaitUntil([&] {
            window = FindWindowExW(HWND_MESSAGE, nullptr, L"ProgramIPCMessageS_ml", nullptr);
            return window != nullptr;
        }));
        ASSERT_NE(PostMessageW(window, WM_TIMER, kLongTimer, 0), FALSE) << GetLastError();
    }
    void LeaveAndEnd() {
        AskToExit();
        ASSERT_TRUE(Log().WaitFor("is ml", kLongMs)) << "the table is empty, and the short timer does not end it";
        EXPECT_TRUE(m_helper.IsRunning());
        ASSERT_NO_FATAL_FAILURE(RunTheLongTimerOut());
        EXPECT_EQ(m_helper.WaitForEnd(kLongMs), 0u);
        EXPECT_EQ(
            Log().FirstOutOfOrder({"is ml", "Check timeout, exit process begin", "Check timeout, exit process end"}),
            "");
        ExpectTheLastCall();
    }
    std::vector<std::string> BeaconsWithNotice() const {
        std::vector<std::string> beacons = GetParam().beacons;
        beacons.push_back(std::string(kNoticeBeacon) + "?_referer=wx1%5FJump+%26+run&");
        return beacons;
    }
};

std::string Entry(const std::string& key, char tag, const std::string& value) {
    const auto word = [](std::size_t number) {
        return std::string{static_cast<char>(number & 0xFF), static_cast<char>(number >> 8)};
    };
    return word(key.size()) + key + std::string{tag, '\0'} + word(value.size()) + value;
}

std::string Hex(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        char digits[3] = {};
        snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(byte));
        text += digits;
    }
    return text;
}

TEST_P(WholeOpenOfMl, TellsTheMonitorAndStaysForTheLongTimer) {
    const CStandInMonitor monitor(std::filesystem::path(m_sandbox.SdkPath()) / L"monitor");
    ASSERT_NO_FATAL_FAILURE(StartAndOpen());
    ASSERT_NO_FATAL_FAILURE(CheckDelayed());
    ASSERT_NO_FATAL_FAILURE(LeaveAndEnd());

    ExpectTheLogOfAllSteps({"send WD MSG ret=1", "send to WD success", "Report: https://statistics.nexlet.invalid"});
    ExpectBeacons(BeaconsWithNotice());
    ExpectTheDailyConfiguration();

    const std::vector<Json::Value> notices = monitor.Notices();
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_EQ(notices[0]["fault"].asString(), "") << WriteJson(notices[0]);
    EXPECT_EQ(notices[0]["kind"].asUInt(), 0x4D47534Du);
    constexpr char kText = 101;
    constexpr char kNumber = 3;
    EXPECT_EQ(notices[0]["bytes"].asString(),
              Hex(std::string("BVRS\x01\x00\x08\x00", 8) + Entry("_type_", kText, "appexit") +
                  Entry("windowname", kText, "Jump & run") + Entry("icon", kText, "http://pictures/i.png") +
                  Entry("id", kText, "wx1") + Entry("imps", kText, "imp-9") +
                  Entry("ext", kText, R"({"a":"x","b":[1,true]})") + Entry("st", kText, "-3") +
                  Entry("from", kNumber, std::string("\x02\x00\x00\x00", 4)) + "\x7D\x92\x5F\x3E"));
    EXPECT_EQ(
        notices[0]["entries"],
        JsonOf(R"([{"key":"_type_","tag":101,"value":"appexit"},{"key":"windowname","tag":101,"value":"Jump & run"},)"
               R"({"key":"icon","tag":101,"value":"http://pictures/i.png"},{"key":"id","tag":101,"value":"wx1"},)"
               R"({"key":"imps","tag":101,"value":"imp-9"},)"
               R"({"key":"ext","tag":101,"value":"{\"a\":\"x\",\"b\":[1,true]}"},)"
               R"({"key":"st","tag":101,"value":"-3"},{"key":"from","tag":3,"value":2}])"));
}

// The monitor does not hear of it.
class WholeOpenUnheard : public WholeOpenOfMl {};

TEST_P(WholeOpenUnheard, GoesOnWithoutAMonitor) {
    ASSERT_NO_FATAL_FAILURE(StartAndOpen());
    ASSERT_NO_FATAL_FAILURE(CheckDelayed());
    ASSERT_NO_FATAL_FAILURE(LeaveAndEnd());
    ExpectTheLogOfAllSteps({"send WD MSG failed", "send WD MSG ret=0"});
    ExpectBeacons(GetParam().beacons);
}

TEST_P(WholeOpenUnheard, GoesOnWhenTheMonitorHangs) {
    const CStandInMonitor monitor(std::filesystem::path(m_sandbox.SdkPath()) / L"monitor",
                                  CStandInMonitor::Mood::Hangs);
    ASSERT_NO_FATAL_FAILURE(StartAndOpen());
    ASSERT_NO_FATAL_FAILURE(CheckDelayed());
    ExpectServed();
    ASSERT_NO_FATAL_FAILURE(LeaveAndEnd());
    ExpectTheLogOfAllSteps({"send WD MSG failed", "send WD MSG ret=0"});
    ExpectBeacons(GetParam().beacons);
    EXPECT_TRUE(monitor.Notices().empty());
}

// An open that fails in the end.
class WholeOpenThatFails : public WholeOpen {};

TEST_P(WholeOpenThatFails, FetchesTheErrorUrlsAndEndsAsWell) {
    ASSERT_NO_FATAL_FAILURE(StartAndOpen());
    Json::Value content(Json::objectValue);
    content["p1"] = RunStatus(kInterval);
    ASSERT_EQ(m_caller->Send(Number(MessageType::S_MT_DelayCheckWndStatus), content, kLongMs), CallerResult::Ok);
    AskToExit();
    EXPECT_EQ(m_helper.WaitForEnd(kLongMs), 0u);
    EXPECT_EQ(Log().FirstOutOfOrder({"print strResult=Loading, bLastCall = 0", "print strResult=Loading, bLastCall = 0",
                                     ", bLastCall = 1", "errorLog url=http://caller.invalid/error/1",
                                     "HttpResponseCallback: dwStatus=200", "DelayCheckWndThread end",
                                     "erase it ,is service id svc, nDelayedTaskCount = 0, bDLLWndExist = 1, "
                                     "bIsDelayedDestroy = 1"}),
              "")
        << Log().Tail(300);
    EXPECT_EQ(Log().FindAll("print strResult=").size(), 3u) << "after 2 and 4 seconds, and once more as the last";
    EXPECT_EQ(Targets("caller.invalid"), std::vector<std::string>{"http://caller.invalid:80/error/1"});
    ExpectBeacons(GetParam().beacons);
}

const Route kMiniApp = {"miniApp",
                        "miniApp",
                        R"({"type":"miniApp","appId":"wx1","appPath":"pages/index","taskId":"task-1","from":"e2e"})",
                        "1",
                        [](WholeOpen& test) { test.LayOcean(); },
                        {"ParseAppOpenInfo : type[miniApp] appId[wx1]"},
                        {}};

const Route kYyb = {"yyb",
                    "yyb",
                    R"({"type":"yyb","yybParam":"param","appId":"wx1","taskId":"task-1","from":"e2e"})",
                    "1",
                    [](WholeOpen& test) { test.LayYyb(); },
                    {"ParseAppOpenInfo : type[yyb] appId[wx1]", "enter open yyb", "end open yyb result=1"},
                    {}};

const Route kYybToBeInstalled = {"yybToBeInstalled",
                                 "yyb",
                                 R"({"type":"yyb","yybParam":"param","appId":"wx1","taskId":"task-1","from":"e2e",)"
                                 R"("try_install":1,"AllowInstallYYB":1,"OvrinSafeExist":1})",
                                 "install",
                                 [](WholeOpen& test) { test.LayYybThatIsToBeInstalled(); },
                                 {"ParseAppOpenInfo : type[yyb] appId[wx1]", "enter open yyb", "install yyb",
                                  "/stats/yybinst", "/static/a/1663.9650.gif"},
                                 {"/static/a/1663.9650.gif"}};

const Route kWeChat = {"weChat",
                       "weChat",
                       R"({"type":"weChat","taskId":"task-1","from":"e2e"})",
                       "1",
                       [](WholeOpen& test) { test.LayWeChat(); },
                       {"ParseAppOpenInfo : type[weChat]"},
                       {}};

std::string RouteName(const ::testing::TestParamInfo<Route>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Routes, WholeOpen, ::testing::Values(kMiniApp, kYyb, kYybToBeInstalled, kWeChat), RouteName);
INSTANTIATE_TEST_SUITE_P(Routes, WholeOpenOfMl, ::testing::Values(kMiniApp, kYyb, kWeChat), RouteName);
INSTANTIATE_TEST_SUITE_P(Routes, WholeOpenUnheard, ::testing::Values(kMiniApp), RouteName);
INSTANTIATE_TEST_SUITE_P(Routes, WholeOpenThatFails, ::testing::Values(kMiniApp, kYyb, kWeChat), RouteName);

}  // namespace
