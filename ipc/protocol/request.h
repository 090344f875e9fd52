// A message on its way from the pipe to its handler: read from its payload once.
#pragma once

#include <string>

#include <json/value.h>

#include "foundation/json_text.h"

struct Request {
    int nType = 0;
    // Type 1 alone: the command line. Empty for every other type.
    std::string strCommandLine;
    // Every other type: an object, or null. The handler turns it into the content of the reply.
    Json::Value content;

    // The content as compact JSON, for a line of the log: "null" for null. Each call writes it again.
    std::string ContentText() const { return WriteJson(content); }
};
