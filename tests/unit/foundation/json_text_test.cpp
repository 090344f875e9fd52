#include "foundation/json_text.h"

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <json/writer.h>

namespace {

Json::Value Parsed(std::string_view text) {
    Json::Value value;
    EXPECT_TRUE(ParseJson(text, value)) << text;
    return value;
}

// The one value inside "[...]".
Json::Value One(const std::string& text) {
    return Parsed("[" + text + "]")[0];
}

bool Refused(std::string_view text) {
    Json::Value value = "what was there before";
    const bool refused = !ParseJson(text, value);
    EXPECT_EQ(value.isNull(), refused) << text;
    return refused;
}

std::string Nested(std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

// What the library itself writes, which differs only in bytes above 0x7F.
std::string LibraryText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["commentStyle"] = "None";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

template <typename Conversion>
std::string Failure(Conversion convert) {
    try {
        convert();
    } catch (const Json::LogicError& error) {
        return error.what();
    }
    return "no failure";
}

TEST(JsonText, WritesCompactSortedTextAndLeavesBytesAbove7FAsTheyAre) {
    const Json::Value value = Parsed("{ \"b\" : 1, \"a\" : \"中\", \"T\" : [1, 2.5, null, true] }");
    EXPECT_EQ(WriteJson(value), "{\"T\":[1,2.5,null,true],\"a\":\"中\",\"b\":1}");
}

TEST(JsonText, WritesWhatTheLibraryWrites) {
    for (const char* text :
         {"{}", "[]", "[[],{}]", R"({"a":{"b":[1,-2,3000000000,-9223372036854775808,18446744073709551615]}})",
          "[0.1,1e100,-2.5e-7,1.0,123456789.125]", R"(["\"\\\/\b\f\n\r\t\u0000\u001f\u007f"])", "[true,false,null]",
          R"({"":1,"key\u0000nul":2,"\"":3,"中文":"文字"})", "[[1,2],[\"a\",{\"b\":[{}]}]]",
          "[1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30]"}) {
        EXPECT_EQ(WriteJson(Parsed(text)), LibraryText(Parsed(text))) << text;
    }
    for (const Json::Value& value : {Json::Value(), Json::Value(true), Json::Value("text"), Json::Value(1.5),
                                     Json::Value(std::nan("")), Json::Value(std::numeric_limits<double>::infinity()),
                                     Json::Value(-std::numeric_limits<double>::infinity())}) {
        EXPECT_EQ(WriteJson(value), LibraryText(value));
    }
}

TEST(JsonText, ControlCharactersAreEscapedAndSlashesAreNot) {
    EXPECT_EQ(WriteJson(Json::Value("a/b\x01\x1F\x7F\"\\\b\f\n\r\t")), R"("a/b\u0001\u001f)"
                                                                       "\x7F"
                                                                       R"(\"\\\b\f\n\r\t")");
}

TEST(JsonText, ACommentIsReadOverAndNotWritten) {
    const char* text = "/* before */ { // line\n \"a\": /* d */ 1 /* e */, \"b\":[ 2 /* f */ ] } // after";
    EXPECT_EQ(WriteJson(Parsed(text)), R"({"a":1,"b":[2]})");
    EXPECT_TRUE(Refused("{\"a\":1 /* never closed }"));
    EXPECT_TRUE(Refused("{\"a\" /* no place for one */ :1}"));
    EXPECT_TRUE(Refused("[ /* nor here */ ]"));
}

TEST(JsonText, ACommentIsNotKept) {
    // The library's time for comments that it keeps grows with their square.
    const Json::Value value = Parsed("/* before */ [ /* on */ 1 // behind\n, 2 ] // after");
    for (const auto place : {Json::commentBefore, Json::commentAfterOnSameLine, Json::commentAfter}) {
        EXPECT_FALSE(value.hasComment(place));
        EXPECT_FALSE(value[0].hasComment(place));
    }
}

TEST(JsonText, TextAfterTheRootIsIgnored) {
    EXPECT_EQ(WriteJson(Parsed("{\"a\":1} and more } [")), R"({"a":1})");
    EXPECT_EQ(WriteJson(Parsed("[1][2]")), "[1]");
    EXPECT_EQ(WriteJson(Parsed(std::string_view("{\"a\":1}\0\xFF", 9))), R"({"a":1})");
}

