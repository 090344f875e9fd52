#include "support/picture/ico_writer.h"

namespace {

constexpr std::uint32_t kTypeIcon = 1;
constexpr std::uint32_t kColourPlanes = 1;
constexpr std::uint32_t kBitsPerPixel = 32;

void Append(std::vector<std::uint8_t>& file, std::size_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
        file.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
}

}  // namespace

std::vector<std::uint8_t> BuildIco(std::span<const IcoImage> images) {
    std::size_t dataAt = kIcoHeaderBytes + kIcoEntryBytes * images.size();
    std::size_t total = dataAt;
    for (const IcoImage& image : images) {
        total += image.png.size();
    }
    std::vector<std::uint8_t> file;
    file.reserve(total);

    Append(file, 0, 2);  // reserved
    Append(file, kTypeIcon, 2);
    Append(file, images.size(), 1);
    Append(file, 0, 1);  // high byte of the count
    for (const IcoImage& image : images) {
        Append(file, image.size, 1);  // width: 256 is written as 0
        Append(file, image.size, 1);  // height
        Append(file, 0, 1);           // colours of a palette: none
        Append(file, 0, 1);           // reserved
        Append(file, kColourPlanes, 2);
        Append(file, kBitsPerPixel, 2);
        Append(file, image.png.size(), 4);
        Append(file, dataAt, 4);
        dataAt += image.png.size();
    }
    for (const IcoImage& image : images) {
        file.insert(file.end(), image.png.begin(), image.png.end());
    }
    return file;
}
