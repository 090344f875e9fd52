// Small texts and values that several of the runner's files need.
#pragma once

#include <cstdint>
#include <string>

#include <json/value.h>

// The value of a text that is JSON; null for any other.
Json::Value Parsed(const std::string& text);

// An exit code of a process as people know it: those of the system are written in hexadecimal.
std::string ExitCodeText(std::uint32_t code);
