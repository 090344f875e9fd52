// Conversion for native builds, where a wide character holds a whole code point.
#include <cstring>
#include <cwchar>

#include "foundation/text_helpers.h"

namespace {

constexpr char32_t kReplacement = 0xFFFD;

void AppendUtf8(std::string& out, char32_t c) {
    const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
    if (c < 0x80) {
        put(c);
    } else if (c < 0x800) {
        put(0xC0 | (c >> 6));
        put(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        put(0xE0 | (c >> 12));
        put(0x80 | ((c >> 6) & 0x3F));
        put(0x80 | (c & 0x3F));
    } else {
        put(0xF0 | (c >> 18));
        put(0x80 | ((c >> 12) & 0x3F));
        put(0x80 | ((c >> 6) & 0x3F));
        put(0x80 | (c & 0x3F));
    }
}

// One code point at *at, which moves behind it; a broken sequence gives the replacement and moves one byte.
char32_t NextCodePoint(const unsigned char*& at, const unsigned char* end) {
    const unsigned char lead = *at++;
    if (lead < 0x80) {
        return lead;
    }
    const int more = lead >= 0xF0 && lead < 0xF5 ? 3 : lead >= 0xE0 && lead < 0xF0 ? 2 : lead >= 0xC2 && lead < 0xE0 ? 1 : 0;
    if (more == 0 || end - at < more) {
        return kReplacement;
    }
    char32_t c = lead & (0x3Fu >> more);
    for (int i = 0; i < more; ++i) {
        if ((at[i] & 0xC0) != 0x80) {
            return kReplacement;
        }
        c = (c << 6) | (at[i] & 0x3Fu);
    }
    const char32_t least = more == 3 ? 0x10000 : more == 2 ? 0x800 : 0x80;
    if (c < least || c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) {
        return kReplacement;
    }
    at += more;
    return c;
}

}  // namespace

std::string Utf16ToUtf8(const std::wstring& text) {
    std::string result;
    for (const wchar_t c : text) {
        if (c == L'\0') {
            break;
        }
        const auto point = static_cast<char32_t>(c);
        AppendUtf8(result, point > 0x10FFFF || (point >= 0xD800 && point < 0xE000) ? kReplacement : point);
    }
    return result;
}

std::wstring Utf8ToUtf16(const std::string& text) {
    std::wstring result;
    const auto* at = reinterpret_cast<const unsigned char*>(text.data());
    const unsigned char* end = at + std::strlen(text.c_str());
    while (at < end) {
        result.push_back(static_cast<wchar_t>(NextCodePoint(at, end)));
    }
    return result;
}
