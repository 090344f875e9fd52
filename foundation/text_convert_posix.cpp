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

// One code point at *at, which moves to its end. A broken sequence gives one replacement for as much of it as could
// have begun a good one, as the platform's own conversion does.
char32_t NextCodePoint(const unsigned char*& at, const unsigned char* end) {
    const unsigned char lead = *at++;
    if (lead < 0x80) {
        return lead;
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return kReplacement;
    }
    const int more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
    char32_t c = lead & (0x3Fu >> more);
    // The second byte is where surrogates, values beyond the last one and needlessly long forms show.
    unsigned char least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned char most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    for (int i = 0; i < more; ++i) {
        if (at == end || *at < least || *at > most) {
            return kReplacement;
        }
        c = (c << 6) | (*at++ & 0x3Fu);
        least = 0x80;
        most = 0xBF;
    }
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
