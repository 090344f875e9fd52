// Every JSON text of the program is read and written here, and converted by the rules its callers rely on.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <json/value.h>

// Parses text into value. False, with value null, when the reader refuses it: broken text, a byte-order mark, nesting
// deeper than 1000. Comments are skipped, and text after a whole root is ignored. The time is linear in the text,
// except for the search among the members of an object. Any thread.
bool ParseJson(std::string_view text, Json::Value& value);

// Why ParseJson refuses this text and at which byte, for people; empty when it does not. Any thread.
std::string DescribeJsonError(std::string_view text);

// The compact form: keys sorted bytewise, no blanks, no line end, bytes above 0x7F as they are; a value that is not a
// number is written in a form that the reader refuses (null, 1e+9999, -1e+9999 for NaN and the infinities). Any thread.
std::string WriteJson(const Json::Value& value);

// How many texts ParseJson and WriteJson were called for since the process started. Tests hold a request to one text in
// and one out by it. Any thread.
struct JsonTextCounts {
    std::uint64_t nParsed = 0;
    std::uint64_t nWritten = 0;
};
JsonTextCounts CountJsonTexts();

// The value was written as an integer and fits into 32 bits with its sign: JsonToInt converts it. What merely converts
// to one (1.0, 1e3, true) does not count, and neither does a number outside -2147483648 to 2147483647: the library
// gives every negative number down to -2^63 the type of a signed integer.
inline bool IsJsonInteger(const Json::Value& value) {
    return value.type() == Json::intValue && value.isInt();
}

// Conversions. What cannot be converted throws Json::LogicError, which nothing catches: the process ends.

// Null gives empty text, a boolean "true" or "false", a string itself; a number, array or object fails with
// "Type is not convertible to string".
std::string JsonToText(const Json::Value& value);

// Null gives 0, a boolean 0 or 1, a number its integer part when that fits; anything else fails.
std::int32_t JsonToInt(const Json::Value& value);
std::uint32_t JsonToUInt(const Json::Value& value);

// The member of an object, or null when it is missing. Fails when value is neither an object nor null.
const Json::Value& JsonMember(const Json::Value& value, const char* key);

// The member of an object, or a null pointer when there is none (a member that is null gives a pointer to it). value
// must be an object or null.
const Json::Value* FindJsonMember(const Json::Value& value, std::string_view key);