TEST(JsonText, AnyValueMayBeTheRoot) {
    EXPECT_EQ(WriteJson(Parsed(" 5 ")), "5");
    EXPECT_EQ(WriteJson(Parsed("\"text\"")), "\"text\"");
    EXPECT_EQ(WriteJson(Parsed("null")), "null");
}

TEST(JsonText, BrokenTextIsRefusedAndLeavesNull) {
    for (const char* text :
         {"",    " ",   "{",     "[",   "{\"a\"", "{\"a\":",   "{\"a\":1", "{\"a\":1,}", "[1,]",    "[1",
          "tru", "nul", "{a:1}", "'a'", "\"open", "{\"a\" 1}", "{1:2}",    "[1 2]",      "\"\\x\"", "\"\\u12\"",
          "}",   "]",   ",",     "/",   "/*",     "[1e999]",   "[+1]",     "NaN"}) {
        EXPECT_TRUE(Refused(text)) << text;
    }
    EXPECT_TRUE(Refused(std::string_view()));
}

TEST(JsonText, AMinusAloneReadsAsZero) {
    // Kept as it is: the library takes a sign without digits for a number.
    EXPECT_EQ(WriteJson(Parsed("[-]")), "[0]");
}

TEST(JsonText, AByteOrderMarkIsRefused) {
    EXPECT_TRUE(Refused("\xEF\xBB\xBF{\"a\":1}"));
}

TEST(JsonText, TheLastOfEqualKeysCounts) {
    EXPECT_EQ(WriteJson(Parsed(R"({"a":1,"b":2,"a":[3]})")), R"({"a":[3],"b":2})");
}

TEST(JsonText, TextIsNotReadBeyondItsEnd) {
    // A block of exactly this size, so that the sanitizer sees one byte too many.
    for (const std::string text : {"[1", "{\"a\":tru", "\"ab", "[1.", "[1e", "[-", "/", "/*", "\"\\", "\"\\u00"}) {
        const std::unique_ptr<char[]> block(new char[text.size()]);
        text.copy(block.get(), text.size());
        EXPECT_TRUE(Refused({block.get(), text.size()})) << text;
    }
}

TEST(JsonText, DeepNestingIsReadAndWrittenToAThousandAndRefusedBeyond) {
    EXPECT_EQ(WriteJson(Parsed(Nested(900))), Nested(900));
    EXPECT_EQ(WriteJson(Parsed(Nested(1000))), Nested(1000));
    EXPECT_TRUE(Refused(Nested(1001)));
    EXPECT_TRUE(Refused(Nested(100000)));
    EXPECT_TRUE(Refused(std::string(1000000, '[')));
    std::string objects;
    for (int i = 0; i < 2000; ++i) {
        objects += "{\"a\":";
    }
    EXPECT_TRUE(Refused(objects));
}

TEST(JsonText, AThreadsStackIsEnoughForTheDeepestText) {
    std::thread([] { EXPECT_EQ(WriteJson(Parsed(Nested(1000))), Nested(1000)); }).join();
}

TEST(JsonText, OneTextLeavesNothingForTheNext) {
    EXPECT_TRUE(Refused("{\"a\":[1,/* open comment"));
    EXPECT_EQ(WriteJson(Parsed("{\"b\":2}")), R"({"b":2})");
    EXPECT_TRUE(Refused(Nested(5000)));
    EXPECT_EQ(WriteJson(Parsed("[2]")), "[2]");
}

