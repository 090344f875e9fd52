// That this build ends a process at undefined behaviour, and what it says.
#include <gtest/gtest.h>
#include <climits>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "foundation/windows_headers.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr int kIllegalInstruction = static_cast<int>(0xC000001D);

// The compiler must not see the numbers, or that a result is not used.
volatile int g_nLargest = INT_MAX;
volatile int g_nMinusOne = -1;
volatile int g_nForty = 40;
volatile std::int64_t g_nResult;

#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wsign-conversion"
std::uint32_t LengthOf(int nLength) {
    return nLength;
}
#pragma clang diagnostic pop

TEST(TrapsDeathTest, AnAdditionThatOverflowsEndsTheProcess) {
    EXPECT_EXIT(g_nResult = g_nLargest + 1, testing::ExitedWithCode(kIllegalInstruction),
                "undefined behaviour: an addition overflowed.*\n.*at traps_test\\.exe\\+0x");
}

TEST(TrapsDeathTest, AShiftThatIsTooFarEndsTheProcess) {
    EXPECT_EXIT(g_nResult = 1 << g_nForty, testing::ExitedWithCode(kIllegalInstruction), "a shift is too far");
}

TEST(TrapsDeathTest, AnIndexOutsideAnArrayEndsTheProcess) {
    static const int numbers[4] = {};
    EXPECT_EXIT(g_nResult = numbers[g_nForty], testing::ExitedWithCode(kIllegalInstruction),
                "an index is outside its array");
}

TEST(TrapsDeathTest, AnImplicitConversionThatChangesTheSignEndsTheProcess) {
    EXPECT_EXIT(g_nResult = LengthOf(g_nMinusOne), testing::ExitedWithCode(kIllegalInstruction),
                "an implicit conversion changed the value");
}

TEST(TrapsDeathTest, AnIndexOutsideAVectorEndsTheProcess) {
    const std::vector<int> numbers(4);
    EXPECT_EXIT(g_nResult = numbers[static_cast<std::size_t>(g_nForty)], testing::ExitedWithCode(3), "Assertion");
}

TEST(TrapsDeathTest, TheReportIsAlsoAddedToTheFileThatTheEnvironmentNames) {
    static constexpr wchar_t kVariable[] = L"NEXLET_FAULT_REPORTS";
    const CTempFolder folder;
    const std::filesystem::path file = folder.Path() / "faults";
    // The process of the death test runs this too, and has its parent's variable.
    if (GetEnvironmentVariableW(kVariable, nullptr, 0) == 0) {
        ASSERT_TRUE(SetEnvironmentVariableW(kVariable, file.c_str()));
    }
    for (int nTime = 0; nTime < 2; ++nTime) {
        EXPECT_EXIT(g_nResult = g_nLargest + 1, testing::ExitedWithCode(kIllegalInstruction), "an addition overflowed");
    }
    SetEnvironmentVariableW(kVariable, nullptr);
    std::ifstream stream(file, std::ios::binary);
    const std::string strReports{std::istreambuf_iterator<char>(stream), {}};
    const std::string strReport = "undefined behaviour: an addition overflowed\n  at traps_test.exe+0x";
    EXPECT_EQ(strReports.find(strReport), 0U) << strReports;
    EXPECT_NE(strReports.find(strReport, 1), std::string::npos) << strReports;
}

}  // namespace
