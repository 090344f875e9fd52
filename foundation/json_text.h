// Every JSON text of the program is read and written here, and converted by the rules its callers rely on.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <json/value.h>

enum class JsonComments { Ignored, Collected };

// Parses text into value. False, with value null, when the reader refuses it: broken text, a byte-order mark, nesting
// deeper than 1000. Comments are skipped, and text behind a whole root is ignored. Any thread.
bool ParseJson(std::string_view text, Json::Value& value, JsonComments comments = JsonComments::Collected);

// The compact form: keys sorted bytewise, no blanks, no line end, bytes above 0x7F as they are; a value that is no
// number is written as the reader cannot read it back (null, 1e+9999, -1e+9999 for NaN and the infinities). Any thread.
std::string WriteJson(const Json::Value& value);

// The value was written as a signed integer: not what merely converts to one (1.0, 1e3, true and 3000000000 do not
// count).
inline bool IsJsonInteger(const Json::Value& value) {
    return value.type() == Json::intValue;
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
