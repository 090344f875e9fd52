#include <gtest/gtest.h>

#include "nexctl/helpers/helper_list.h"

namespace {

TEST(HelperList, ConnectedServicesComeFirstAndEachOnce) {
    EXPECT_EQ(MergeServices({"b", "a"}, {"a", "", "c"}),
              (std::vector<ServiceState>{{"b", true}, {"a", true}, {"c", false}}));
}

TEST(HelperList, ServiceIdIsWhatComesAfterThePrefixInAnyCase) {
    EXPECT_EQ(ServicesOfPipes({R"(\\.\pipe\X_m_one)", R"(\\.\PIPE\x_M_Two)", R"(\\.\pipe\X_m_)", R"(\\.\pipe\X_other)"},
                              R"(\\.\pipe\X_m_)"),
              (std::vector<std::string>{"one", "Two"}));
}

TEST(HelperList, AgeIsToldInTheTwoLargestUnits) {
    EXPECT_EQ(AgeText(0), "0 s");
    EXPECT_EQ(AgeText(59), "59 s");
    EXPECT_EQ(AgeText(60), "1 min");
    EXPECT_EQ(AgeText(3599), "59 min");
    EXPECT_EQ(AgeText(3600 + 20 * 60), "1 h 20 min");
    EXPECT_EQ(AgeText(2 * 86400 + 4 * 3600 + 59), "2 d 4 h");
}

TEST(HelperList, TableHasALineForEachHelperAndSaysWhatIsNotTold) {
    EXPECT_EQ(HelpersText({}), "no helper runs\n");
    RunningHelper full;
    full.processId = 12;
    full.mark = "m";
    full.version = "1.0.0.0";
    full.services = {{"a", true}, {"b", false}};
    full.serves = true;
    full.ageSeconds = 61;
    full.log = "L";
    RunningHelper bare;
    bare.processId = 3456789;
    EXPECT_EQ(HelpersText({full, bare}),
              "PROCESS  MARK      VERSION  AGE       SERVES    SERVICES              LOG\n"
              "12       m         1.0.0.0  1 min     yes       a, b (not connected)  L\n"
              "3456789  not told  none     not told  not told  none                  none\n");
}

TEST(HelperList, RecordHasNullForWhatIsNotTold) {
    RunningHelper bare;
    bare.processId = 5;
    bare.services = {{"s", true}};
    const Json::Value record = HelpersRecord({bare})["helpers"][0];
    EXPECT_TRUE(record["serves"].isNull());
    EXPECT_TRUE(record["age_seconds"].isNull());
    EXPECT_EQ(record["services"][0]["id"].asString(), "s");
    EXPECT_TRUE(record["services"][0]["connected"].asBool());
}

}  // namespace
