// Which open of the type miniApp has the turn, by times that the test makes up; and what processes share.
#include "client/open_turns.h"

#include <gtest/gtest.h>

#include "tests/support/unique_name.h"

namespace {

TEST(OpenTurns, NextOpenOfAMarkWaitsUntilTheOneBeforeIsSettled) {
    COpenTurns turns;
    int first = 0;
    int second = 0;
    EXPECT_TRUE(turns.Take(L"m", "a", &first, 1000, 9000));
    EXPECT_FALSE(turns.Take(L"m", "b", &second, 1001, 9000));
    EXPECT_TRUE(turns.Take(L"n", "b", &second, 1001, 9000)) << "another mark has another helper";
    turns.Settle(L"m", "b");
    EXPECT_FALSE(turns.Take(L"m", "b", &second, 1002, 9000)) << "another task has the turn";
    turns.Settle(L"m", "a");
    EXPECT_TRUE(turns.Take(L"m", "b", &second, 1003, 9000));
}

TEST(OpenTurns, TurnEndsWithItsTimeAndWithItsOwner) {
    COpenTurns turns;
    int first = 0;
    int second = 0;
    EXPECT_TRUE(turns.Take(L"m", "a", &first, 1000, 2000));
    EXPECT_FALSE(turns.Take(L"m", "b", &second, 1999, 9000));
    EXPECT_TRUE(turns.Take(L"m", "b", &second, 2000, 9000));
    turns.SettleAll(&first);
    EXPECT_FALSE(turns.Take(L"m", "c", &first, 1501, 9000));
    turns.SettleAll(&second);
    EXPECT_TRUE(turns.Take(L"m", "c", &first, 1501, 9000));
}

TEST(OpenTurns, OpenThatIsAskedForKeepsItsTurnButNotForEver) {
    COpenTurns turns;
    int first = 0;
    int second = 0;
    EXPECT_TRUE(turns.Take(L"m", "a", &first, 1000, 1001));
    turns.Extend(L"m", "a", 1000);
    EXPECT_TRUE(turns.Take(L"m", "a", &first, 1001, 90000)) << "it was not accepted yet";
    turns.Accept(L"m", "b", 80000);
    turns.Accept(L"m", "a", 2000);
    EXPECT_FALSE(turns.Take(L"m", "b", &second, 2000 + kSettleMs - 1, 90000));
    for (std::uint64_t now = 2000; now < 2000 + kMostSettleMs; now += 1000) {
        turns.Extend(L"m", "a", now);
        EXPECT_FALSE(turns.Take(L"m", "b", &second, now + 999, 90000)) << now;
    }
    turns.Extend(L"m", "a", 2000 + kMostSettleMs);
    EXPECT_TRUE(turns.Take(L"m", "b", &second, 2000 + kMostSettleMs, 90000));
}

TEST(OpenTurns, OpenIsOvertakenByOneThatWasSentAfterItsReplyAndAnswered) {
    const std::wstring mark = UniqueName(L"opens");
    int client = 0;
    ASSERT_TRUE(BeginOpen(mark, "a", &client, 0));
    EXPECT_FALSE(OpenWasOvertaken(mark, "a"));
    OpenAnswered(mark, "a", /*accepted=*/true);
    EXPECT_FALSE(OpenWasOvertaken(mark, "a"));
    OpensOver(&client);
    ASSERT_TRUE(BeginOpen(mark, "b", &client, 0));
    EXPECT_FALSE(OpenWasOvertaken(mark, "a")) << "the helper may not have it yet";
    OpenAnswered(mark, "b", /*accepted=*/true);
    EXPECT_TRUE(OpenWasOvertaken(mark, "a"));
    EXPECT_FALSE(OpenWasOvertaken(mark, "b"));
    OpenSettled(mark, "a");
    EXPECT_FALSE(OpenWasOvertaken(mark, "a"));
}

}  // namespace
