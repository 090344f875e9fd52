// What requests hold: their texts made, and those that would harm the helper found before they are sent.
#pragma once

#include <string>
#include <string_view>

#include <json/value.h>

// False when a value of the open's or question's JSON object has a kind whose conversion the helper does not survive,
// or when json is no object at all. open is filled.
bool ReadOpen(std::string_view json, Json::Value& open);
// The same for the question of a poll or watch, which travels as a text. An interval that is no number from 0 to
// 2147483647 is refused too: a negative one keeps the helper for ever.
bool CheckQuestion(std::string_view json);

// One sentence about a result word. A static text.
const char* DescribeResultWord(std::string_view word);
