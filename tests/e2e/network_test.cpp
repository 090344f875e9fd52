// What the real helper sends over the network: its beacons and the daily configuration. A proxy of the test stands for
// every host, by the setting of this prefix's user.
#include "tests/support/http_test_server.h"

#include <algorithm>
#include <atomic>
#include <optional>

#include "tests/e2e/end_to_end.h"
#include "tests/support/system_version.h"
#include "tests/support/tls_test_server.h"
#include "tests/support/unique_name.h"

namespace {

constexpr wchar_t kHelperKey[] = L"Software\\Ovrin\\zolt";
constexpr char kInfoPath[] = "/wxzolt/info.txt";
constexpr char kLoadFailurePath[] = "/static/a/1663.4439.gif";

std::optional<DWORD> Stored(const wchar_t* name) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    if (SHGetValueW(HKEY_CURRENT_USER, kHelperKey, name, nullptr, &value, &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return value;
}

class Network : public CEndToEnd {
  protected:
    Network() { ForgetConfiguration(); }
    ~Network() override { ForgetConfiguration(); }

    static void ForgetConfiguration() {
        SHDeleteValueW(HKEY_CURRENT_USER, kHelperKey, L"last_info_time");
        SHDeleteValueW(HKEY_CURRENT_USER, kHelperKey, L"app_shortcut_create");
    }

    HttpTestReply Answer(const HttpTestRequest& request) {
        if (request.strMethod == "CONNECT") {
            return HttpTestReply::Tunnel(tls_test_server::Port("self_signed"));
        }
        if (request.strTarget.ends_with(kInfoPath)) {
            return HttpTestReply::Of(m_nInfoStatus, R"({"appShortcut":{"create":1}})");
        }
        HttpTestReply reply = HttpTestReply::Of(200);
        if (m_hBeaconGate != nullptr) {
            reply.nBytesBeforeGate = 0;
            reply.hGate = m_hBeaconGate;
        }
        return reply;
    }

    // The targets that contain part, in order of arrival.
    std::vector<std::string> Targets(const std::string& part) const {
        std::vector<std::string> targets;
        for (const HttpTestRequest& request : m_proxy.Requests()) {
            if (request.strTarget.find(part) != std::string::npos) {
                targets.push_back(request.strTarget);
            }
        }
        return targets;
    }

    // Waits until count targets contain part; false after a minute without.
    bool WaitForTargets(const std::string& part, std::size_t count) const {
        for (std::size_t seen = m_proxy.Requests().size(); Targets(part).size() < count; ++seen) {
            if (!m_proxy.WaitForRequests(seen + 1)) {
                return false;
            }
        }
        return true;
    }

    // Starts the helper with an SDK that the loader refuses and a machine id of this test's own.
    void StartWithBrokenSdk() {
        m_sandbox.LayOcean(L"broken");
        ASSERT_TRUE(m_sandbox.Ready());
        HelperStart start;
        start.strChannel = MakeChannelText(m_strMark, m_strMid, 7, "product", "from");
        StartHelper(start);
    }

    std::atomic<int> m_nInfoStatus{200};
    HANDLE m_hBeaconGate = nullptr;  // weak
    const std::string m_strMid = [] {
        const std::wstring name = UniqueName(L"mid");
        return std::string(name.begin(), name.end());
    }();
    HttpTestServer m_proxy{[this](const HttpTestRequest& request) { return Answer(request); }};
    ScopedInternetProxy m_setting{m_proxy.Port()};
};

// On a system of version 6.1 the beacons are plain.
class NetworkOfAnOldSystem : public Network {
  protected:
    ScopedSystemVersion m_version{L"6.1"};
};

TEST_F(NetworkOfAnOldSystem, AnOpenThatCannotLoadItsSdkSendsItsBeacon) {
    StartWithBrokenSdk();
    EXPECT_NE(Open(MiniAppOpen("t")), "1");
    ASSERT_TRUE(WaitForTargets(kLoadFailurePath, 1));
    const std::string target = Targets(kLoadFailurePath)[0];
    unsigned error = 0;
    int number = -1;
    int read = 0;
    EXPECT_EQ(sscanf(target.c_str(), "http://statistics.nexlet.invalid:80/static/a/1663.4439.gif?_referer=%u&t=%d&m=%n",
                     &error, &number, &read),
              2)
        << target;
    EXPECT_EQ(target.substr(static_cast<std::size_t>(read)), m_strMid) << target;
    EXPECT_GE(number, 0);
    EXPECT_NE(Log().Find("Report: https://statistics.nexlet.invalid/static/a/1663.4439.gif?_referer="), "");
}

TEST_F(NetworkOfAnOldSystem, EveryFailedOpenSendsOneBeacon) {
    constexpr std::size_t kOpens = 40;
    StartWithBrokenSdk();
    for (std::size_t i = 0; i < kOpens; ++i) {
        Open(MiniAppOpen("t" + std::to_string(i)));
    }
    ASSERT_TRUE(WaitForTargets(kLoadFailurePath, kOpens));
    // One at a time: when the last has come, a beacon sent twice would have come before it.
    EXPECT_EQ(Targets(kLoadFailurePath).size(), kOpens);
}

TEST_F(NetworkOfAnOldSystem, ASlowHostKeepsNoCallerWaitingAndLosesNoBeacon) {
    const CKernelHandle gate(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_hBeaconGate = gate.get();
    StartWithBrokenSdk();
    for (int i = 0; i < 6; ++i) {
        Open(MiniAppOpen("t" + std::to_string(i)));
    }
    // Six replies are here; the first beacon still waits for its answer.
    ASSERT_TRUE(WaitForTargets(kLoadFailurePath, 1));
    ExpectServed();
    EXPECT_EQ(Targets(kLoadFailurePath).size(), 1u);
    SetEvent(gate.get());
    EXPECT_TRUE(WaitForTargets(kLoadFailurePath, 6));
}

TEST_F(Network, TheBeaconOfTodaysSystemsGoesThroughTls) {
    StartWithBrokenSdk();
    EXPECT_NE(Open(MiniAppOpen("t")), "1");
    const ULONGLONG startedAt = GetTickCount64();
    std::vector<std::string> seen;
    while ((seen = tls_test_server::Requests("&m=" + m_strMid)).empty() && GetTickCount64() - startedAt < kLongMs) {
        Sleep(10);
    }
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].find(std::string("self_signed GET ") + kLoadFailurePath + "?_referer="), 0u) << seen[0];
    EXPECT_EQ(Targets("statistics.nexlet.invalid:443").size(), 1u);
}

TEST_F(Network, TheDailyFileSetsTheSwitchAndIsFetchedOnce) {
    StartHelper();
    ASSERT_TRUE(Log().WaitFor("appShortcut create [1]", kLongMs));
    EXPECT_EQ(Targets(kInfoPath), std::vector<std::string>{"http://info.nexlet.invalid:80/wxzolt/info.txt"});
    const ULONGLONG startedAt = GetTickCount64();
    while (!Stored(L"last_info_time") && GetTickCount64() - startedAt < kLongMs) {
        Sleep(10);
    }
    EXPECT_EQ(Stored(L"app_shortcut_create"), 1u);
    ASSERT_TRUE(Stored(L"last_info_time"));
    for (const char* line :
         {"InitConfInfoThread begin", "InitConfInfoThread create success", "ConfInfoThreadFunc begin",
          "IReceived text chunk, size:  28", "HttpContextText success", R"(strData: {"appShortcut":{"create":1}})"}) {
        EXPECT_EQ(Log().Count(line), 1u) << line;
    }

    // A second start within the day: its thread has looked by the time its process has done all this, and asks nothing.
    m_helper.Kill();
    m_caller.reset();
    m_caller = Serve(m_strService);
    StartHelper();
    ASSERT_TRUE(Log().WaitFor("ConfInfoThreadFunc begin", kLongMs));
    ExpectServed();
    EXPECT_EQ(Targets(kInfoPath).size(), 1u);
    EXPECT_FALSE(Log().Has("HttpContextText success"));
}

TEST_F(Network, AMissingDailyFileIsAskedForAgainAtTheNextStart) {
    m_nInfoStatus = 404;
    StartHelper();
    ASSERT_TRUE(Log().WaitFor("HttpContextText error", kLongMs));
    EXPECT_EQ(Stored(L"last_info_time"), std::nullopt);
    EXPECT_EQ(Stored(L"app_shortcut_create"), std::nullopt);

    m_helper.Kill();
    m_caller.reset();
    m_caller = Serve(m_strService);
    m_nInfoStatus = 200;
    StartHelper();
    ASSERT_TRUE(Log().WaitFor("appShortcut create [1]", kLongMs));
    EXPECT_EQ(Targets(kInfoPath).size(), 2u);
}

}  // namespace
