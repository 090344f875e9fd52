// Log files in memory.
#pragma once

#include <string>
#include <string_view>

// UTF-16 little-endian of a text that is ASCII.
inline std::string LogBytes(std::string_view ascii) {
    std::string bytes;
    for (const char c : ascii) {
        bytes += c;
        bytes += '\0';
    }
    return bytes;
}
