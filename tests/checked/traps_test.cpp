// That this build ends a process at undefined behaviour, and what it says.
#include <gtest/gtest.h>
#include <climits>
#include <cstdint>
#include <vector>

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

}  // namespace
