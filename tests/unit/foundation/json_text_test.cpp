#include "foundation/json_text.h"

#include <thread>

#include <gtest/gtest.h>

namespace {

Json::Value Parsed(const char* text) {
    Json::Value value;
    EXPECT_TRUE(ParseJson(text, value)) << text;
    return value;
}

TEST(JsonText, WritesCompactSortedTextAndLeavesBytesAbove7FAsTheyAre) {
    Json::Value value = Parsed("{ \"b\" : 1, \"a\" : \"中\", \"T\" : [1, 2.5, null, true] }");
    EXPECT_EQ(WriteJson(value), "{\"T\":[1,2.5,null,true],\"a\":\"中\",\"b\":1}");
}

TEST(JsonText, OnlyASignedIntegerIsAnInteger) {
    EXPECT_TRUE(IsJsonInteger(Parsed("[5]")[0]));
    EXPECT_TRUE(IsJsonInteger(Parsed("[-5]")[0]));
    for (const char* text : {"[1.0]", "[1e3]", "[3000000000]", "[true]", "[\"5\"]", "[null]"}) {
        EXPECT_FALSE(IsJsonInteger(Parsed(text)[0])) << text;
    }
}

TEST(JsonText, ThreadsThatUsedItMayEndInAnyNumber) {
    for (int round = 0; round < 50; ++round) {
        std::thread threads[2];
        for (std::thread& one : threads) {
            one = std::thread([] {
                Json::Value value;
                EXPECT_TRUE(ParseJson(R"({"a":[1,2,3]})", value));
                EXPECT_EQ(WriteJson(value), R"({"a":[1,2,3]})");
            });
        }
        for (std::thread& one : threads) {
            one.join();
        }
    }
}

}  // namespace
