// The JSON envelope of a message: {"content":...,"message_type":N}.
#pragma once

#include <string>
#include <string_view>

#include <json/value.h>

#include "ipc/protocol/request.h"

enum class EnvelopeStatus {
    Ok,
    ParseError,     // not JSON
    NotObject,      // the root is not an object
    NoMessageType,  // message_type is missing or not a JSON integer of 32 bits
    NoContent,      // content is missing or neither an object nor null, for a type other than 1
};

// Reads text (the payload up to its first NUL) into request, which is filled as far as the checks got. For type 1 a
// content that does not convert to a text throws, and the process ends.
EnvelopeStatus ReadEnvelope(std::string_view text, Request& request);

// The envelope's compact text. content is moved into it.
std::string WriteEnvelope(int nType, Json::Value content);
