// Removal of files that other programs may still hold.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

// Removes files and folders with all in them, read-only files too. What another program holds open, a virus scanner or
// an Explorer window for example, is tried again for up to timeoutMs once everything else is gone. An empty text when
// all is gone, or else which file is held and with which system error.
std::string RemoveHeldFiles(const std::vector<std::filesystem::path>& paths, std::uint32_t timeoutMs);
