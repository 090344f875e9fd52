#include "nexctl/runner/runner_texts.h"

#include <cstdio>

#include "foundation/json_text.h"

Json::Value Parsed(const std::string& text) {
    Json::Value value;
    ParseJson(text, value);
    return value;
}

std::string ExitCodeText(std::uint32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, code < 0x10000 ? "%u" : "0x%08X", code);
    return text;
}
