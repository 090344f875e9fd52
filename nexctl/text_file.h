// Whole files.
#pragma once

#include <string>

// Paths are UTF-8. Reading gives the bytes as they are; writing replaces what was there.
bool ReadTextFile(const std::string& path, std::string& text);
bool WriteTextFile(const std::string& path, const std::string& text);
