// Builds certificate tables and the smallest executable images that carry one.
#pragma once

#include <cstdint>
#include <vector>

namespace pe {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint16_t kMachineX86 = 0x014C;
constexpr std::uint16_t kMachineX64 = 0x8664;
constexpr std::uint16_t kMachineArm64 = 0xAA64;

inline void Store(Bytes& bytes, std::size_t at, std::uint64_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
        bytes.at(at + i) = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

// A WIN_CERTIFICATE entry around contents; its length counts the header.
inline Bytes CertificateTable(const Bytes& contents, std::uint16_t revision = 0x0200, std::uint16_t type = 2) {
    Bytes table(8);
    Store(table, 0, table.size() + contents.size(), 4);
    Store(table, 4, revision, 2);
    Store(table, 6, type, 2);
    table.insert(table.end(), contents.begin(), contents.end());
    return table;
}

constexpr std::size_t kNtHeaderAt = 0x80;
constexpr std::size_t kTableAt = 0x200;

// Where the security data directory is in a file of this layout.
constexpr std::size_t DirectoryAt(bool bWide, std::size_t ntHeader = kNtHeaderAt) {
    return ntHeader + (bWide ? 168 : 152);
}

// An image of one machine with the directory at the place of PE32 or PE32+ and the table at its end.
inline Bytes Image(std::uint16_t machine, bool bWide, const Bytes& table, std::size_t ntHeader = kNtHeaderAt,
                   std::size_t tableAt = kTableAt) {
    Bytes file(tableAt);
    Store(file, 0, 0x5A4D, 2);
    Store(file, 60, ntHeader, 4);
    Store(file, ntHeader, 0x4550, 4);
    Store(file, ntHeader + 4, machine, 2);
    Store(file, DirectoryAt(bWide, ntHeader), tableAt, 4);
    Store(file, DirectoryAt(bWide, ntHeader) + 4, table.size(), 4);
    file.insert(file.end(), table.begin(), table.end());
    return file;
}

}  // namespace pe
