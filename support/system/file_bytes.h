// A whole file as bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The file's bytes, read in one call. None when it is empty, cannot be read, has 4 GiB or more, or does not fit into
// memory. The file is closed again. Any thread.
std::vector<std::uint8_t> ReadWholeFile(const std::wstring& path);
