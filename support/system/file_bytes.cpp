#include "support/system/file_bytes.h"

#include <filesystem>
#include <fstream>
#include <iterator>

std::vector<std::uint8_t> ReadWholeFile(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
