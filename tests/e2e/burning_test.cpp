// A helper that burns the machine, in real time: an SDK in it starts threads that do nothing else.
#include <algorithm>
#include <thread>

#include "foundation/text_helpers.h"
#include "tests/e2e/end_to_end.h"
#include "tests/support/console_program.h"
#include "tests/support/stand_in_process.h"

namespace {

// A round is 10 seconds of sleep and 1 of measuring. On a crowded machine some of them may still fall short.
constexpr std::uint32_t kRoundMs = 11000;
constexpr std::uint32_t kCrowdedMs = 120000;
constexpr double kBreach = 15.0;

class Burning : public CEndToEnd {
  protected:
    void SetUp() override {
        CEndToEnd::SetUp();
        m_sandbox.LayOcean(L"good");
        SYSTEM_INFO system = {};
        GetSystemInfo(&system);
        // So many that whatever else runs here cannot deny them their share.
        m_sandbox.SetOcean(L"burn", std::to_wstring(4 * system.dwNumberOfProcessors));
        ASSERT_TRUE(m_sandbox.Ready());
    }

    std::vector<double> Samples() const {
        std::vector<double> samples;
        for (const std::string& line : Log().FindAll("CPU Usage for process ")) {
            samples.push_back(std::stod(line.substr(line.rfind(": ") + 2)));
        }
        return samples;
    }
    // How many samples at the end are breaches without a break.
    std::ptrdiff_t BreachesAtTheEnd() const {
        const std::vector<double> samples = Samples();
        const auto low = std::find_if(samples.rbegin(), samples.rend(), [](double usage) { return usage < kBreach; });
        return low - samples.rbegin();
    }
    std::vector<std::string> Beacons() const { return Log().FindAll("/static/a/1663.6932.gif?_referer="); }

    CTestEvent m_gate;
};

TEST_F(Burning, IsAskedToCloseInTheSixthRound) {
    StartHelper();
    // Somebody else listens to the same helper.
    ConsoleRun listened;
    std::thread listener([&] {
        const std::string mark = Utf16ToUtf8(m_strMark);
        listened = RunConsoleProgram(OwnFolder() + L"\\nexctl.exe",
                                     {"listen", "--mark", mark, "--service", "listens", "--exe",
                                      Utf16ToUtf8(m_sandbox.Exe()), "--timeout", "600000"},
                                     {}, /*timeoutMs=*/600000);
    });
    EXPECT_TRUE(Log().WaitFor("Type=12, Message=", kLongMs, 2)) << Log().Tail();
    EXPECT_EQ(Open(MiniAppOpen("t")), "1");
    EXPECT_EQ(m_helper.WaitForEnd(7 * kRoundMs + kCrowdedMs), 0u) << Log().Tail();
    listener.join();
    EXPECT_EQ(listened.dwExitCode, 4u) << listened.strOut << listened.strErr;
    EXPECT_NE(listened.strErr.find("its log says: ended: too much of the processor was used (CPU watch)"),
              std::string::npos)
        << listened.strErr;
    EXPECT_EQ(BreachesAtTheEnd(), 6) << ::testing::PrintToString(Samples());
    const std::vector<std::string> beacons = Beacons();
    ASSERT_EQ(beacons.size(), 1u) << ::testing::PrintToString(beacons);
    EXPECT_EQ(beacons[0].find("_C12"), std::string::npos) << beacons[0];
    // Six digits after the point, as %f writes them; the line of the sample has two.
    const double reported = std::stod(beacons[0].substr(beacons[0].find("_referer=") + 9));
    EXPECT_NEAR(reported, Samples().back(), 0.0051) << beacons[0];
    // It went the orderly way; only the other watchdog, whose probe finds the window gone, may have cut it short.
    EXPECT_TRUE(m_sandbox.OceanCalls().ends_with("uninit\n") || !Log().Find("wnd Hang error time is ").empty())
        << m_sandbox.OceanCalls();
}

TEST_F(Burning, IsKilledInTheTwelfthRoundWhenItsMainThreadDoesNotAct) {
    // The SDK keeps the main thread in the open, answering what is sent, so that the window's probes are content, and
    // leaving what is posted.
    m_sandbox.SetOcean(L"hold", m_gate.Name());
    m_sandbox.SetOcean(L"hold_answers", L"1");
    ASSERT_NO_FATAL_FAILURE(StartHelperOnAnOpen(MiniAppOpen("t")));
    EXPECT_EQ(m_helper.WaitForEnd(13 * kRoundMs + kCrowdedMs), 0u) << Log().Tail();
    EXPECT_EQ(BreachesAtTheEnd(), 12) << ::testing::PrintToString(Samples());
    const std::vector<std::string> beacons = Beacons();
    ASSERT_EQ(beacons.size(), 7u) << "one for each round from the sixth to the eleventh, and the last word";
    for (std::size_t i = 0; i < beacons.size(); ++i) {
        EXPECT_EQ(beacons[i].find("_C12") != std::string::npos, i == 6) << beacons[i];
    }
    EXPECT_EQ(Log().Find("wnd Hang error time is "), "");
    EXPECT_EQ(m_sandbox.OceanCalls().find("uninit"), std::string::npos) << m_sandbox.OceanCalls();
}

}  // namespace
