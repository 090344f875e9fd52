#include "support/envelope/md5.h"

#include <algorithm>
#include <bit>

#include "foundation/little_endian.h"

namespace {

constexpr std::size_t kBlockSize = 64;
constexpr std::size_t kLengthAt = 56;  // the last eight bytes of the last block hold the length in bits

// floor(2^32 * abs(sin(i + 1))), RFC 1321 section 3.4.
constexpr std::array<std::uint32_t, 64> kSines = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501,
    0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821,
    0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A,
    0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70,
    0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1,
    0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391};

constexpr std::array<std::array<int, 4>, 4> kShifts = {
    {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}}};

void Transform(std::array<std::uint32_t, 4>& state, const std::uint8_t* block) {
    std::array<std::uint32_t, 16> words;
    for (std::size_t i = 0; i < words.size(); ++i) {
        words[i] = LittleEndian<std::uint32_t>(block + 4 * i);
    }
    std::uint32_t a = state[0];
    std::uint32_t b = state[1];
    std::uint32_t c = state[2];
    std::uint32_t d = state[3];
    const auto round = [&](std::size_t number, std::size_t first, std::size_t stride, auto mix) {
        for (std::size_t i = 0; i < 16; ++i) {
            const std::uint32_t sum = a + mix(b, c, d) + words[(first + stride * i) % 16] + kSines[16 * number + i];
            a = d;
            d = c;
            c = b;
            b += std::rotl(sum, kShifts[number][i % 4]);
        }
    };
    using Word = std::uint32_t;
    round(0, 0, 1, [](Word x, Word y, Word z) { return z ^ (x & (y ^ z)); });
    round(1, 1, 5, [](Word x, Word y, Word z) { return y ^ (z & (x ^ y)); });
    round(2, 5, 3, [](Word x, Word y, Word z) { return x ^ y ^ z; });
    round(3, 0, 7, [](Word x, Word y, Word z) { return y ^ (x | ~z); });
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}

}  // namespace

void Md5Init(Md5Context& context) {
    context.state = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
    context.length = 0;
    context.block.fill(0);
}

void Md5Update(Md5Context& context, std::span<const std::uint8_t> bytes) {
    std::size_t waiting = static_cast<std::size_t>(context.length % kBlockSize);
    context.length += bytes.size();
    while (!bytes.empty()) {
        if (waiting == 0 && bytes.size() >= kBlockSize) {
            Transform(context.state, bytes.data());
            bytes = bytes.subspan(kBlockSize);
            continue;
        }
        const std::size_t count = std::min(bytes.size(), kBlockSize - waiting);
        std::copy_n(bytes.begin(), count, context.block.begin() + static_cast<std::ptrdiff_t>(waiting));
        bytes = bytes.subspan(count);
        waiting += count;
        if (waiting == kBlockSize) {
            Transform(context.state, context.block.data());
            waiting = 0;
        }
    }
}

void Md5Final(Md5Context& context, Md5Digest& digest) {
    const auto waiting = static_cast<std::ptrdiff_t>(context.length % kBlockSize);
    context.block[static_cast<std::size_t>(waiting)] = 0x80;
    std::fill(context.block.begin() + waiting + 1, context.block.end(), std::uint8_t{0});
    if (waiting >= static_cast<std::ptrdiff_t>(kLengthAt)) {
        Transform(context.state, context.block.data());
        context.block.fill(0);
    }
    WriteLittleEndian(context.block.data() + kLengthAt, context.length * 8, 8);
    Transform(context.state, context.block.data());
    for (std::size_t i = 0; i < context.state.size(); ++i) {
        WriteLittleEndian(digest.data() + 4 * i, context.state[i], 4);
    }
    Md5Init(context);
}

Md5Digest Md5Of(std::span<const std::uint8_t> bytes) {
    Md5Context context;
    Md5Init(context);
    Md5Update(context, bytes);
    Md5Digest digest;
    Md5Final(context, digest);
    return digest;
}
