#include "foundation/json_numbers.h"

#include <string>

#include <gtest/gtest.h>

#include "foundation/json_text.h"

namespace {

std::string Digits(std::size_t count, char digit = '7') {
    return std::string(count, digit);
}

// The text itself when nothing is shortened.
std::string Short(const std::string& text) {
    return WithShortNumbers(text).value_or(text);
}

double Read(const std::string& number) {
    Json::Value value;
    EXPECT_TRUE(ParseJson("[" + number + "]", value)) << number.substr(0, 50);
    EXPECT_TRUE(value[0].isNumeric());
    return value[0].asDouble();
}

TEST(JsonNumbers, TextsWithoutALongNumberAreLeftAlone) {
    for (const std::string& text :
         {std::string(), std::string("[1,2.5,-3e7]"), Digits(1023), "0." + Digits(1023), "\"" + Digits(5000) + "\"",
          "\"a\\\"" + Digits(5000) + "\"", "/*" + Digits(5000) + "*/1", "//" + Digits(5000) + "\n1",
          Digits(5000, '0') + "5", "0." + Digits(5000, '0') + "5", "1e" + Digits(5000, '0') + "5",
          Digits(500) + "." + Digits(500) + "e" + Digits(500)}) {
        EXPECT_EQ(WithShortNumbers(text), std::nullopt) << text.substr(0, 50);
    }
}

TEST(JsonNumbers, ALongNumberKeepsItsFirstDigitsAndItsSize) {
    EXPECT_EQ(Short(Digits(1024)), "0." + Digits(800) + "1e1024");
    EXPECT_EQ(Short("0." + Digits(1024)), "0." + Digits(800) + "1e0");
    EXPECT_EQ(Short("0.000" + Digits(1024)), "0." + Digits(800) + "1e-3");
    EXPECT_EQ(Short("12." + Digits(2000)), "0.12" + Digits(798) + "1e2");
    EXPECT_EQ(Short("1" + Digits(2000, '0')), "0.1" + Digits(799, '0') + "e2001");
    EXPECT_EQ(Short("1" + Digits(2000, '0') + "e-1990"), "0.1" + Digits(799, '0') + "e11");
    EXPECT_EQ(Short("0." + Digits(1024) + "E+7"), "0." + Digits(800) + "1e7");
    EXPECT_EQ(Short("-" + Digits(600) + "." + Digits(600)), "-0." + Digits(800) + "1e600");
    EXPECT_EQ(Short("-." + Digits(1024)), "-0." + Digits(800) + "1e0");
}

TEST(JsonNumbers, OnlyTheLongNumbersOfATextAreRewritten) {
    const std::string number = "0." + Digits(1024);
    const std::string shorter = "0." + Digits(800) + "1e0";
    EXPECT_EQ(Short("{\"" + number + "\":[" + number + ",5," + number + "],\"\\\\\":\"\\\"" + number + "\"/*" + number +
                    "*/} " + number + "//" + number),
              "{\"" + number + "\":[" + shorter + ",5," + shorter + "],\"\\\\\":\"\\\"" + number + "\"/*" + number +
                  "*/} " + shorter + "//" + number);
    EXPECT_EQ(Short("//\r" + number + "//\n" + number), "//\r" + shorter + "//\n" + shorter);
    EXPECT_EQ(Short("\"open " + number), "\"open " + number);
    EXPECT_EQ(Short("/*open " + number), "/*open " + number);
    EXPECT_EQ(Short("/" + number), "/" + shorter);
}

TEST(JsonNumbers, ALongNumberIsFoundAnywhere) {
    for (std::size_t at = 0; at < 1600; at += 7) {
        const std::string before = "[" + std::string(at, ' ');
        EXPECT_EQ(Short(before + "0." + Digits(1024) + "]"), before + "0." + Digits(800) + "1e0]") << at;
    }
}

TEST(JsonNumbers, ALongNumberReadsAsTheSameDouble) {
    EXPECT_EQ(Read("0." + Digits(5000, '3')), 1.0 / 3);
    EXPECT_EQ(Read("-0." + Digits(5000, '6') + "7"), -2.0 / 3);
    EXPECT_EQ(Read("1" + Digits(5000, '0') + "e-4999"), 10.0);
    EXPECT_EQ(Read("0." + Digits(5000, '0') + Digits(2000, '9') + "e5000"), 1.0);
    EXPECT_EQ(Read("0." + Digits(2000) + "e-99999999999999999999"), 0.0);
    // Half way between two doubles the last digit decides, however far away it is.
    const std::string halfWay = "9007199254740993." + Digits(3000, '0');
    EXPECT_EQ(Read(halfWay), 9007199254740992.0);
    EXPECT_EQ(Read(halfWay + "1"), 9007199254740994.0);
}

TEST(JsonNumbers, WhatIsNotANumberStaysAsItIs) {
    Json::Value value;
    for (const std::string& number :
         {Digits(5000), "-" + Digits(5000), Digits(5000) + "e99999999999999999999", "0." + Digits(5000) + "e",
          "0." + Digits(5000) + "e+", Digits(5000) + "x", "0." + Digits(5000) + ".5"}) {
        EXPECT_FALSE(ParseJson("[" + number + "]", value)) << number.substr(4990);
    }
}

}  // namespace
