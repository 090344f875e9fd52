#include "support/picture/ico_writer.h"

#include "foundation/little_endian.h"

namespace {

constexpr std::uint32_t kTypeIcon = 1;
constexpr std::uint32_t kColourPlanes = 1;
constexpr std::uint32_t kBitsPerPixel = 32;

}  // namespace

std::vector<std::uint8_t> BuildIco(std::span<const IcoImage> images) {
    std::size_t dataAt = kIcoHeaderBytes + kIcoEntryBytes * images.size();
    std::size_t total = dataAt;
    for (const IcoImage& image : images) {
        total += image.png.size();
    }
    std::vector<std::uint8_t> file;
    file.reserve(total);

    AppendLittleEndian(file, 0, 2);  // reserved
    AppendLittleEndian(file, kTypeIcon, 2);
    AppendLittleEndian(file, images.size(), 1);
    AppendLittleEndian(file, 0, 1);  // high byte of the count
    for (const IcoImage& image : images) {
        AppendLittleEndian(file, image.size, 1);  // width: 256 is written as 0
        AppendLittleEndian(file, image.size, 1);  // height
        AppendLittleEndian(file, 0, 1);           // colours of a palette: none
        AppendLittleEndian(file, 0, 1);           // reserved
        AppendLittleEndian(file, kColourPlanes, 2);
        AppendLittleEndian(file, kBitsPerPixel, 2);
        AppendLittleEndian(file, image.png.size(), 4);
        AppendLittleEndian(file, dataAt, 4);
        dataAt += image.png.size();
    }
    for (const IcoImage& image : images) {
        file.insert(file.end(), image.png.begin(), image.png.end());
    }
    return file;
}
