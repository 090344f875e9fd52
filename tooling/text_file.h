// Whole files.
#pragma once

#include <string>

// Paths are UTF-8. Reading gives the bytes as they are; writing replaces what was there.
bool ReadTextFile(const std::string& path, std::string& text);
// replace: a file that is there is overwritten; otherwise that fails with ERROR_FILE_EXISTS.
bool WriteTextFile(const std::string& path, const std::string& text, bool replace = true);
