// Which beacons of a helper that uses too much of the processor reach the server, in real time.
#include "tests/e2e/proxied.h"

#include "tests/support/stand_in_process.h"
#include "tests/support/system_version.h"

namespace {

constexpr char kBurningPath[] = "/static/a/1663.6932.gif";
// A round is 10 seconds of sleep and 1 of measuring. On a crowded machine some of them may still fall short.
constexpr std::uint32_t kRoundMs = 11000;
constexpr std::uint32_t kCrowdedMs = 240000;

// On a system of version 6.1 the beacons are plain, so that the proxy sees them whole.
class ForcedExitBeacons : public CProxied {
  protected:
    void SetUp() override {
        CProxied::SetUp();
        m_sandbox.LayOcean(L"good");
        SYSTEM_INFO system = {};
        GetSystemInfo(&system);
        m_sandbox.SetOcean(L"burn", std::to_wstring(4 * system.dwNumberOfProcessors));
        ASSERT_TRUE(m_sandbox.Ready());
    }

    ScopedSystemVersion m_version{L"6.1"};
    CTestEvent m_gate;
};

TEST_F(ForcedExitBeacons, RoundsBeforeItReachTheServer) {
    // The main thread does not act on the request to close.
    m_sandbox.SetOcean(L"hold", m_gate.Name());
    m_sandbox.SetOcean(L"hold_answers", L"1");
    ASSERT_NO_FATAL_FAILURE(StartHelperOnAnOpen(MiniAppOpen("t")));
    EXPECT_EQ(m_helper.WaitForEnd(13 * kRoundMs + kCrowdedMs), 0u) << Log().Tail();
    const std::size_t sent = Log().FindAll(kBurningPath).size();
    const std::vector<std::string> arrived = Targets(kBurningPath);
    EXPECT_GE(sent, 7u);
    // All but the last, which leaves with the process; whether that one gets out is chance.
    EXPECT_GE(arrived.size(), sent - 1) << ::testing::PrintToString(arrived);
    RecordProperty("arrived", static_cast<int>(arrived.size()));
}

}  // namespace
