// The format of a picture file, by its first bytes and never by its name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

enum ImageFormat {
    ImageFormatUnknown = 0,
    ImageFormatPng = 1,
    ImageFormatJpeg = 2,
    ImageFormatBmp = 3,
    ImageFormatGif = 4,
    ImageFormatIco = 5,
    ImageFormatWebp = 6,
};

// How many bytes of a file are looked at, and how many it must have to be looked at.
constexpr std::size_t kImageFormatBytes = 16;
constexpr std::size_t kImageFormatLeastBytes = 4;

// The extension of a file of this format, as ".png"; empty for an unknown one.
const wchar_t* ImageFormatExtension(ImageFormat format);

// The format of a file that begins with these bytes.
ImageFormat ImageFormatOfBytes(std::span<const std::uint8_t> head);
