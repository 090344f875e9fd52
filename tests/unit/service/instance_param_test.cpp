#include "service/instance_param.h"

#include <gtest/gtest.h>

namespace {

void Set(InstanceParamMap& table, std::int32_t nInterval, std::int32_t nTaskOp, std::int32_t nDllOp,
         std::int32_t nDestroyOp) {
    SetInstanceParamIn(table, "42",
                       {.nInterval = nInterval, .nTaskOp = nTaskOp, .nDllOp = nDllOp, .nDestroyOp = nDestroyOp});
}

InstanceParamMap TableWithEntry() {
    InstanceParamMap table;
    SetInstanceParamIn(table, "42", {.strPipeName = L"pipe"});
    return table;
}

TEST(SetInstanceParam, AnEmptyIdChangesNothing) {
    InstanceParamMap table = TableWithEntry();
    SetInstanceParamIn(table, "",
                       {.strPipeName = L"other",
                        .strRunStatusParam = "text",
                        .nInterval = 1,
                        .nTaskOp = kTaskAdd,
                        .nDllOp = kDllGone,
                        .nDestroyOp = kDestroyNow});
    EXPECT_EQ(table.size(), 1U);
    EXPECT_EQ(table["42"].strPipeName, L"pipe");
}

TEST(SetInstanceParam, AnUnknownIdMakesTheEntryAndCountsNothing) {
    InstanceParamMap table;
    SetInstanceParamIn(table, "42",
                       {.strPipeName = L"pipe",
                        .strRunStatusParam = "text",
                        .nInterval = 5000,
                        .nTaskOp = kTaskAdd,
                        .nDllOp = kDllGone,
                        .nDestroyOp = kDestroyNow});
    ASSERT_EQ(table.size(), 1U);
    const InstanceParam& param = table["42"];
    EXPECT_EQ(param.strServiceId, "42");
    EXPECT_EQ(param.strPipeName, L"pipe");
    EXPECT_EQ(param.strRunStatusParam, "");
    EXPECT_EQ(param.nInterval, 0);
    EXPECT_EQ(param.nDelayedTaskCount, 0);
    EXPECT_TRUE(param.bDLLWndExist);
    EXPECT_FALSE(param.bIsDelayedDestroy);
}

TEST(SetInstanceParam, EmptyTextsAndMinus1KeepWhatIsThere) {
    InstanceParamMap table = TableWithEntry();
    SetInstanceParamIn(table, "42", {.strPipeName = L"new", .strRunStatusParam = "text", .nInterval = 3000});
    Set(table, kParamKeep, kParamKeep, kParamKeep, kParamKeep);
    const InstanceParam& param = table["42"];
    EXPECT_EQ(param.strPipeName, L"new");
    EXPECT_EQ(param.strRunStatusParam, "text");
    EXPECT_EQ(param.nInterval, 3000);
    EXPECT_EQ(param.nDelayedTaskCount, 0);
    EXPECT_TRUE(param.bDLLWndExist);
    EXPECT_FALSE(param.bIsDelayedDestroy);
}

TEST(SetInstanceParam, AnIntervalOf0OrBelowMinus1IsStored) {
    InstanceParamMap table = TableWithEntry();
    Set(table, 3000, kParamKeep, kParamKeep, kParamKeep);
    Set(table, 0, kParamKeep, kParamKeep, kParamKeep);
    EXPECT_EQ(table["42"].nInterval, 0);
    Set(table, -2, kParamKeep, kParamKeep, kParamKeep);
    EXPECT_EQ(table["42"].nInterval, -2);
}

TEST(SetInstanceParam, TheTaskCountGoesUpAndDownAndBelowZero) {
    InstanceParamMap table = TableWithEntry();
    Set(table, kParamKeep, kTaskAdd, kParamKeep, kParamKeep);
    Set(table, kParamKeep, kTaskAdd, kParamKeep, kParamKeep);
    EXPECT_EQ(table["42"].nDelayedTaskCount, 2);
    for (int i = 0; i < 3; ++i) {
        Set(table, kParamKeep, kTaskRemove, kParamKeep, kParamKeep);
    }
    EXPECT_EQ(table["42"].nDelayedTaskCount, -1);
    Set(table, kParamKeep, 0, kParamKeep, kParamKeep);
    Set(table, kParamKeep, 3, kParamKeep, kParamKeep);
    EXPECT_EQ(table["42"].nDelayedTaskCount, -1);
}

TEST(SetInstanceParam, OnlyOperation2ClearsThePipeFlagAndNothingSetsItBack) {
    InstanceParamMap table = TableWithEntry();
    for (const std::int32_t op : {-1, 0, 1, 3}) {
        Set(table, kParamKeep, kParamKeep, op, kParamKeep);
        EXPECT_TRUE(table["42"].bDLLWndExist) << op;
    }
    Set(table, kParamKeep, kParamKeep, kDllGone, kParamKeep);
    EXPECT_FALSE(table["42"].bDLLWndExist);
    for (const std::int32_t op : {-1, 0, 1, 3}) {
        Set(table, kParamKeep, kParamKeep, op, kParamKeep);
        EXPECT_FALSE(table["42"].bDLLWndExist) << op;
    }
}

TEST(SetInstanceParam, TheDestroyFlagTakesTheTruthOfOperation1) {
    InstanceParamMap table = TableWithEntry();
    Set(table, kParamKeep, kParamKeep, kParamKeep, kDestroyNow);
    EXPECT_TRUE(table["42"].bIsDelayedDestroy);
    Set(table, kParamKeep, kParamKeep, kParamKeep, kParamKeep);
    EXPECT_TRUE(table["42"].bIsDelayedDestroy);
    Set(table, kParamKeep, kParamKeep, kParamKeep, 2);
    EXPECT_FALSE(table["42"].bIsDelayedDestroy);
}

TEST(GetInstanceParam, LeavesTheValueAloneWhenThereIsNoEntry) {
    const InstanceParamMap table = TableWithEntry();
    InstanceParam param;
    param.strRunStatusParam = "mine";
    EXPECT_FALSE(GetInstanceParamFrom(table, "4", param));
    EXPECT_EQ(param.strRunStatusParam, "mine");
    EXPECT_EQ(param.nInterval, 2000);
    EXPECT_TRUE(param.bDLLWndExist);
    EXPECT_FALSE(param.bIsDelayedDestroy);
}

TEST(GetInstanceParam, CopiesTheWholeEntry) {
    InstanceParamMap table = TableWithEntry();
    SetInstanceParamIn(table, "42",
                       {.strPipeName = L"new",
                        .strRunStatusParam = "text",
                        .nInterval = 3000,
                        .nTaskOp = kTaskAdd,
                        .nDllOp = kDllGone,
                        .nDestroyOp = kDestroyNow});
    InstanceParam param;
    ASSERT_TRUE(GetInstanceParamFrom(table, "42", param));
    EXPECT_EQ(param.strServiceId, "42");
    EXPECT_EQ(param.strPipeName, L"new");
    EXPECT_EQ(param.strRunStatusParam, "text");
    EXPECT_TRUE(param.strRunStatusParam.SharesWith(table["42"].strRunStatusParam))
        << "the text of a caller is not copied while the table is locked";
    EXPECT_EQ(param.nInterval, 3000);
    EXPECT_EQ(param.nDelayedTaskCount, 1);
    EXPECT_FALSE(param.bDLLWndExist);
    EXPECT_TRUE(param.bIsDelayedDestroy);
}

TEST(InstanceParamMap, OrdersIdsBytewiseAndThenByLength) {
    InstanceParamMap table;
    for (const char* id : {"b", "\xE4\xB8\xAD", "ab", "a", "A"}) {
        SetInstanceParamIn(table, id, {});
    }
    std::string order;
    for (const auto& [id, param] : table) {
        order += id + " ";
    }
    EXPECT_EQ(order, "A a ab b \xE4\xB8\xAD ");
}

TEST(IsInstanceFinished, NeedsNoTaskAndAGonePipeOrARunOutDestroy) {
    struct Case {
        std::int32_t nDelayedTaskCount;
        bool bDLLWndExist;
        bool bIsDelayedDestroy;
        bool finished;
    };
    for (const Case& c : {Case{0, true, false, false}, Case{0, true, true, true}, Case{0, false, false, true},
                          Case{0, false, true, true}, Case{1, true, false, false}, Case{1, true, true, false},
                          Case{1, false, false, false}, Case{1, false, true, false}, Case{-1, false, true, false}}) {
        InstanceParam param;
        param.nDelayedTaskCount = c.nDelayedTaskCount;
        param.bDLLWndExist = c.bDLLWndExist;
        param.bIsDelayedDestroy = c.bIsDelayedDestroy;
        EXPECT_EQ(IsInstanceFinished(param), c.finished)
            << c.nDelayedTaskCount << ' ' << c.bDLLWndExist << ' ' << c.bIsDelayedDestroy;
    }
}

}  // namespace
