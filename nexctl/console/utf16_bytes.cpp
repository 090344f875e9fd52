#include "nexctl/console/utf16_bytes.h"

#include <cstdint>

namespace {

void AppendUtf8(std::string& text, std::uint32_t c) {
    if (c < 0x80) {
        text += static_cast<char>(c);
    } else if (c < 0x800) {
        text += static_cast<char>(0xC0 | c >> 6);
        text += static_cast<char>(0x80 | (c & 63));
    } else if (c < 0x10000) {
        text += static_cast<char>(0xE0 | c >> 12);
        text += static_cast<char>(0x80 | (c >> 6 & 63));
        text += static_cast<char>(0x80 | (c & 63));
    } else {
        text += static_cast<char>(0xF0 | c >> 18);
        text += static_cast<char>(0x80 | (c >> 12 & 63));
        text += static_cast<char>(0x80 | (c >> 6 & 63));
        text += static_cast<char>(0x80 | (c & 63));
    }
}

}  // namespace

std::string DecodeUtf16(std::string_view bytes) {
    const auto unit = [&](std::size_t at) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at]) |
                                          static_cast<unsigned char>(bytes[at + 1]) << 8);
    };
    std::string text;
    text.reserve(bytes.size() / 2);
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
        const std::uint32_t first = unit(at);
        if (first < 0xD800 || first > 0xDFFF) {
            AppendUtf8(text, first);
            continue;
        }
        const std::uint32_t second = at + 3 < bytes.size() ? unit(at + 2) : 0;
        if (first < 0xDC00 && second >= 0xDC00 && second <= 0xDFFF) {
            AppendUtf8(text, 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00));
            at += 2;
        } else if (first < 0xDC00 && at + 3 >= bytes.size()) {
            // The other half is not there yet.
            break;
        } else {
            AppendUtf8(text, 0xFFFD);
        }
    }
    return text;
}
