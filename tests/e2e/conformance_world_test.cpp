// nexctl conformance in the worlds of examples/conformance: what the helper says there about what is installed.
#include "foundation/handle.h"
#include "foundation/json_text.h"
#include "tests/e2e/world_fixture.h"

namespace {

constexpr wchar_t kUninstallEntry[] = LR"(SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\WeChatMiniProgram)";

class ConformanceWorld : public CWorldTest, public ::testing::WithParamInterface<const char*> {
  protected:
    // A machine with nothing on it; every test of this prefix lays the entry that is missing then.
    void SetUp() override {
        CWorldTest::SetUp();
        RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kUninstallEntry, KEY_WOW64_64KEY, 0);
    }
    void TearDown() override {
        CWorldTest::TearDown();
        EXPECT_TRUE(LayMiniProgramInstalled());
        // Logs of the helpers that were played against.
        RunConsoleProgram(OwnFolder() + L"\\nexctl.exe", {"log", "prune", "--larger", "1"});
    }
};

TEST_P(ConformanceWorld, HelperKeepsTheExchangeOfItsScenario) {
    const std::string name = GetParam();
    const ConsoleRun up = Run({"up", NEXLET_SCENARIOS "/" + name + ".scenario", Utf8(m_directory)});
    ASSERT_EQ(up.dwExitCode, 0u) << up.strErr;
    const ConsoleRun run = RunConsoleProgram(
        OwnFolder() + L"\\nexctl.exe",
        {"conformance", "--json", "--world", Utf8(m_directory), "--only", "exchange." + name, "--timeout", "30000"});
    EXPECT_EQ(run.dwExitCode, 0u) << run.strOut << run.strErr;
    EXPECT_NE(run.strOut.find(R"("outcome":"kept","rule":"exchange.)" + name + "\""), std::string::npos) << run.strOut;
}

INSTANTIATE_TEST_SUITE_P(Scenarios, ConformanceWorld,
                         ::testing::Values("products", "refuses", "fails", "missing", "bare", "screen-saver"),
                         [](const auto& scenario) {
                             std::string name = scenario.param;
                             std::ranges::replace(name, '-', '_');
                             return name;
                         });

}  // namespace
