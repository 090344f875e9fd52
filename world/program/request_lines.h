// What the internet of a world has been asked for.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

// The lines of the file that contain part, in order; a last one that is not whole yet is left out.
std::vector<std::string> RequestLines(const std::filesystem::path& file, const std::string& part);

// The same, and waits this long for the first.
std::vector<std::string> AwaitRequestLines(const std::filesystem::path& file, const std::string& part,
                                           std::uint32_t timeMs);
