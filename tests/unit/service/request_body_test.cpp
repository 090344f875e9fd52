#include "service/request_body.h"

#include <limits>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "foundation/json_text.h"
#include "tests/support/json_of.h"

namespace {

TEST(ParseJsonText, NoTextLeavesTheValueAlone) {
    Json::Value value("mine");
    EXPECT_FALSE(ParseJsonText(nullptr, 5, value));
    EXPECT_FALSE(ParseJsonText("{}", 0, value));
    EXPECT_EQ(value, Json::Value("mine"));
}

TEST(ParseJsonText, ABrokenTextLeavesNullAndNothingOfWhatWasRead) {
    for (const std::string text : {"{\"a\":1,", "{\"a\":1,}", "no text", "["}) {
        Json::Value value("mine");
        EXPECT_FALSE(ParseJsonText(text.data(), text.size(), value)) << text;
        EXPECT_TRUE(value.isNull()) << text << " left " << WriteJson(value);
    }
}

TEST(ParseJsonText, ReadsAnyRootAndSkipsComments) {
    const std::string text = "/* c */ [1, {\"a\": 2}]";
    Json::Value value;
    ASSERT_TRUE(ParseJsonText(text.data(), text.size(), value));
    EXPECT_EQ(WriteJson(value), "[1,{\"a\":2}]");
}

TEST(TakeOpenMiniAppSuccessfully, PutsTheValueOfTheTextInItsPlace) {
    Json::Value content = JsonOf(R"({"id":7,"p1":"{ \"type\" : \"yyb\" }"})");
    const Json::Value& question = TakeOpenMiniAppSuccessfully(content);
    EXPECT_EQ(WriteJson(question), R"({"type":"yyb"})");
    EXPECT_EQ(WriteJson(content), R"({"id":7,"p1":{"type":"yyb"}})");
}

TEST(TakeOpenMiniAppSuccessfully, ABrokenTextGivesWayToNull) {
    for (const char* inner : {"", "no json", "{"}) {
        Json::Value content(Json::objectValue);
        content["p1"] = inner;
        EXPECT_TRUE(TakeOpenMiniAppSuccessfully(content).isNull()) << inner;
        EXPECT_EQ(WriteJson(content), R"({"p1":null})");
    }
}

TEST(AddOpenResult, ReplacesWhatTheCallerPutUnderItsKeysAndKeepsTheRest) {
    Json::Value root = JsonOf(R"({"id":7,"ret":{},"result":5})");
    AddOpenResult(root, "Loading", false);
    EXPECT_EQ(WriteJson(root), R"({"id":7,"result":"Loading","ret":"0"})");
    AddOpenResult(root, "1", true);
    EXPECT_EQ(WriteJson(root), R"({"id":7,"result":"1","ret":"1"})");
}

TEST(DelayInterval, TakesAJsonIntegerOtherThan0) {
    EXPECT_EQ(DelayInterval(JsonOf(R"({"interval":5000})")), 5000);
    EXPECT_EQ(DelayInterval(JsonOf(R"({"interval":-7})")), -7);
    EXPECT_EQ(DelayInterval(JsonOf(R"({"interval":1})")), 1);
}

TEST(DelayInterval, IsNoneFor0AndARealNumber) {
    EXPECT_EQ(DelayInterval(JsonOf(R"({"interval":0})")), std::nullopt);
    EXPECT_EQ(DelayInterval(JsonOf(R"({"interval":4000.0})")), std::nullopt);
    EXPECT_EQ(DelayInterval(JsonOf(R"({"interval":4e3})")), std::nullopt);
}

TEST(DelayInterval, IsNoneForANumberOutside32Bits) {
    for (const char* number : {"-2147483649", "-3000000000", "-9223372036854775808", "2147483648"}) {
        EXPECT_EQ(DelayInterval(JsonOf(std::string(R"({"interval":)") + number + "}")), std::nullopt) << number;
    }
    EXPECT_EQ(DelayInterval(JsonOf(R"({"interval":-2147483648})")), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(DelayInterval(JsonOf(R"({"interval":2147483647})")), 2147483647);
}

TEST(DelayInterval, IsNoneForAnythingElse) {
    for (const char* text :
         {"", "null", "no json", "[]", "5", "\"interval\"", "{}", R"({"interval":"5000"})", R"({"interval":true})",
          R"({"interval":null})", R"({"interval":3000000000})", R"({"interval":5000)"}) {
        EXPECT_EQ(DelayInterval(JsonOf(text)), std::nullopt) << text;
    }
}

Json::Value P1(const char* inner) {
    return Json::Value(inner);
}

TEST(TextToEncrypt, IsTheTextInsideTheTextOfP1) {
    EXPECT_EQ(TextToEncrypt(P1(R"({"text":"中 a"})")), "中 a");
    EXPECT_EQ(TextToEncrypt(P1(R"({"text":true})")), "true");
}

TEST(TextToEncrypt, IsEmptyWhenThereIsNone) {
    for (const char* inner : {"", "no json", "null", "[]", "7", "{}", R"({"text":null})", R"({"text":"a")"}) {
        EXPECT_EQ(TextToEncrypt(P1(inner)), "") << inner;
    }
    EXPECT_EQ(TextToEncrypt(Json::Value()), "");
    EXPECT_EQ(TextToEncrypt(Json::Value(true)), "");
}

TEST(TextToEncrypt, WhatIsNotATextIsAConversionFailure) {
    EXPECT_THROW(TextToEncrypt(Json::Value(5)), Json::LogicError);
    EXPECT_THROW(TextToEncrypt(Json::Value(Json::objectValue)), Json::LogicError);
    EXPECT_THROW(TextToEncrypt(P1(R"({"text":5})")), Json::LogicError);
    EXPECT_THROW(TextToEncrypt(P1(R"({"text":{}})")), Json::LogicError);
}

}  // namespace
