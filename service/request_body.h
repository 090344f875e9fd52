// What the handlers read of a request's content, and what they add to it for the reply.
//
// A reply echoes the content of its request with keys added or replaced. A value that cannot be converted throws
// Json::LogicError, which nothing catches.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include <json/value.h>

// Reads a JSON text inside a content. False, and value as it was, for an empty text; false, and value null, for a
// broken one.
bool ParseJsonText(const char* data, std::size_t length, Json::Value& value);

// The question of a poll: the value of the JSON text under p1 takes the text's place, null when the text is broken, so
// the reply carries an object where the request carried a text. p1 must be a text. Returns the new p1, which lives as
// long as content.
const Json::Value& TakeOpenMiniAppSuccessfully(Json::Value& content);

// Adds an open's result word, and "1" or "0" for what the call itself returned.
void AddOpenResult(Json::Value& content, const std::string& strResult, bool bReturned);

// The interval, in milliseconds, that a delayed check asks for. Nothing when it names none: interval must be a JSON
// integer other than 0, in an object.
std::optional<std::int32_t> DelayInterval(const Json::Value& question);

// The text that is to be encrypted: the member text of the JSON object that p1 holds as a text. Empty when p1 is
// broken, not an object or names none.
std::string TextToEncrypt(const Json::Value& p1);
