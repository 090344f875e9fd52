// What the real helper sends over the network: its beacons and the daily configuration. A proxy of the test takes the
// place of every host, by the setting of this prefix's user.
#include "tests/e2e/proxied.h"

#include "tests/support/system_version.h"
#include "tests/support/tls_test_server.h"
#include "tests/support/unique_name.h"

namespace {

constexpr char kLoadFailurePath[] = "/static/a/1663.4439.gif";

class Network : public CProxied {
  protected:
    HttpTestReply Answer(const HttpTestRequest& request) override {
        HttpTestReply reply = CProxied::Answer(request);
        if (request.strMethod != "CONNECT" && !IsInfo(request) && m_hBeaconGate != nullptr) {
            reply.nBytesBeforeGate = 0;
            reply.hGate = m_hBeaconGate;
        }
        return reply;
    }

    // Starts the helper with an SDK that the loader refuses and a machine id of this test's own.
    void StartWithBrokenSdk() {
        m_sandbox.LayOcean(L"broken");
        ASSERT_TRUE(m_sandbox.Ready());
        HelperStart start;
        start.strChannel = MakeChannelText(m_strMark, m_strMid, 7, "product", "from");
        StartHelper(start);
    }

    HANDLE m_hBeaconGate = nullptr;  // weak
    const std::string m_strMid = [] {
        const std::wstring name = UniqueName(L"mid");
        return std::string(name.begin(), name.end());
    }();
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
