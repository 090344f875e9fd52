#include "support/picture/picture_size.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "foundation/little_endian.h"
#include "support/picture/image_format.h"

namespace {

using Bytes = std::span<const std::uint8_t>;
using Size = std::optional<PictureSize>;

Size Larger(const Size& a, const Size& b) {
    return !a || (b && b->Pixels() > a->Pixels()) ? b : a;
}

bool Has(Bytes bytes, std::size_t at, std::size_t count) {
    return at <= bytes.size() && count <= bytes.size() - at;
}

// Numbers of a file, in either order of bytes. The caller has looked whether they are there.
std::uint32_t Little(Bytes bytes, std::size_t at, std::size_t width) {
    return LittleEndian<std::uint32_t>(bytes.data() + at, width);
}
std::uint32_t Big(Bytes bytes, std::size_t at, std::size_t width) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < width; ++i) {
        value = value << 8 | bytes[at + i];
    }
    return value;
}

bool HasText(Bytes bytes, std::size_t at, std::string_view text) {
    return Has(bytes, at, text.size()) && std::ranges::equal(bytes.subspan(at, text.size()), text, {}, {},
                                                             [](char c) { return static_cast<std::uint8_t>(c); });
}

// The magnitude of a signed height: a bitmap stored from its top has a negative one.
std::uint64_t Magnitude(std::uint32_t height) {
    return (height & 0x80000000u) != 0 ? std::uint64_t{0x100000000} - height : height;
}

// IHDR comes first (PNG, "11.2.2").
Size SizeOfPng(Bytes file) {
    constexpr std::size_t kSignatureBytes = 8;
    if (!HasText(file, kSignatureBytes + 4, "IHDR") || !Has(file, kSignatureBytes + 8, 8)) {
        return std::nullopt;
    }
    return PictureSize{Big(file, kSignatureBytes + 8, 4), Big(file, kSignatureBytes + 12, 4)};
}

// The frame headers SOF0 to SOF15 before the first scan (ITU T.81 "B.2.2"); 0xC4, 0xC8 and 0xCC are other markers.
Size SizeOfJpeg(Bytes file) {
    constexpr std::uint8_t kStartOfScan = 0xDA;
    constexpr std::uint8_t kEndOfImage = 0xD9;
    Size size;
    for (std::size_t at = 2; Has(file, at, 2);) {
        const std::uint8_t marker = file[at + 1];
        if (file[at] != 0xFF || marker == kStartOfScan || marker == kEndOfImage) {
            break;
        }
        if (marker == 0xFF) {  // a fill byte
            ++at;
            continue;
        }
        at += 2;
        if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8)) {  // markers without contents
            continue;
        }
        if (!Has(file, at, 2)) {
            break;
        }
        const bool bFrame = marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        if (bFrame && Has(file, at, 7)) {
            size = Larger(size, PictureSize{Big(file, at + 5, 2), Big(file, at + 3, 2)});
        }
        at += std::max<std::size_t>(Big(file, at, 2), 2);
    }
    return size;
}

// BITMAPCOREHEADER, or BITMAPINFOHEADER and what begins like it.
Size SizeOfBitmapHeader(Bytes header) {
    constexpr std::uint32_t kCoreHeaderBytes = 12;
    if (!Has(header, 0, kCoreHeaderBytes)) {
        return std::nullopt;
    }
    if (Little(header, 0, 4) == kCoreHeaderBytes) {
        return PictureSize{Little(header, 4, 2), Little(header, 6, 2)};
    }
    return PictureSize{Magnitude(Little(header, 4, 4)), Magnitude(Little(header, 8, 4))};
}

Size SizeOfBmp(Bytes file) {
    constexpr std::size_t kFileHeaderBytes = 14;
    return file.size() > kFileHeaderBytes ? SizeOfBitmapHeader(file.subspan(kFileHeaderBytes)) : std::nullopt;
}

// What a table of colours takes, by the flags that announce it.
std::size_t ColourTableBytes(std::uint8_t flags) {
    return (flags & 0x80) != 0 ? std::size_t{3} << ((flags & 0x07) + 1) : 0;
}

// The place after a row of sub-blocks, each with its length before it; the last one is empty.
std::size_t AfterSubBlocks(Bytes file, std::size_t at) {
    while (Has(file, at, 1) && file[at] != 0) {
        at += file[at] + std::size_t{1};
    }
    return at + 1;
}

