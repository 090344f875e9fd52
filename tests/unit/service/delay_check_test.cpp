#include "service/delay_check.h"

#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "foundation/json_text.h"
#include "tests/support/json_of.h"

namespace {

struct Walk {
    std::int64_t asks = 0;
    std::int64_t marked = 0;  // asks marked as the last one
    bool lastMarked = false;  // the last ask was marked
};

Walk WalkToTheEnd(std::int32_t nInterval) {
    CDelayCheckSchedule schedule(nInterval);
    Walk walk;
    do {
        ++walk.asks;
        walk.lastMarked = schedule.IsLastCall();
        walk.marked += walk.lastMarked ? 1 : 0;
    } while (schedule.Next());
    return walk;
}

TEST(CDelayCheckSchedule, AsksOnceForEachPeriodBegunAndMarksOnlyTheLastAsk) {
    for (const std::int32_t nInterval : {1, 1999, 2000, 2001, 3999, 4000, 4001, 5000, 6000, 60000, 1000001}) {
        const Walk walk = WalkToTheEnd(nInterval);
        EXPECT_EQ(walk.asks, (nInterval + 1999) / 2000) << nInterval;
        EXPECT_EQ(walk.marked, 1) << nInterval;
        EXPECT_TRUE(walk.lastMarked) << nInterval;
    }
}

TEST(CDelayCheckSchedule, TheLargestIntervalDoesNotWrap) {
    const Walk walk = WalkToTheEnd(std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(walk.asks, 1073742);
    EXPECT_EQ(walk.marked, 1);
    EXPECT_TRUE(walk.lastMarked);
}

TEST(IsOpenSuccess, IsExactlyTheText1) {
    EXPECT_TRUE(IsOpenSuccess("1"));
    for (const char* word : {"", "0", "10", " 1", "Loading"}) {
        EXPECT_FALSE(IsOpenSuccess(word)) << word;
    }
}

class SelectLogUrlsTest : public testing::Test {
  protected:
    const Json::Value* Select(const char* text, bool bSuccess) {
        m_root = JsonOf(text);
        EXPECT_TRUE(m_root.isObject()) << text;
        return SelectLogUrls(m_root, bSuccess);
    }
    Json::Value m_root;
};

TEST_F(SelectLogUrlsTest, TakesSuccessLogForASuccessAndErrorLogOtherwise) {
    const char* text = R"({"successLog":["a","b"],"errorLog":["c"]})";
    const Json::Value* urls = Select(text, true);
    ASSERT_NE(urls, nullptr);
    EXPECT_EQ(WriteJson(*urls), R"(["a","b"])");
    urls = Select(text, false);
    ASSERT_NE(urls, nullptr);
    EXPECT_EQ(WriteJson(*urls), R"(["c"])");
}

TEST_F(SelectLogUrlsTest, AMissingOrNullMemberYieldsNone) {
    EXPECT_EQ(Select(R"({"errorLog":["c"]})", true), nullptr);
    EXPECT_EQ(Select(R"({"successLog":null})", true), nullptr);
}

TEST_F(SelectLogUrlsTest, AMemberThatIsNotAnArrayYieldsNone) {
    for (const char* text :
         {R"({"successLog":{"a":"b"}})", R"({"successLog":"a"})", R"({"successLog":1})", R"({"successLog":true})"}) {
        EXPECT_EQ(Select(text, true), nullptr) << text;
    }
}

}  // namespace