TEST(JsonText, TwentyMebibytesOfTextGoThrough) {
    const std::string text = "{\"p\":\"" + std::string(std::size_t{20} << 20, 'x') + "\"}";
    EXPECT_EQ(WriteJson(Parsed(text)), text);
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

TEST(JsonText, OnlyASignedIntegerIsAnInteger) {
    EXPECT_TRUE(IsJsonInteger(One("5")));
    EXPECT_TRUE(IsJsonInteger(One("-5")));
    for (const char* text : {"1.0", "1e3", "9223372036854775808", "true", "\"5\"", "null", "[]", "{}"}) {
        EXPECT_FALSE(IsJsonInteger(One(text))) << text;
    }
}

TEST(JsonText, AnIntegerFitsInto32BitsWhateverItsSign) {
    EXPECT_TRUE(IsJsonInteger(One("-2147483648")));
    EXPECT_TRUE(IsJsonInteger(One("2147483647")));
    for (const char* text : {"-2147483649", "-3000000000", "-9223372036854775808", "2147483648", "3000000000"}) {
        EXPECT_FALSE(IsJsonInteger(One(text))) << text;
    }
}

TEST(JsonText, NullBooleanAndStringConvertToText) {
    EXPECT_EQ(JsonToText(One("null")), "");
    EXPECT_EQ(JsonToText(One("true")), "true");
    EXPECT_EQ(JsonToText(One("false")), "false");
    EXPECT_EQ(JsonToText(One("\"中\"")), "中");
    EXPECT_EQ(JsonToText(One("\"a\\u0000b\"")), std::string("a\0b", 3));
}

TEST(JsonText, NumbersArraysAndObjectsDoNotConvertToText) {
    for (const char* text : {"5", "-5", "3000000000", "18446744073709551615", "1.5", "[]", "{}"}) {
        EXPECT_EQ(Failure([&] { JsonToText(One(text)); }), "Type is not convertible to string") << text;
    }
}

TEST(JsonText, NullBooleanAndFittingNumbersConvertToInt) {
    EXPECT_EQ(JsonToInt(One("null")), 0);
    EXPECT_EQ(JsonToInt(One("true")), 1);
    EXPECT_EQ(JsonToInt(One("false")), 0);
    EXPECT_EQ(JsonToInt(One("-2147483648")), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(JsonToInt(One("2147483647")), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(JsonToInt(One("1.9")), 1);
    EXPECT_EQ(JsonToInt(One("-1.9")), -1);
    EXPECT_EQ(JsonToUInt(One("4294967295")), 4294967295u);
    EXPECT_EQ(JsonToUInt(One("null")), 0u);
    EXPECT_EQ(JsonToUInt(One("true")), 1u);
    EXPECT_EQ(JsonToUInt(One("1.9")), 1u);
}

TEST(JsonText, TextsContainersAndNumbersOutOfRangeDoNotConvertToInt) {
    for (const char* text :
         {"2147483648", "-2147483649", "1e10", "18446744073709551615", "\"5\"", "\"\"", "[]", "{}"}) {
        EXPECT_NE(Failure([&] { JsonToInt(One(text)); }), "no failure") << text;
    }
    for (const char* text : {"4294967296", "-1", "-1.5", "1e10", "\"5\"", "[]", "{}"}) {
        EXPECT_NE(Failure([&] { JsonToUInt(One(text)); }), "no failure") << text;
    }
}

TEST(JsonText, AMissingMemberReadsAsNull) {
    const Json::Value value = Parsed(R"({"a":null,"b":1})");
    EXPECT_TRUE(JsonMember(value, "missing").isNull());
    EXPECT_EQ(JsonMember(value, "b").asInt(), 1);
    EXPECT_TRUE(JsonMember(Json::Value(), "a").isNull());
}

TEST(JsonText, FindTellsAMissingMemberFromOneThatIsNull) {
    const Json::Value value = Parsed(R"({"a":null,"k\u0000x":2})");
    ASSERT_NE(FindJsonMember(value, "a"), nullptr);
    EXPECT_TRUE(FindJsonMember(value, "a")->isNull());
    EXPECT_EQ(FindJsonMember(value, "missing"), nullptr);
    EXPECT_EQ(FindJsonMember(value, "k"), nullptr);
    EXPECT_NE(FindJsonMember(value, std::string_view("k\0x", 3)), nullptr);
    EXPECT_EQ(FindJsonMember(Json::Value(), "a"), nullptr);
}

TEST(JsonText, AMemberOfWhatIsNotAnObjectIsAFailure) {
    for (const char* text : {"[]", "1", "\"text\"", "true"}) {
        EXPECT_NE(Failure([&] { JsonMember(One(text), "a"); }), "no failure") << text;
        EXPECT_NE(Failure([&] { FindJsonMember(One(text), "a"); }), "no failure") << text;
    }
}

TEST(JsonTextDeathTest, AConversionThatFailsEndsTheProcess) {
    EXPECT_DEATH([]() noexcept { JsonToText(Json::Value(5)); }(), "");
    EXPECT_DEATH([]() noexcept { JsonToInt(Json::Value("5")); }(), "");
}

TEST(JsonText, DescribesWhyATextIsRefusedAndWhere) {
    EXPECT_EQ(DescribeJsonError("{}"), "");
    EXPECT_NE(DescribeJsonError(R"({"a":1,})").find("(at byte 7)"), std::string::npos)
        << DescribeJsonError(R"({"a":1,})");
    EXPECT_NE(DescribeJsonError(""), "");
    EXPECT_NE(DescribeJsonError(std::string(2000, '[')), "");
}

}  // namespace