// The logical screen and every frame (GIF89a, sections 18 and 20).
Size SizeOfGif(Bytes file) {
    constexpr std::uint8_t kImage = 0x2C;
    constexpr std::uint8_t kExtension = 0x21;
    if (!Has(file, 0, 13)) {
        return std::nullopt;
    }
    Size size = PictureSize{Little(file, 6, 2), Little(file, 8, 2)};
    std::size_t at = 13 + ColourTableBytes(file[10]);
    while (Has(file, at, 1)) {
        if (file[at] == kExtension) {
            at = AfterSubBlocks(file, at + 2);
        } else if (file[at] == kImage && Has(file, at, 10)) {
            size = Larger(size, PictureSize{Little(file, at + 5, 2), Little(file, at + 7, 2)});
            at = AfterSubBlocks(file, at + 10 + ColourTableBytes(file[at + 9]) + 1);  // after the code size
        } else {
            break;
        }
    }
    return size;
}

// Every image of the directory: a PNG file, or a bitmap header whose height counts the mask too.
Size SizeOfIco(Bytes file) {
    constexpr std::size_t kHeaderBytes = 6;
    constexpr std::size_t kEntryBytes = 16;
    if (!Has(file, 0, kHeaderBytes)) {
        return std::nullopt;
    }
    Size size;
    const std::size_t count = Little(file, 4, 2);
    for (std::size_t i = 0; i < count && Has(file, kHeaderBytes + i * kEntryBytes, kEntryBytes); ++i) {
        const std::size_t at = Little(file, kHeaderBytes + i * kEntryBytes + 12, 4);
        if (at < file.size()) {
            const Bytes image = file.subspan(at);
            size = Larger(size,
                          ImageFormatOfBytes(image) == ImageFormatPng ? SizeOfPng(image) : SizeOfBitmapHeader(image));
        }
    }
    return size;
}

// ImageWidth and ImageLength of the first directory (TIFF 6.0, section 8), which alone is decoded.
Size SizeOfTiff(Bytes file) {
    constexpr std::uint32_t kImageWidth = 256;
    constexpr std::uint32_t kImageLength = 257;
    constexpr std::uint32_t kTypeShort = 3;
    constexpr std::size_t kEntryBytes = 12;
    const auto number = [&, bBig = file[0] == 'M'](std::size_t at, std::size_t width) {
        return bBig ? Big(file, at, width) : Little(file, at, width);
    };
    const std::size_t directory = Has(file, 4, 4) ? number(4, 4) : file.size();
    if (!Has(file, directory, 2)) {
        return std::nullopt;
    }
    PictureSize size{0, 0};
    const std::size_t count = number(directory, 2);
    for (std::size_t i = 0; i < count && Has(file, directory + 2 + i * kEntryBytes, kEntryBytes); ++i) {
        const std::size_t entry = directory + 2 + i * kEntryBytes;
        const std::uint64_t value = number(entry + 8, number(entry + 2, 2) == kTypeShort ? 2 : 4);
        if (number(entry, 2) == kImageWidth) {
            size.width = std::max(size.width, value);
        } else if (number(entry, 2) == kImageLength) {
            size.height = std::max(size.height, value);
        }
    }
    return size;
}

// The canvas, or the key frame of a plain file (RFC 9649, sections 2.5 to 2.7).
Size SizeOfWebp(Bytes file) {
    if (HasText(file, 12, "VP8X") && Has(file, 24, 6)) {
        return PictureSize{Little(file, 24, 3) + std::uint64_t{1}, Little(file, 27, 3) + std::uint64_t{1}};
    }
    if (HasText(file, 12, "VP8L") && Has(file, 21, 4)) {
        const std::uint32_t bits = Little(file, 21, 4);
        return PictureSize{(bits & 0x3FFF) + std::uint64_t{1}, (bits >> 14 & 0x3FFF) + std::uint64_t{1}};
    }
    if (HasText(file, 12, "VP8 ") && Has(file, 26, 4)) {
        return PictureSize{Little(file, 26, 2) & 0x3FFFu, Little(file, 28, 2) & 0x3FFFu};
    }
    return std::nullopt;
}

}  // namespace

std::optional<PictureSize> DeclaredPictureSize(std::span<const std::uint8_t> file) {
    switch (ImageFormatOfBytes(file)) {
        case ImageFormatPng:
            return SizeOfPng(file);
        case ImageFormatJpeg:
            return SizeOfJpeg(file);
        case ImageFormatBmp:
            return SizeOfBmp(file);
        case ImageFormatGif:
            return SizeOfGif(file);
        case ImageFormatIco:
            return SizeOfIco(file);
        case ImageFormatWebp:
            return SizeOfWebp(file);
        case ImageFormatUnknown:
            break;
    }
    if (HasText(file, 0, std::string_view("II\x2A\0", 4)) || HasText(file, 0, std::string_view("MM\0\x2A", 4))) {
        return SizeOfTiff(file);
    }
    return std::nullopt;
}
