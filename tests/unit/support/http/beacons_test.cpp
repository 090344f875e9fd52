// Beacons through the real worker, the real transfer and a proxy in place of the statistics hosts.
#include "tests/support/http_test_server.h"

#include <cstdlib>
#include <ctime>
#include <map>

#include <gtest/gtest.h>

#include "support/http/beacons.h"
#include "support/http/http_transfer.h"
#include "support/system/system_queries.h"
#include "tests/support/log_capture.h"
#include "tests/support/system_version.h"
#include "tests/support/tls_test_server.h"

namespace {

HttpTestReply Take(const HttpTestRequest&) {
    return HttpTestReply::Of(200);
}

// The worker of this process fetches everything through m_proxy.
class BeaconsTest : public testing::Test {
  protected:
    BeaconsTest() {
        SetBeaconMachineId(L"machine-1");
        EXPECT_TRUE(GetSharedHttpTransfer()->StartWorker());
    }

    // The target of the only request so far.
    std::string OnlyTarget() {
        EXPECT_TRUE(m_proxy.WaitForRequests(1));
        const std::vector<HttpTestRequest> requests = m_proxy.Requests();
        return requests.size() == 1 ? requests[0].strTarget : std::to_string(requests.size()) + " requests";
    }

    HttpTestServer m_proxy{&Take};
    ScopedInternetProxy m_setting{m_proxy.Port()};
};

class OldSystemBeaconsTest : public BeaconsTest {
  protected:
    ScopedSystemVersion m_version{L"6.1"};
};

TEST_F(OldSystemBeaconsTest, TheSchemeHttpsIsRequestedAsHttp) {
    ASSERT_EQ(GetWindowsVersionCode(), 7);
    ReportDot(L"https://dot.nexlet.invalid/dot");
    EXPECT_EQ(OnlyTarget(), "http://dot.nexlet.invalid:80/dot");
}

TEST_F(OldSystemBeaconsTest, AQueryValueIsRewrittenToo) {
    ReportDot(L"https://dot.nexlet.invalid/dot?back=https://x");
    EXPECT_EQ(OnlyTarget(), "http://dot.nexlet.invalid:80/dot?back=http://x");
}

TEST_F(OldSystemBeaconsTest, AStatisticsBeaconCarriesNumberAndMachineId) {
    LogCapture log;
    ReportStaticWithMIDImp(L"https://s.nexlet.invalid/static/a/1663.1965.gif", false);
    const std::string target = OnlyTarget();
    int number = -1;
    ASSERT_EQ(sscanf(target.c_str(), "http://s.nexlet.invalid:80/static/a/1663.1965.gif?t=%d&m=machine-1", &number), 1)
        << target;
    EXPECT_TRUE(target.ends_with("&m=machine-1")) << target;
    EXPECT_GE(number, 0);
    EXPECT_TRUE(log.Has("Report: https://s.nexlet.invalid/static/a/1663.1965.gif sync : 0")) << log.All();
    EXPECT_NE(log.Find("[ReportStaticWithMIDImp("), "");
}

TEST_F(OldSystemBeaconsTest, ABeaconWithAQueryGoesOnWithAnAmpersand) {
    ReportStaticWithMIDImp(L"https://s.nexlet.invalid/static/a/1663.4439.gif?_referer=126", true);
    const std::string target = OnlyTarget();
    EXPECT_TRUE(target.starts_with("http://s.nexlet.invalid:80/static/a/1663.4439.gif?_referer=126&t=")) << target;
}

TEST_F(OldSystemBeaconsTest, AnEmptyMachineIdEndsTheUrlWithItsKey) {
    SetBeaconMachineId(L"");
    ReportStaticWithMIDImp(L"https://s.nexlet.invalid/a.gif", false);
    EXPECT_TRUE(OnlyTarget().ends_with("&m="));
}

TEST_F(OldSystemBeaconsTest, TheInstallBeaconCarriesTheMachineIdAlone) {
    LogCapture log;
    ReportYYBInstWithMID(L"https://i.nexlet.invalid/stats/yybinst");
    EXPECT_EQ(OnlyTarget(), "http://i.nexlet.invalid:80/stats/yybinst?m=machine-1");
    EXPECT_TRUE(log.Has("Report: https://i.nexlet.invalid/stats/yybinst sync : 0")) << log.All();
}

TEST_F(OldSystemBeaconsTest, TheMachineIdIsLeftAsItIs) {
    SetBeaconMachineId(L"https");
    ReportYYBInstWithMID(L"https://i.nexlet.invalid/stats/yybinst");
    EXPECT_EQ(OnlyTarget(), "http://i.nexlet.invalid:80/stats/yybinst?m=https");
}

TEST_F(OldSystemBeaconsTest, BeaconsOfOneSecondCarryTheSameNumber) {
    std::time_t second = 0;
    std::size_t sent = 0;
    do {
        second = std::time(nullptr);
        ReportStaticWithMIDImp(L"https://s.nexlet.invalid/one", false);
        ReportStaticWithMIDImp(L"https://s.nexlet.invalid/two", false);
        sent += 2;
    } while (std::time(nullptr) != second);
    ASSERT_TRUE(m_proxy.WaitForRequests(sent));
    const std::vector<HttpTestRequest> requests = m_proxy.Requests();
    const auto number = [&](std::size_t index) {
        const std::string& target = requests[index].strTarget;
        return target.substr(target.find("?t="));
    };
    EXPECT_EQ(number(sent - 2), number(sent - 1));
}

TEST_F(OldSystemBeaconsTest, TheNumberIsTheFirstDrawOfTheSecond) {
    std::time_t second = 0;
    std::size_t sent = 0;
    do {
        second = std::time(nullptr);
        ReportStaticWithMIDImp(L"https://s.nexlet.invalid/one", false);
        ++sent;
    } while (std::time(nullptr) != second);
    ASSERT_TRUE(m_proxy.WaitForRequests(sent));
    std::srand(static_cast<unsigned>(second));
    const std::string query = "?t=" + std::to_string(std::rand()) + "&m=machine-1";
    const std::string target = m_proxy.Requests()[sent - 1].strTarget;
    EXPECT_TRUE(target.ends_with(query)) << target << " without " << query;
}

TEST_F(OldSystemBeaconsTest, AnotherThreadOfTheSameSecondCarriesTheSameNumber) {
    std::time_t second = 0;
    std::size_t sent = 0;
    do {
        second = std::time(nullptr);
        ReportStaticWithMIDImp(L"https://s.nexlet.invalid/one", false);
        std::thread([] { ReportStaticWithMIDImp(L"https://s.nexlet.invalid/two", false); }).join();
        sent += 2;
    } while (std::time(nullptr) != second);
    ASSERT_TRUE(m_proxy.WaitForRequests(sent));
    const std::vector<HttpTestRequest> requests = m_proxy.Requests();
    EXPECT_EQ(requests[sent - 2].strTarget.substr(requests[sent - 2].strTarget.find("?t=")),
              requests[sent - 1].strTarget.substr(requests[sent - 1].strTarget.find("?t=")));
}

TEST_F(OldSystemBeaconsTest, TwoHundredBeaconsArriveOnceEachAndInOrder) {
    for (int i = 0; i < 200; ++i) {
        ReportDot(L"https://dot.nexlet.invalid/" + std::to_wstring(i));
    }
    ASSERT_TRUE(m_proxy.WaitForRequests(200));
    const std::vector<HttpTestRequest> requests = m_proxy.Requests();
    ASSERT_EQ(requests.size(), 200u);
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(requests[static_cast<std::size_t>(i)].strTarget, "http://dot.nexlet.invalid:80/" + std::to_string(i));
    }
}

