#include "foundation/text_helpers.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <cwchar>

namespace {

constexpr std::uint64_t kLargestLength = 0xFFFFFFFEu;
constexpr char kHexDigits[] = "0123456789ABCDEF";

// What one byte becomes in an escaped text.
struct EscapedByte {
    char text[3];
    std::uint8_t length;
};

constexpr std::array<EscapedByte, 256> MakeEscapeTable() {
    std::array<EscapedByte, 256> table{};
    for (std::size_t byte = 0; byte < table.size(); ++byte) {
        const char c = static_cast<char>(byte);
        if (c == ' ') {
            table[byte] = {{'+'}, 1};
        } else if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')) {
            table[byte] = {{c}, 1};
        } else {
            table[byte] = {{'%', kHexDigits[byte >> 4], kHexDigits[byte & 15]}, 3};
        }
    }
    return table;
}

constexpr std::array<EscapedByte, 256> kEscapeTable = MakeEscapeTable();

// Values of the alphabet, shifted to the place that each of four characters has in their 24 bits. What is not in the
// alphabet has a bit above those.
constexpr std::uint32_t kNoValue = 0x80000000u;
using Base64Table = std::array<std::uint32_t, 256>;

constexpr Base64Table MakeBase64Table(unsigned shift) {
    Base64Table table{};
    table.fill(kNoValue);
    constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (std::uint32_t value = 0; value < 64; ++value) {
        table[static_cast<unsigned char>(alphabet[value])] = value << shift;
    }
    return table;
}

constexpr std::array<Base64Table, 4> kBase64Tables = {MakeBase64Table(18), MakeBase64Table(12), MakeBase64Table(6),
                                                      MakeBase64Table(0)};

const EscapedByte& Escaped(char c) {
    return kEscapeTable[static_cast<unsigned char>(c)];
}

// Four sums at a time: one alone would wait for itself at every byte.
std::size_t MeasureEscaped(const char* source, std::size_t length) {
    std::size_t sums[4] = {};
    std::size_t at = 0;
    for (; length - at >= 4; at += 4) {
        sums[0] += Escaped(source[at]).length;
        sums[1] += Escaped(source[at + 1]).length;
        sums[2] += Escaped(source[at + 2]).length;
        sums[3] += Escaped(source[at + 3]).length;
    }
    for (; at < length; ++at) {
        sums[0] += Escaped(source[at]).length;
    }
    return sums[0] + sums[1] + sums[2] + sums[3];
}

}  // namespace

std::int32_t UrlEscape(const char* source, std::uint64_t sourceLength, char* target, std::size_t targetSize) {
    const std::size_t length =
        sourceLength > kLargestLength ? std::strlen(source) : static_cast<std::size_t>(sourceLength);
    if (targetSize == 0) {
        return static_cast<std::int32_t>(MeasureEscaped(source, length) + 1);
    }
    if (length == 0) {
        return static_cast<std::int32_t>(std::strlen(target));
    }
    std::size_t written = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const EscapedByte& piece = Escaped(source[i]);
        if (written + piece.length >= targetSize) {
            break;
        }
        std::memcpy(target + written, piece.text, piece.length);
        written += piece.length;
        target[written] = '\0';
    }
    return static_cast<std::int32_t>(written > 0 ? written : std::strlen(target));
}

std::string UrlEscapeString(const std::string& text) {
    // No byte escapes to a NUL, so the whole text comes out; it is sized once and filled in one pass. Each piece is
    // stored as the four bytes of its table entry, of which the next piece overwrites what is too much.
    const std::size_t length = MeasureEscaped(text.data(), text.size());
    std::string result(length + sizeof(EscapedByte), '\0');
    char* to = result.data();
    for (const char c : text) {
        const EscapedByte& piece = Escaped(c);
        std::memcpy(to, &piece, sizeof(piece));
        to += piece.length;
    }
    result.resize(length);
    return result;
}

void Base64Decode(const std::string& source, std::string& target) {
    const auto* at = reinterpret_cast<const unsigned char*>(source.data());
    const auto* const end = at + source.size();
    std::string result(source.size() / 4 * 3 + 2, '\0');
    char* to = result.data();
    std::size_t counter = 0;
    std::uint32_t bits = 0;
    while (at < end) {
        // Four good characters at a time, as long as there are any; everything else one by one.
        while (counter == 0 && end - at >= 4) {
            const std::uint32_t block =
                kBase64Tables[0][at[0]] | kBase64Tables[1][at[1]] | kBase64Tables[2][at[2]] | kBase64Tables[3][at[3]];
            if ((block & kNoValue) != 0) {
                break;
            }
            to[0] = static_cast<char>(block >> 16);
            to[1] = static_cast<char>(block >> 8);
            to[2] = static_cast<char>(block);
            to += 3;
            at += 4;
        }
        if (at == end || *at == '\0' || *at == '=') {
            break;
        }
        const std::uint32_t value = kBase64Tables[3][*at++];
        if (value == kNoValue) {
            continue;
        }
        bits = (bits << 6) | value;
        if (counter > 0) {
            // The second, third and fourth character of a block end a byte and leave 4, 2 and 0 bits of the next.
            *to++ = static_cast<char>(bits >> (6 - 2 * counter));
        }
        counter = (counter + 1) % 4;
    }
    result.resize(static_cast<std::size_t>(to - result.data()));
    target.swap(result);
}

int GetCommandLineValue(const wchar_t* text, const wchar_t* key, wchar_t* target, std::size_t targetSize) {
    const wchar_t* value = std::wcsstr(text, key);
    if (value == nullptr) {
        return 0;
    }
    value += std::wcslen(key);
    const wchar_t* end = nullptr;
    if (*value == L'"') {
        ++value;
        end = std::wcschr(value, L'"');
    }
    if (end == nullptr) {
        end = std::wcschr(value, L' ');
    }
    const std::size_t length = end != nullptr ? static_cast<std::size_t>(end - value) : std::wcslen(value);
    if (targetSize > 0) {
        std::wmemcpy(target, value, std::min(length, targetSize - 1));
    }
    return 1;
}

std::size_t SplitByDelimiters(const std::wstring& text, const std::vector<std::wstring>& delimiters,
                              std::vector<std::wstring>& parts) {
    if (text.empty()) {
        return parts.size();
    }
    // Where each delimiter was found last. It is looked for again only when that place was passed: one that does not
    // occur would otherwise be sought to the end of the text for every piece.
    std::vector<std::size_t> found(delimiters.size(), 0);
    bool bFirst = true;
    std::size_t at = 0;
    for (;; bFirst = false) {
        std::size_t nearest = std::wstring::npos;
        std::size_t skipped = 0;
        for (std::size_t i = 0; i < delimiters.size(); ++i) {
            if (delimiters[i].empty()) {
                continue;
            }
            if (bFirst || found[i] < at) {
                found[i] = text.find(delimiters[i], at);
            }
            if (found[i] == std::wstring::npos) {
                continue;
            }
            nearest = found[i] < nearest ? found[i] : nearest;
            // Kept as it is: the length held changes only to a longer one, even when a shorter delimiter is nearer.
            skipped = delimiters[i].size() > skipped ? delimiters[i].size() : skipped;
        }
        const std::size_t end = nearest == std::wstring::npos ? text.size() : nearest;
        if (end > at) {
            parts.push_back(text.substr(at, end - at));
        }
        if (nearest == std::wstring::npos) {
            return parts.size();
        }
        at = nearest + skipped < text.size() ? nearest + skipped : text.size();
    }
}
