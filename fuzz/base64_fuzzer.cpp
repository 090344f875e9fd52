// Base64Decode against a decoder that gathers bits one by one.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/text_helpers.h"
#include "fuzz/fuzz_check.h"

namespace {

FUZZ_ORACLE std::string DecodedBitByBit(std::string_view source) {
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string result;
    result.reserve(source.size());
    unsigned bits = 0;
    unsigned byte = 0;
    for (const char c : source) {
        if (c == '\0' || c == '=') {
            break;
        }
        const std::size_t value = alphabet.find(c);
        for (int bit = 5; value != std::string_view::npos && bit >= 0; --bit) {
            byte = (byte << 1) | ((static_cast<unsigned>(value) >> bit) & 1);
            if (++bits == 8) {
                result.push_back(static_cast<char>(byte));
                bits = byte = 0;
            }
        }
    }
    return result;
}

FUZZ_ORACLE std::string Encoded(std::string_view bytes) {
    constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string result;
    result.reserve(bytes.size() / 3 * 4 + 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        unsigned block = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            block = (block << 8) | (at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0u);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            result.push_back(at + i > bytes.size() ? '=' : alphabet[(block >> (18 - 6 * i)) & 63]);
        }
    }
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::string decoded = "what was there before";
    Base64Decode(input, decoded);
    FUZZ_CHECK(decoded == DecodedBitByBit(input));

    Base64Decode(Encoded(input), decoded);
    FUZZ_CHECK(decoded == input);
    return 0;
}
