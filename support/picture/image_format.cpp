#include "support/picture/image_format.h"

#include <algorithm>
#include <string_view>

namespace {

using namespace std::literals;

bool HasAt(std::span<const std::uint8_t> head, std::size_t at, std::string_view bytes) {
    return head.size() >= at + bytes.size() &&
           std::equal(bytes.begin(), bytes.end(), head.begin() + static_cast<std::ptrdiff_t>(at),
                      [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; });
}

}  // namespace

const wchar_t* ImageFormatExtension(ImageFormat format) {
    switch (format) {
        case ImageFormatUnknown:
            break;
        case ImageFormatPng:
            return L".png";
        case ImageFormatJpeg:
            return L".jpg";
        case ImageFormatBmp:
            return L".bmp";
        case ImageFormatGif:
            return L".gif";
        case ImageFormatIco:
            return L".ico";
        case ImageFormatWebp:
            return L".webp";
    }
    return L"";
}

ImageFormat ImageFormatOfBytes(std::span<const std::uint8_t> head) {
    if (HasAt(head, 0, "\x89PNG\r\n\x1A\n"sv)) {
        return ImageFormatPng;
    }
    if (HasAt(head, 0, "\xFF\xD8\xFF"sv)) {
        return ImageFormatJpeg;
    }
    if (HasAt(head, 0, "BM"sv)) {
        return ImageFormatBmp;
    }
    if (HasAt(head, 0, "GIF8"sv)) {
        return ImageFormatGif;
    }
    if (HasAt(head, 0, "\0\0\1\0"sv)) {
        return ImageFormatIco;
    }
    if (HasAt(head, 0, "RIFF"sv) && HasAt(head, 8, "WEBP"sv)) {
        return ImageFormatWebp;
    }
    return ImageFormatUnknown;
}
