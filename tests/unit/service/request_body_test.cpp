#include "service/request_body.h"

#include <string>

#include <gtest/gtest.h>

#include "foundation/json_text.h"

namespace {

Json::Value Body(const char* text) {
    Json::Value root;
    EXPECT_TRUE(ParseRequestBody(text, root)) << text;
    return root;
}

TEST(ParseRequestBody, TakesAnObjectAlone) {
    Json::Value root;
    EXPECT_TRUE(ParseRequestBody("{}", root));
    EXPECT_TRUE(ParseRequestBody("/* a comment */{\"a\":1}", root));
    for (const char* text : {"", "null", "[]", "[{}]", "7", "true", "\"text\"", "{", "{]"}) {
        EXPECT_FALSE(ParseRequestBody(text, root)) << text;
    }
}

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
    EXPECT_FALSE(value.hasComment(Json::commentBefore));
}

TEST(ReadOpenMiniApp, GivesTheCompactTextOfP1) {
    std::string text;
    EXPECT_TRUE(ReadOpenMiniApp(Body(R"({"service_id":"42","p1":{ "type" : "yyb", "from":"中" }})"), text));
    EXPECT_EQ(text, R"({"from":"中","type":"yyb"})");
}

TEST(ReadOpenMiniApp, ANullP1GivesTheTextNull) {
    std::string text;
    EXPECT_TRUE(ReadOpenMiniApp(Body(R"({"service_id":"","p1":null})"), text));
    EXPECT_EQ(text, "null");
}

TEST(ReadOpenMiniApp, RefusesAMissingOrMistypedServiceIdOrP1) {
    for (const char* body :
         {R"({})", R"({"p1":{}})", R"({"service_id":"42"})", R"({"service_id":42,"p1":{}})",
          R"({"service_id":null,"p1":{}})", R"({"service_id":"42","p1":"{}"})", R"({"service_id":"42","p1":[]})",
          R"({"service_id":"42","p1":1})", R"({"service_id":"42","p1":false})"}) {
        std::string text = "mine";
        EXPECT_FALSE(ReadOpenMiniApp(Body(body), text)) << body;
        EXPECT_EQ(text, "mine") << body;
    }
}

TEST(TakeOpenMiniAppSuccessfully, PutsTheValueOfTheTextInItsPlace) {
    Json::Value root = Body(R"({"id":7,"p1":"{ \"type\" : \"yyb\" }"})");
    std::string text;
    ASSERT_TRUE(TakeOpenMiniAppSuccessfully(root, text));
    EXPECT_EQ(text, R"({ "type" : "yyb" })");
    EXPECT_EQ(WriteJson(root), R"({"id":7,"p1":{"type":"yyb"}})");
}

TEST(TakeOpenMiniAppSuccessfully, ABrokenTextIsHandedOnAndItsPlaceTakesNull) {
    for (const char* inner : {"", "no json", "{"}) {
        Json::Value root(Json::objectValue);
        root["p1"] = inner;
        std::string text = "mine";
        ASSERT_TRUE(TakeOpenMiniAppSuccessfully(root, text)) << inner;
        EXPECT_EQ(text, inner);
        EXPECT_EQ(WriteJson(root), R"({"p1":null})");
    }
}

TEST(TakeOpenMiniAppSuccessfully, RefusesAMissingP1AndOneThatIsNoString) {
    for (const char* body : {R"({})", R"({"p1":null})", R"({"p1":{}})", R"({"p1":1})"}) {
        Json::Value root = Body(body);
        std::string text;
        EXPECT_FALSE(TakeOpenMiniAppSuccessfully(root, text)) << body;
    }
}

TEST(AddOpenResult, ReplacesWhatTheCallerPutUnderItsKeysAndKeepsTheRest) {
    Json::Value root = Body(R"({"id":7,"ret":{},"result":5})");
    AddOpenResult(root, "Loading", false);
    EXPECT_EQ(WriteJson(root), R"({"id":7,"result":"Loading","ret":"0"})");
    AddOpenResult(root, "1", true);
    EXPECT_EQ(WriteJson(root), R"({"id":7,"result":"1","ret":"1"})");
}

TEST(DelayInterval, TakesAJsonIntegerOtherThan0) {
    EXPECT_EQ(DelayInterval(R"({"interval":5000})", 2000), 5000);
    EXPECT_EQ(DelayInterval(R"({"interval":-7})", 2000), -7);
    EXPECT_EQ(DelayInterval(R"({"interval":1})", 2000), 1);
}

TEST(DelayInterval, KeepsTheOldIntervalFor0AndARealNumber) {
    EXPECT_EQ(DelayInterval(R"({"interval":0})", 3000), 3000);
    EXPECT_EQ(DelayInterval(R"({"interval":4000.0})", 3000), 3000);
    EXPECT_EQ(DelayInterval(R"({"interval":4e3})", 3000), 3000);
}

TEST(DelayInterval, KeepsTheOldIntervalForAnythingElse) {
    for (const char* text :
         {"", "null", "no json", "[]", "5", "\"interval\"", "{}", R"({"interval":"5000"})", R"({"interval":true})",
          R"({"interval":null})", R"({"interval":3000000000})", R"({"interval":5000)"}) {
        EXPECT_EQ(DelayInterval(text, 3000), 3000) << text;
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

TEST(TextToEncrypt, WhatIsNoTextIsAConversionFailure) {
    EXPECT_THROW(TextToEncrypt(Json::Value(5)), Json::LogicError);
    EXPECT_THROW(TextToEncrypt(Json::Value(Json::objectValue)), Json::LogicError);
    EXPECT_THROW(TextToEncrypt(P1(R"({"text":5})")), Json::LogicError);
    EXPECT_THROW(TextToEncrypt(P1(R"({"text":{}})")), Json::LogicError);
}

}  // namespace