TEST_F(OldSystemBeaconsTest, ALongUrlIsCutByTheFormatAndNotByTheDot) {
    const std::wstring url = L"http://dot.nexlet.invalid/" + std::wstring(1500, L'x');
    ReportStaticWithMIDImp(url, false);
    ReportDot(url);
    ASSERT_TRUE(m_proxy.WaitForRequests(2));
    // The proxy form names the port too.
    EXPECT_EQ(m_proxy.Requests()[0].strTarget.size(), 1023u + 3);
    EXPECT_EQ(m_proxy.Requests()[1].strTarget.size(), url.size() + 3);
}

TEST_F(BeaconsTest, TheMachineIdMayBeSetWhileBeaconsAreSent) {
    std::thread setter([] {
        for (int i = 0; i < 2000; ++i) {
            SetBeaconMachineId(i % 2 == 0 ? std::wstring(100, L'a') : std::wstring(200, L'b'));
        }
    });
    for (int i = 0; i < 50; ++i) {
        ReportYYBInstWithMID(L"http://i.nexlet.invalid/stats/yybinst");
    }
    setter.join();
    ASSERT_TRUE(m_proxy.WaitForRequests(50));
    for (const HttpTestRequest& request : m_proxy.Requests()) {
        const std::string id = request.strTarget.substr(request.strTarget.find("?m=") + 3);
        EXPECT_TRUE(id == "machine-1" || id == std::string(100, 'a') || id == std::string(200, 'b')) << id;
    }
}

