#include "ipc/protocol/envelope.h"

#include <string>

#include <gtest/gtest.h>
#include <json/value.h>

namespace {

EnvelopeStatus StatusOf(const std::string& text) {
    Request request;
    return ReadEnvelope(text, request);
}

std::string BodyOf(const std::string& text) {
    Request request;
    EXPECT_EQ(ReadEnvelope(text, request), EnvelopeStatus::Ok) << text;
    return request.nType == 1 ? request.strCommandLine : request.ContentText();
}

TEST(Envelope, AnObjectContentBecomesTheRequestsContent) {
    EXPECT_EQ(BodyOf(R"({ "message_type" : 6, "content" : { "service_id": "s",  "p1" : "x" } })"),
              R"({"p1":"x","service_id":"s"})");
}

TEST(Envelope, ANullContentIsTaken) {
    EXPECT_EQ(BodyOf(R"({"message_type":2,"content":null})"), "null");
}

TEST(Envelope, TypeOneTakesContentAsAText) {
    EXPECT_EQ(BodyOf(R"({"message_type":1,"content":"nexlet.exe /from:abc"})"), "nexlet.exe /from:abc");
    EXPECT_EQ(BodyOf(R"({"message_type":1})"), "");
    EXPECT_EQ(BodyOf(R"({"message_type":1,"content":null})"), "");
    EXPECT_EQ(BodyOf(R"({"message_type":1,"content":true})"), "true");
}

TEST(Envelope, TypeOneWithAContentThatIsNotATextFailsInTheLibrary) {
    Request request;
    for (const char* content : {"{}", "[1]", "5", "1.5"}) {
        EXPECT_THROW(ReadEnvelope(std::string(R"({"message_type":1,"content":)") + content + "}", request),
                     Json::LogicError)
            << content;
    }
}

TEST(Envelope, WhatIsNotJsonIsAParseError) {
    for (const char* text : {"", "x", "{", "{\"message_type\":"}) {
        EXPECT_EQ(StatusOf(text), EnvelopeStatus::ParseError) << text;
    }
}

TEST(Envelope, ARootThatIsNotAnObjectIsRefused) {
    for (const char* text : {"null", "[]", "\"text\"", "true", "1"}) {
        EXPECT_EQ(StatusOf(text), EnvelopeStatus::NotObject) << text;
    }
}

TEST(Envelope, AMessageTypeThatIsNotAnIntegerIsRefused) {
    for (const char* type : {"\"2\"", "2.0", "2e0", "true", "null", "{}", "[2]", "3000000000"}) {
        EXPECT_EQ(StatusOf(std::string(R"({"content":{},"message_type":)") + type + "}"), EnvelopeStatus::NoMessageType)
            << type;
    }
    EXPECT_EQ(StatusOf(R"({"content":{}})"), EnvelopeStatus::NoMessageType);
    EXPECT_EQ(StatusOf("{}"), EnvelopeStatus::NoMessageType);
}

TEST(Envelope, AMessageTypeOutside32BitsIsRefusedWhateverItsSign) {
    for (const char* type : {"-2147483649", "-3000000000", "-9223372036854775808", "2147483648", "9223372036854775807",
                             "18446744073709551615"}) {
        EXPECT_EQ(StatusOf(std::string(R"({"content":{},"message_type":)") + type + "}"), EnvelopeStatus::NoMessageType)
            << type;
    }
    for (const char* type : {"-2147483648", "2147483647"}) {
        EXPECT_EQ(StatusOf(std::string(R"({"content":{},"message_type":)") + type + "}"), EnvelopeStatus::Ok) << type;
    }
}

TEST(Envelope, AContentThatIsNeitherObjectNorNullIsRefused) {
    for (const char* content : {"\"text\"", "[]", "5", "true", "1.5"}) {
        EXPECT_EQ(StatusOf(std::string(R"({"message_type":2,"content":)") + content + "}"), EnvelopeStatus::NoContent)
            << content;
    }
    EXPECT_EQ(StatusOf(R"({"message_type":2})"), EnvelopeStatus::NoContent);
}

TEST(Envelope, TheTypeIsReadSigned) {
    Request request;
    ASSERT_EQ(ReadEnvelope(R"({"message_type":-5,"content":{}})", request), EnvelopeStatus::Ok);
    EXPECT_EQ(request.nType, -5);
}

TEST(Envelope, WritingSortsTheKeysAndEndsWithoutALineFeed) {
    Json::Value content(Json::objectValue);
    content["p1"] = "1";
    EXPECT_EQ(WriteEnvelope(12, content), R"({"content":{"p1":"1"},"message_type":12})");
    EXPECT_EQ(WriteEnvelope(1, Json::Value("nexlet.exe")), R"({"content":"nexlet.exe","message_type":1})");
}

TEST(Envelope, BytesAboveAsciiPassAsTheyAre) {
    const std::string text = "{\"content\":{\"p1\":\"\xE4\xB8\xAD\"},\"message_type\":5}";
    EXPECT_EQ(BodyOf(text), "{\"p1\":\"\xE4\xB8\xAD\"}");
}

}  // namespace
