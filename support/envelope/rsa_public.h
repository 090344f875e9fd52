// The envelope's public key and the raw RSA operation with it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "support/envelope/rsa_random.h"

constexpr std::size_t kRsaMaxBytes = 128;        // longer keys are not supported
constexpr std::size_t kRsaPaddingOverhead = 11;  // 0x00, 0x02, at least eight random bytes, 0x00

// A public key as plain data. Both numbers are big-endian.
struct RsaPublicKey {
    std::uint16_t bits;
    std::array<std::uint8_t, kRsaMaxBytes> modulus;
    std::array<std::uint8_t, kRsaMaxBytes> exponent;
};

constexpr std::size_t RsaKeyBytes(std::uint16_t bits) {
    return (bits + std::size_t{7}) / 8;
}

// The key of this build, from the file that NEXLET_ENVELOPE_KEY names.
const RsaPublicKey& RsaEnvelopeKey();

// Raises the big-endian number in `in` to the key's exponent modulo its modulus. The result is written big-endian to
// out, with leading zeros, as outLength = (bits + 7) / 8 bytes; out must hold kRsaMaxBytes. Gives kRsaSuccess, or
// kRsaValueTooLarge, and then leaves out and outLength alone, when the number is not below the modulus.
std::uint32_t RsaPublicBlock(std::uint8_t* out, std::size_t& outLength, const std::uint8_t* in, std::size_t inLength);

// The same with any key of up to 1024 bits; a modulus of zero gives kRsaValueTooLarge.
std::uint32_t RsaPublicBlockWithKey(const RsaPublicKey& key, std::uint8_t* out, std::size_t& outLength,
                                    const std::uint8_t* in, std::size_t inLength);

// Fills padded with 0x00, 0x02, non-zero random bytes, 0x00 and the piece. Gives kRsaBlockDoesNotFit, and then leaves
// padded alone, when fewer than eight random bytes would fit. random must be seeded.
std::uint32_t RsaPadBlock(std::span<std::uint8_t> padded, std::span<const std::uint8_t> piece, RsaRandomState& random);