TEST_F(BeaconsTest, AnEmptyDotDoesNothingAndLogsNothing) {
    LogCapture log;
    ReportDot(L"");
    EXPECT_EQ(log.All(), "");
    ReportDot(L"http://dot.nexlet.invalid/behind");
    EXPECT_TRUE(OnlyTarget().ends_with("/behind"));
    EXPECT_TRUE(log.Has("Report: http://dot.nexlet.invalid/behind sync : 0")) << log.All();
}

// A system of today: the beacon keeps its https and reaches the statistics host through TLS.
TEST(TodaysBeaconsTest, TheSchemeIsLeftAsItIs) {
    ASSERT_EQ(GetWindowsVersionCode(), 9);
    const std::uint16_t tls = tls_test_server::Port("self_signed");
    HttpTestServer proxy([&](const HttpTestRequest& request) {
        return request.strMethod == "CONNECT" ? HttpTestReply::Tunnel(tls) : HttpTestReply::Of(200);
    });
    const ScopedInternetProxy setting(proxy.Port());
    const std::wstring machineId = L"tls-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
                                   std::to_wstring(static_cast<long long>(std::time(nullptr)));
    SetBeaconMachineId(machineId);
    ASSERT_TRUE(GetSharedHttpTransfer()->StartWorker());

    ReportStaticWithMIDImp(L"https://statistics.nexlet.invalid/static/a/1663.1965.gif?_referer=https", true);
    // The worker takes one URL at a time: once the second has arrived the first is through.
    ReportDot(L"http://statistics.nexlet.invalid/behind");
    ASSERT_TRUE(proxy.WaitForRequests(2));
    EXPECT_EQ(proxy.Requests()[0].strMethod, "CONNECT");
    EXPECT_EQ(proxy.Requests()[0].strTarget, "statistics.nexlet.invalid:443");
    const std::string narrow(machineId.begin(), machineId.end());
    const std::vector<std::string> seen = tls_test_server::Requests("&m=" + narrow);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].find("self_signed GET /static/a/1663.1965.gif?_referer=https&t="), 0u) << seen[0];
}

// Holds in a process of its own, as ctest gives it: another test of this program has started the worker.
TEST(EarlyBeaconsTest, ABeaconBeforeTheWorkerIsLostWithoutAWord) {
    LogCapture log;
    ReportDot(L"http://dot.nexlet.invalid/early");
    EXPECT_NE(g_pSharedHttpTransfer.load(), nullptr) << "the object is made";
    EXPECT_EQ(g_pSharedHttpTransfer.load()->m_hThread.load(), nullptr) << "but no thread";
    EXPECT_EQ(log.Lines().size(), 1u) << log.All();
}

}  // namespace
