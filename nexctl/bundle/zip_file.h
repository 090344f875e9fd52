// Writes a zip archive.
#pragma once

#include <string>
#include <vector>

struct ZipEntry {
    std::string name;  // UTF-8, with "/" between folders
    std::string bytes;
};

// The bytes of an archive with these files. Their names have at most 65535 bytes, and all of it together less than
// 4 GiB. Every file gets the time 1980-01-01: the same contents give the same archive.
std::string BuildZip(const std::vector<ZipEntry>& entries);
