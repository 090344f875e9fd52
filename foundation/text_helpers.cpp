#include "foundation/text_helpers.h"

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

constexpr std::uint8_t kNoValue = 0xFF;

constexpr std::array<std::uint8_t, 256> MakeBase64Table() {
    std::array<std::uint8_t, 256> table{};
    table.fill(kNoValue);
    constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (std::uint8_t value = 0; value < 64; ++value) {
        table[static_cast<unsigned char>(alphabet[value])] = value;
    }
    return table;
}

constexpr std::array<std::uint8_t, 256> kBase64Table = MakeBase64Table();

const EscapedByte& Escaped(char c) {
    return kEscapeTable[static_cast<unsigned char>(c)];
}

std::size_t MeasureEscaped(const char* source, std::size_t length) {
    std::size_t sum = 0;
    for (std::size_t i = 0; i < length; ++i) {
        sum += Escaped(source[i]).length;
    }
    return sum;
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
    return static_cast<std::int32_t>(written);
}

std::string UrlEscapeString(const std::string& text) {
    // No byte escapes to a NUL, so the whole text comes out; it is sized once and filled in one pass.
    std::string result(MeasureEscaped(text.data(), text.size()), '\0');
    char* to = result.data();
    for (const char c : text) {
        const EscapedByte& piece = Escaped(c);
        std::memcpy(to, piece.text, piece.length);
        to += piece.length;
    }
    return result;
}

void Base64Decode(const std::string& source, std::string& target) {
    std::string result(source.size() / 4 * 3 + 3, '\0');
    std::size_t written = 0;
    std::size_t counter = 0;
    std::uint8_t kept = 0;
    for (const char c : source) {
        if (c == '\0' || c == '=') {
            break;
        }
        const std::uint8_t value = kBase64Table[static_cast<unsigned char>(c)];
        if (value == kNoValue) {
            continue;
        }
        switch (counter++ % 4) {
            case 0:
                kept = static_cast<std::uint8_t>(value << 2);
                break;
            case 1:
                result[written++] = static_cast<char>(kept | (value >> 4));
                kept = static_cast<std::uint8_t>(value << 4);
                break;
            case 2:
                result[written++] = static_cast<char>(kept | (value >> 2));
                kept = static_cast<std::uint8_t>(value << 6);
                break;
            default:
                result[written++] = static_cast<char>(kept | value);
                break;
        }
    }
    result.resize(written);
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
    std::size_t length = end != nullptr ? static_cast<std::size_t>(end - value) : std::wcslen(value);
    if (length > targetSize - 1) {
        length = targetSize - 1;
    }
    std::wmemcpy(target, value, length);
    return 1;
}

std::size_t SplitByDelimiters(const std::wstring& text, const std::vector<std::wstring>& delimiters,
                              std::vector<std::wstring>& parts) {
    if (text.empty()) {
        return parts.size();
    }
    std::size_t at = 0;
    for (;;) {
        std::size_t nearest = std::wstring::npos;
        std::size_t skipped = 0;
        for (const std::wstring& delimiter : delimiters) {
            const std::size_t found = text.find(delimiter, at);
            if (found == std::wstring::npos || delimiter.empty()) {
                continue;
            }
            nearest = found < nearest ? found : nearest;
            // Kept as it is: the length held changes only to a longer one, even when a shorter delimiter is nearer.
            skipped = delimiter.size() > skipped ? delimiter.size() : skipped;
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
