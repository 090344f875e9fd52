// The bytes of an icon file whose images are PNG files, whatever their size.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

// The sizes of an icon in pixels, square, in the order of the file.
constexpr std::array<std::uint32_t, 6> kIcoSizes = {16, 32, 48, 64, 128, 256};

constexpr std::size_t kIcoHeaderBytes = 6;
constexpr std::size_t kIcoEntryBytes = 16;

// One image: 1 to 256 pixels square, as a complete PNG file.
struct IcoImage {
    std::uint32_t size;
    std::vector<std::uint8_t> png;
};

// The whole file: header, a directory entry an image, then the images in the same order without anything between them.
// At most 255 images; the file must stay below 4 GiB.
std::vector<std::uint8_t> BuildIco(std::span<const IcoImage> images);
