// The bodies of requests and replies: what a request must hold, and what its reply adds to it.
//
// A reply echoes the body of its request with keys added or replaced. A value that cannot be converted throws
// Json::LogicError, which nothing catches.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <json/value.h>

// Reads a body. False when it is no JSON object.
bool ParseRequestBody(const std::string& strBody, Json::Value& root);

// Reads a JSON text that stands inside a body, where comments are of no interest. False, and value as it was, for no
// text; false, and value null, for a broken one.
bool ParseJsonText(const char* data, std::size_t length, Json::Value& value);

// The request to open: service_id must be a string and p1 null or an object. Gives p1's compact text in strOpenText;
// false when the request is refused.
bool ReadOpenMiniApp(const Json::Value& root, std::string& strOpenText);

// The request to ask once: p1 must be a string, which strText gets; false when it is not. In root the text's value
// takes p1's place, null when the text is broken: the reply carries an object where the request carried a text.
bool TakeOpenMiniAppSuccessfully(Json::Value& root, std::string& strText);

// Adds an open's result word, and "1" or "0" for what the call itself returned.
void AddOpenResult(Json::Value& root, const std::string& strResult, bool bReturned);

// The interval, in milliseconds, that the text of a delayed check asks for. nCurrent when it names none: interval must
// be a JSON integer other than 0.
std::int32_t DelayInterval(const std::string& strRunStatusParam, std::int32_t nCurrent);

// The text that a request for the envelope wants enciphered: text of the JSON object whose text p1 is. Empty when p1 is
// broken, no object or names none.
std::string TextToEncrypt(const Json::Value& p1);
