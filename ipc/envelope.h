// The JSON envelope of a message: {"content":...,"message_type":N}.
#pragma once

#include <string>
#include <string_view>

#include <json/value.h>

enum class EnvelopeStatus {
    Ok,
    ParseError,     // not JSON
    NotObject,      // the root is no object
    NoMessageType,  // message_type is missing or no JSON integer
    NoContent,      // content is missing or neither an object nor null, for a type other than 1
};

struct Envelope {
    int nType = 0;
    // Type 1: content as a text. Other types: content written back as compact JSON, "null" for null.
    std::string strBody;
};

// Reads text (the payload up to its first NUL) into envelope, which is filled as far as the checks got. For type 1 a
// content that does not convert to a text throws, and the process ends.
EnvelopeStatus ReadEnvelope(std::string_view text, Envelope& envelope);

// The envelope's compact text. content is moved into it.
std::string WriteEnvelope(int nType, Json::Value content);
