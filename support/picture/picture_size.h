// The size that a picture declares, read from the headers of its file alone.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

// More is not decoded: the pixels alone would take 256 MB, and a file of some kilobytes can declare any number.
inline constexpr std::uint64_t kMostPicturePixels = 64'000'000;

struct PictureSize {
    std::uint64_t width;
    std::uint64_t height;

    std::uint64_t Pixels() const { return width * height; }
};

// The largest size that the file declares for the picture, or for one of its parts that a decoder may choose (frames of
// a GIF, images of an icon). It knows PNG, JPEG, BMP, GIF, ICO, TIFF and WebP; nothing for other files, and for one
// whose headers end too early. Neither side is above 2^32 - 1. Takes time in proportion to the bytes, and no memory.
std::optional<PictureSize> DeclaredPictureSize(std::span<const std::uint8_t> file);
