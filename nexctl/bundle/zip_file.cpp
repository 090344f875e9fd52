#include "nexctl/bundle/zip_file.h"

#include <cstdint>
#include <string_view>

#include <zlib.h>

namespace {

// APPNOTE.TXT 4.3.7, 4.3.12 and 4.3.16.
constexpr std::uint32_t kLocalHeader = 0x04034B50;
constexpr std::uint32_t kCentralHeader = 0x02014B50;
constexpr std::uint32_t kEndRecord = 0x06054B50;
constexpr std::uint16_t kVersion = 20;
constexpr std::uint16_t kNamesAreUtf8 = 0x0800;
constexpr std::uint16_t kStored = 0;
constexpr std::uint16_t kDeflated = 8;
constexpr std::uint16_t kFirstDay = 0x0021;  // 1980-01-01

void Put16(std::string& bytes, std::uint32_t value) {
    bytes += static_cast<char>(value & 0xFF);
    bytes += static_cast<char>(value >> 8 & 0xFF);
}

void Put32(std::string& bytes, std::uint32_t value) {
    Put16(bytes, value & 0xFFFF);
    Put16(bytes, value >> 16);
}

// A file as it is in the archive.
struct Packed {
    std::uint16_t method = kStored;
    std::uint32_t crc = 0;
    std::string bytes;
};

Bytef* BytesOf(const std::string& text) {
    // zlib reads this alone, in spite of its type.
    return reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
}

// Without the head that zlib puts before its own streams.
std::string Deflated(const std::string& bytes) {
    z_stream stream = {};
    constexpr int kMemoryLevel = 8;
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, kMemoryLevel, Z_DEFAULT_STRATEGY) !=
        Z_OK) {
        return bytes;
    }
    std::string packed(deflateBound(&stream, static_cast<uLong>(bytes.size())), '\0');
    stream.next_in = BytesOf(bytes);
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    const bool done = deflate(&stream, Z_FINISH) == Z_STREAM_END;
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return done ? packed : bytes;
}

Packed Pack(const std::string& bytes) {
    Packed packed;
    packed.crc = static_cast<std::uint32_t>(crc32(0, BytesOf(bytes), static_cast<uInt>(bytes.size())));
    packed.bytes = Deflated(bytes);
    if (packed.bytes.size() < bytes.size()) {
        packed.method = kDeflated;
    } else {
        packed.bytes = bytes;
    }
    return packed;
}

// What both headers of a file hold: from the version that is needed to the length of the extra field.
void PutCommon(std::string& bytes, const ZipEntry& entry, const Packed& packed) {
    Put16(bytes, kVersion);
    Put16(bytes, kNamesAreUtf8);
    Put16(bytes, packed.method);
    Put16(bytes, 0);  // time
    Put16(bytes, kFirstDay);
    Put32(bytes, packed.crc);
    Put32(bytes, static_cast<std::uint32_t>(packed.bytes.size()));
    Put32(bytes, static_cast<std::uint32_t>(entry.bytes.size()));
    Put16(bytes, static_cast<std::uint32_t>(entry.name.size()));
    Put16(bytes, 0);  // extra field
}

}  // namespace

std::string BuildZip(const std::vector<ZipEntry>& entries) {
    std::string archive;
    std::string directory;
    for (const ZipEntry& entry : entries) {
        const auto at = static_cast<std::uint32_t>(archive.size());
        const Packed packed = Pack(entry.bytes);
        Put32(archive, kLocalHeader);
        PutCommon(archive, entry, packed);
        archive += entry.name;
        archive += packed.bytes;

        Put32(directory, kCentralHeader);
        Put16(directory, kVersion);  // made by
        PutCommon(directory, entry, packed);
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
