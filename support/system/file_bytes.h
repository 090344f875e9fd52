// A whole file as bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The file's bytes; none when it cannot be read. The file is closed again. Any thread.
std::vector<std::uint8_t> ReadWholeFile(const std::wstring& path);
