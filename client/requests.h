// What requests hold: their texts made, and those that would harm the helper found before they are sent.
#pragma once

#include <string>
#include <string_view>

#include <json/value.h>

// What a caller handed in under the name what as JSON text. False, with the reason of reason.h, for no text at all, for
// bytes that are not UTF-8 and for what is not JSON.
bool ReadJson(const char* json, const char* what, Json::Value& value);

// The object of an open or a question. False, with the reason, also when it is not an object and when one of its values
// has a kind whose conversion the helper does not survive.
bool ReadOpen(const char* json, const char* what, Json::Value& open);
// The same for the question of a poll or watch, which travels as a text. An interval that is not a number from 0 to
// 2147483647 is refused too: a negative one keeps the helper for ever.
bool CheckQuestion(const char* json, const char* what);

// One sentence about a result word. A static text.
const char* DescribeResultWord(std::string_view word);
