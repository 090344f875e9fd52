// The header of a library: for which processor it is, and what it exports.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

inline constexpr std::uint16_t kMachineX64 = 0x8664;

struct PeLibrary {
    bool bRead = false;  // false: the bytes are not a library, or are cut
    std::uint16_t nMachine = 0;
    std::vector<std::string> exports;  // by name, in the order of the table
};

// Reads a whole file's bytes (PE format, "Export Directory Table"). A table with more than 65536 names, or a name of
// more than 4096 bytes, counts as broken.
PeLibrary ReadPeLibrary(std::string_view bytes);
