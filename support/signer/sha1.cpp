#include "support/signer/sha1.h"

#include <algorithm>
#include <bit>
#include <cstddef>

namespace {

constexpr std::size_t kBlockSize = 64;
constexpr std::size_t kLengthAt = 56;  // the last eight bytes of the last block hold the length in bits

using State = std::array<std::uint32_t, 5>;

void Transform(State& state, const std::uint8_t* block) {
    std::array<std::uint32_t, 80> words;
    for (std::size_t i = 0; i < 16; ++i) {
        const std::uint8_t* bytes = block + 4 * i;
        words[i] = static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
                   static_cast<std::uint32_t>(bytes[2]) << 8 | static_cast<std::uint32_t>(bytes[3]);
    }
    for (std::size_t i = 16; i < words.size(); ++i) {
        words[i] = std::rotl(words[i - 3] ^ words[i - 8] ^ words[i - 14] ^ words[i - 16], 1);
    }
    std::uint32_t a = state[0];
    std::uint32_t b = state[1];
    std::uint32_t c = state[2];
    std::uint32_t d = state[3];
    std::uint32_t e = state[4];
    const auto round = [&](std::size_t first, std::uint32_t constant, auto mix) {
        for (std::size_t i = first; i < first + 20; ++i) {
            const std::uint32_t sum = std::rotl(a, 5) + mix(b, c, d) + e + constant + words[i];
            e = d;
            d = c;
            c = std::rotl(b, 30);
            b = a;
            a = sum;
        }
    };
    using Word = std::uint32_t;
    const auto parity = [](Word x, Word y, Word z) { return x ^ y ^ z; };
    round(0, 0x5A827999, [](Word x, Word y, Word z) { return z ^ (x & (y ^ z)); });
    round(20, 0x6ED9EBA1, parity);
    round(40, 0x8F1BBCDC, [](Word x, Word y, Word z) { return (x & y) | (z & (x | y)); });
    round(60, 0xCA62C1D6, parity);
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
    state[4] += e;
}

}  // namespace

Sha1Digest Sha1Of(std::span<const std::uint8_t> bytes) {
    State state = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
    const std::uint64_t bits = static_cast<std::uint64_t>(bytes.size()) * 8;
    for (; bytes.size() >= kBlockSize; bytes = bytes.subspan(kBlockSize)) {
        Transform(state, bytes.data());
    }
    std::array<std::uint8_t, 2 * kBlockSize> last{};
    std::copy(bytes.begin(), bytes.end(), last.begin());
    last[bytes.size()] = 0x80;
    const std::size_t blocks = bytes.size() < kLengthAt ? 1 : 2;
    for (std::size_t i = 0; i < 8; ++i) {
        last[blocks * kBlockSize - 1 - i] = static_cast<std::uint8_t>(bits >> (8 * i));
    }
    for (std::size_t i = 0; i < blocks; ++i) {
        Transform(state, last.data() + i * kBlockSize);
    }
    Sha1Digest digest;
    for (std::size_t i = 0; i < digest.size(); ++i) {
        digest[i] = static_cast<std::uint8_t>(state[i / 4] >> (24 - 8 * (i % 4)));
    }
    return digest;
}

std::string Sha1Text(const Sha1Digest& digest) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * digest.size());
    for (const std::uint8_t byte : digest) {
        text.push_back(kDigits[byte >> 4]);
        text.push_back(kDigits[byte & 15]);
    }
    return text;
}
