#include "support/envelope/base64_encode.h"

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

void Base64EncodeTo(std::span<const std::uint8_t> bytes, char* target) {
    const auto put = [&target](std::uint32_t group, int digits) {
        for (int i = 0; i < 4; ++i) {
            *target++ = i < digits ? kAlphabet[(group >> (18 - 6 * i)) & 63] : '=';
        }
    };
    for (; bytes.size() >= 3; bytes = bytes.subspan(3)) {
        put(static_cast<std::uint32_t>(bytes[0]) << 16 | static_cast<std::uint32_t>(bytes[1]) << 8 | bytes[2], 4);
    }
    if (bytes.size() == 2) {
        put(static_cast<std::uint32_t>(bytes[0]) << 16 | static_cast<std::uint32_t>(bytes[1]) << 8, 3);
    } else if (bytes.size() == 1) {
        put(static_cast<std::uint32_t>(bytes[0]) << 16, 2);
    }
}

std::string Base64EncodeNoBreaks(const std::uint8_t* data, std::size_t size) {
    std::string text(Base64Length(size), '\0');
    Base64EncodeTo({data, size}, text.data());
    return text;
}
