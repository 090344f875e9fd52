#include "host/prune_rule.h"

#include <gtest/gtest.h>

namespace {

struct FateCase {
    const char* name;
    std::int32_t nDelayedTaskCount;
    bool bDLLWndExist;
    bool bIsDelayedDestroy;
    InstanceFate fate;
};

void PrintTo(const FateCase& one, std::ostream* out) {
    *out << one.name;
}

class PruneRuleTest : public testing::TestWithParam<FateCase> {};

TEST_P(PruneRuleTest, DecidesByTheRecord) {
    const FateCase& one = GetParam();
    InstanceParamMap records;
    InstanceParam& record = records["id"];
    record.strServiceId = "id";
    record.nDelayedTaskCount = one.nDelayedTaskCount;
    record.bDLLWndExist = one.bDLLWndExist;
    record.bIsDelayedDestroy = one.bIsDelayedDestroy;
    const InstanceVerdict verdict = JudgeInstance(records, "id");
    EXPECT_EQ(verdict.fate, one.fate);
    EXPECT_EQ(verdict.pParam, &record) << "the walk copies no record";
}

INSTANTIATE_TEST_SUITE_P(
    Records, PruneRuleTest,
    testing::Values(FateCase{"FreshInstanceStays", 0, true, false, InstanceFate::Keep},
                    FateCase{"DestroyedInstanceGoes", 0, true, true, InstanceFate::EraseFinished},
                    FateCase{"InstanceWithoutPipeGoes", 0, false, false, InstanceFate::EraseFinished},
                    FateCase{"DestroyedInstanceWithoutPipeGoes", 0, false, true, InstanceFate::EraseFinished},
                    FateCase{"TaskKeepsAFreshInstance", 1, true, false, InstanceFate::Keep},
                    FateCase{"TaskKeepsADestroyedInstance", 1, true, true, InstanceFate::Keep},
                    FateCase{"TaskKeepsAnInstanceWithoutPipe", 1, false, false, InstanceFate::Keep},
                    FateCase{"TaskKeepsAnInstanceWhateverTheFlags", 1, false, true, InstanceFate::Keep},
                    FateCase{"NegativeCountIsWorkInProgress", -1, false, true, InstanceFate::Keep}),
    [](const testing::TestParamInfo<FateCase>& one) { return std::string(one.param.name); });

TEST(PruneRuleTest, InstanceWithoutRecordGoesSilently) {
    InstanceParamMap records;
    records["other"].strServiceId = "other";
    const InstanceVerdict verdict = JudgeInstance(records, "id");
    EXPECT_EQ(verdict.fate, InstanceFate::EraseUnknown);
    EXPECT_EQ(verdict.pParam, nullptr);
}

TEST(WaitThatIsLeftTest, ShrinksWithTheTimeThatHasPassed) {
    EXPECT_EQ(WaitThatIsLeft(1000, 0), 1000u);
    EXPECT_EQ(WaitThatIsLeft(1000, 200), 800u);
    EXPECT_EQ(WaitThatIsLeft(1000, 999), 1u);
    EXPECT_EQ(WaitThatIsLeft(1000, 1000), 0u);
    EXPECT_EQ(WaitThatIsLeft(1000, 1001), 0u);
    EXPECT_EQ(WaitThatIsLeft(1000, 1ULL << 40), 0u);
}

}  // namespace
