#include "support/envelope/rsa_public.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/envelope/rsa_envelope.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

RsaRandomState Seeded(std::uint8_t seed) {
    RsaRandomState random;
    const Bytes bytes(512, seed);
    RsaRandomUpdate(random, bytes.data(), bytes.size());
    return random;
}

struct Outcome {
    std::uint32_t code;
    Bytes bytes;
};

Outcome PublicBlock(const RsaPublicKey& key, const Bytes& in) {
    Bytes out(kRsaMaxBytes, 0xEE);
    std::size_t length = 0;
    const std::uint32_t code = RsaPublicBlockWithKey(key, out.data(), length, in.data(), in.size());
    out.resize(length);
    return {code, out};
}

RsaPublicKey SmallKey(std::uint16_t bits, std::uint8_t modulus, std::uint8_t exponent) {
    RsaPublicKey key{bits, {}, {}};
    key.modulus.back() = modulus;
    key.exponent.back() = exponent;
    return key;
}

TEST(RsaEnvelopeKey, IsAKeyOf1024Bits) {
    const RsaPublicKey& key = RsaEnvelopeKey();
    EXPECT_EQ(key.bits, 1024);
    EXPECT_EQ(RsaKeyBytes(key.bits), 128u);
    EXPECT_GE(key.modulus.front(), 0x80);
    EXPECT_EQ(key.modulus.back() % 2, 1);
    EXPECT_EQ(key.exponent.back() % 2, 1);
}

TEST(RsaPublicBlock, AValueThatIsNotBelowTheModulusGives1025) {
    const auto& modulus = RsaEnvelopeKey().modulus;
    Bytes value(modulus.begin(), modulus.end());
    Bytes out(kRsaMaxBytes, 0xEE);
    std::size_t length = 77;
    EXPECT_EQ(RsaPublicBlock(out.data(), length, value.data(), value.size()), 1025u);
    EXPECT_EQ(out, Bytes(kRsaMaxBytes, 0xEE));
    EXPECT_EQ(length, 77u);
    std::fill(value.begin(), value.end(), std::uint8_t{0xFF});
    EXPECT_EQ(RsaPublicBlock(out.data(), length, value.data(), value.size()), 1025u);
    const Bytes longer(129, 1);
    EXPECT_EQ(RsaPublicBlock(out.data(), length, longer.data(), longer.size()), 1025u);
}

TEST(RsaPublicBlock, OneBelowTheModulusComesBackToAnOddPower) {
    const auto& modulus = RsaEnvelopeKey().modulus;
    Bytes value(modulus.begin(), modulus.end());
    value.back() -= 1;  // the modulus is odd: no borrow
    EXPECT_EQ(PublicBlock(RsaEnvelopeKey(), value).bytes, value);
}

TEST(RsaPublicBlock, AModulusWithoutSignificantDigitsGives1025) {
    EXPECT_EQ(PublicBlock(SmallKey(1024, 0, 3), {0}).code, 1025u);
}

TEST(RsaPublicBlock, ResultHasExactlyTheKeysBytesWithLeadingZeros) {
    const Outcome wide = PublicBlock(SmallKey(1024, 33, 3), {4});  // 64 modulo 33
    EXPECT_EQ(wide.code, 0u);
    Bytes expected(128, 0);
    expected.back() = 31;
    EXPECT_EQ(wide.bytes, expected);
    EXPECT_EQ(PublicBlock(SmallKey(6, 33, 3), {0, 0, 4}).bytes, Bytes{31});
    EXPECT_EQ(PublicBlock(SmallKey(9, 33, 3), {4}).bytes, (Bytes{0, 31}));
}

TEST(RsaPadBlock, IsZeroTwoRandomNonZeroBytesZeroAndThePiece) {
    for (std::size_t size = 0; size <= 117; ++size) {
        RsaRandomState random = Seeded(static_cast<std::uint8_t>(size));
        const Bytes piece(size, 0x00);  // zeros in the text do not disturb: the first zero ends the padding
        Bytes padded(128, 0xEE);
        ASSERT_EQ(RsaPadBlock(padded, piece, random), 0u);
        EXPECT_EQ(padded[0], 0x00);
        EXPECT_EQ(padded[1], 0x02);
        const auto zero = std::find(padded.begin() + 2, padded.end(), 0);
        EXPECT_EQ(zero - padded.begin(), static_cast<std::ptrdiff_t>(128 - size - 1));
        EXPECT_TRUE(std::equal(zero + 1, padded.end(), piece.begin(), piece.end()));
    }
}

TEST(RsaPadBlock, ADrawOfZeroIsDrawnAgain) {
    // The padding is the random bytes with the zeros left out; find a seed whose first bytes hold one.
    for (int seed = 0; seed < 256; ++seed) {
        RsaRandomState random = Seeded(static_cast<std::uint8_t>(seed));
        Bytes drawn(200);
        RsaRandomState copy = random;
        ASSERT_TRUE(RsaGenerateBytes(drawn.data(), drawn.size(), copy));
        if (std::find(drawn.begin(), drawn.begin() + 100, 0) == drawn.begin() + 100) {
            continue;
        }
        std::erase(drawn, 0);
        Bytes padded(128);
        ASSERT_EQ(RsaPadBlock(padded, {}, random), 0u);
        EXPECT_TRUE(std::equal(padded.begin() + 2, padded.end() - 1, drawn.begin()));
        return;
    }
    FAIL() << "no seed draws a zero";
}

TEST(RsaPadBlock, APieceThatLeavesNoRoomForEightRandomBytesGives1030) {
    RsaRandomState random = Seeded(1);
    Bytes padded(128, 0xEE);
    EXPECT_EQ(RsaPadBlock(padded, Bytes(118), random), 1030u);
    EXPECT_EQ(padded, Bytes(128, 0xEE));
    EXPECT_EQ(RsaPadBlock(padded, Bytes(117), random), 0u);
}

}  // namespace
