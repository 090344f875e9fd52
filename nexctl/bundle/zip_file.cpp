#include "nexctl/bundle/zip_file.h"

#include <array>

namespace {

// APPNOTE.TXT 4.3.7, 4.3.12 and 4.3.16.
constexpr std::uint32_t kLocalHeader = 0x04034B50;
constexpr std::uint32_t kCentralHeader = 0x02014B50;
constexpr std::uint32_t kEndRecord = 0x06054B50;
constexpr std::uint16_t kVersion = 20;
constexpr std::uint16_t kNamesAreUtf8 = 0x0800;
constexpr std::uint16_t kStored = 0;
constexpr std::uint16_t kFirstDay = 0x0021;  // 1980-01-01

void Put16(std::string& bytes, std::uint32_t value) {
    bytes += static_cast<char>(value & 0xFF);
    bytes += static_cast<char>(value >> 8 & 0xFF);
}

void Put32(std::string& bytes, std::uint32_t value) {
    Put16(bytes, value & 0xFFFF);
    Put16(bytes, value >> 16);
}

// What both headers of a file hold: from the version that is needed to the length of the extra field.
void PutCommon(std::string& bytes, const ZipEntry& entry, std::uint32_t crc) {
    const auto size = static_cast<std::uint32_t>(entry.bytes.size());
    Put16(bytes, kVersion);
    Put16(bytes, kNamesAreUtf8);
    Put16(bytes, kStored);
    Put16(bytes, 0);  // time
    Put16(bytes, kFirstDay);
    Put32(bytes, crc);
    Put32(bytes, size);  // compressed
    Put32(bytes, size);
    Put16(bytes, static_cast<std::uint32_t>(entry.name.size()));
    Put16(bytes, 0);  // extra field
}

constexpr std::array<std::uint32_t, 256> MakeCrcTable() {
    std::array<std::uint32_t, 256> table = {};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        std::uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1) != 0 ? value >> 1 ^ 0xEDB88320 : value >> 1;
        }
        table[i] = value;
    }
    return table;
}

}  // namespace

std::uint32_t Crc32(std::string_view bytes) {
    static constexpr std::array<std::uint32_t, 256> kTable = MakeCrcTable();
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char c : bytes) {
        crc = kTable[(crc ^ static_cast<unsigned char>(c)) & 0xFF] ^ crc >> 8;
    }
    return ~crc;
}

std::string BuildZip(const std::vector<ZipEntry>& entries) {
    std::string archive;
    std::string directory;
    for (const ZipEntry& entry : entries) {
        const auto at = static_cast<std::uint32_t>(archive.size());
        const std::uint32_t crc = Crc32(entry.bytes);
        Put32(archive, kLocalHeader);
        PutCommon(archive, entry, crc);
        archive += entry.name;
        archive += entry.bytes;

        Put32(directory, kCentralHeader);
        Put16(directory, kVersion);  // made by
        PutCommon(directory, entry, crc);
        Put16(directory, 0);  // comment
        Put16(directory, 0);  // disk
        Put16(directory, 0);  // internal attributes
        Put32(directory, 0);  // external attributes
        Put32(directory, at);
        directory += entry.name;
    }
    const auto at = static_cast<std::uint32_t>(archive.size());
    archive += directory;
    Put32(archive, kEndRecord);
    Put16(archive, 0);  // this disk
    Put16(archive, 0);  // the disk of the directory
    Put16(archive, static_cast<std::uint32_t>(entries.size()));
    Put16(archive, static_cast<std::uint32_t>(entries.size()));
    Put32(archive, static_cast<std::uint32_t>(directory.size()));
    Put32(archive, at);
    Put16(archive, 0);  // comment
    return archive;
}
