// The big-number arithmetic of the envelope: powers modulo a number of up to 1024 bits.
//
// Numbers are arrays of 64-bit digits, least significant digit first. Time depends on the values: fit for a public
// key, and for a private key only where its time cannot be measured.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

using RsaDigit = std::uint64_t;

constexpr std::size_t kRsaMaxDigits = 16;  // 1024 bits
constexpr std::size_t kRsaDigitBits = 64;

// A modulus with what Montgomery multiplication needs of it, R being 2 to the power of 64 * count.
struct RsaModulus {
    std::size_t count = 0;                           // digits in use
    std::array<RsaDigit, kRsaMaxDigits> digits{};    // the modulus itself
    RsaDigit negativeInverse = 0;                    // -1 / modulus modulo 2^64; 0 for an even modulus, which has none
    std::array<RsaDigit, kRsaMaxDigits> rSquared{};  // R * R modulo the modulus
};

// Prepares a modulus of 1 to kRsaMaxDigits digits, which must not be zero. At compile time for a constant key.
constexpr RsaModulus PrepareRsaModulus(std::span<const RsaDigit> modulus);

// result = base to the power of exponent modulo the modulus. base and result have as many digits as the modulus and
// may be the same array; base need not be below the modulus. An exponent of zero, or without digits, gives 1 modulo the
// modulus. Any modulus but zero will do; an even one, which no RSA key has, is slow.
void RsaModExp(std::span<RsaDigit> result, std::span<const RsaDigit> base, std::span<const RsaDigit> exponent,
               std::span<const RsaDigit> modulus);

// The same with a prepared modulus.
void RsaModExp(std::span<RsaDigit> result, std::span<const RsaDigit> base, std::span<const RsaDigit> exponent,
               const RsaModulus& modulus);

// Big-endian bytes to digits. Gives false when the number does not fit; leading zero bytes do not count.
constexpr bool RsaDecodeDigits(std::span<RsaDigit> digits, std::span<const std::uint8_t> bytes);

// Digits to big-endian bytes: exactly bytes.size() of them, with leading zeros; what does not fit is cut off.
void RsaEncodeDigits(std::span<std::uint8_t> bytes, std::span<const RsaDigit> digits);

// Negative, 0 or positive as a is below, equal to or above b; both have the same number of digits.
constexpr int RsaCompareDigits(std::span<const RsaDigit> a, std::span<const RsaDigit> b);

constexpr bool RsaIsZero(std::span<const RsaDigit> digits) {
    for (const RsaDigit digit : digits) {
        if (digit != 0) {
            return false;
        }
    }
    return true;
}

// Implementation of what compilers evaluate.

namespace rsa_detail {

// a = a * 2 modulo the modulus, for a below it. Plain pointers: compilers count every call when they evaluate this.
constexpr void DoubleModulo(RsaDigit* a, const RsaDigit* modulus, std::size_t count) {
    RsaDigit carry = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const RsaDigit digit = a[i];
        a[i] = digit << 1 | carry;
        carry = digit >> (kRsaDigitBits - 1);
    }
    if (carry != 0 || RsaCompareDigits({a, count}, {modulus, count}) >= 0) {
        RsaDigit borrow = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const RsaDigit less = modulus[i] + borrow;
            borrow = (less < borrow ? 1u : 0u) + (a[i] < less ? 1u : 0u);
            a[i] -= less;
        }
    }
}

}  // namespace rsa_detail

constexpr int RsaCompareDigits(std::span<const RsaDigit> a, std::span<const RsaDigit> b) {
    for (std::size_t i = a.size(); i-- > 0;) {
        if (a[i] != b[i]) {
            return a[i] < b[i] ? -1 : 1;
        }
    }
    return 0;
}

constexpr bool RsaDecodeDigits(std::span<RsaDigit> digits, std::span<const std::uint8_t> bytes) {
    for (RsaDigit& digit : digits) {
        digit = 0;
    }
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const RsaDigit value = bytes[bytes.size() - 1 - i];
        if (i / 8 >= digits.size()) {
            if (value != 0) {
                return false;
            }
            continue;
        }
        digits[i / 8] |= value << (8 * (i % 8));
    }
    return true;
}

constexpr RsaModulus PrepareRsaModulus(std::span<const RsaDigit> modulus) {
    RsaModulus prepared;
    prepared.count = modulus.size();
    for (std::size_t i = 0; i < modulus.size(); ++i) {
        prepared.digits[i] = modulus[i];
    }
    if (modulus.empty() || modulus[0] % 2 == 0) {
        return prepared;
    }
    // Newton's iteration: a word is its own inverse in three bits, and each round doubles the bits that are right.
    RsaDigit inverse = modulus[0];
    for (int round = 0; round < 5; ++round) {
        inverse *= 2 - modulus[0] * inverse;
    }
    prepared.negativeInverse = RsaDigit{0} - inverse;

    RsaDigit* const power = prepared.rSquared.data();
    power[0] = 1;
    if (RsaCompareDigits({power, modulus.size()}, modulus) >= 0) {  // modulo 1 everything is 0
        power[0] = 0;
    }
    for (std::size_t i = 0; i < 2 * kRsaDigitBits * modulus.size(); ++i) {
        rsa_detail::DoubleModulo(power, modulus.data(), modulus.size());
    }
    return prepared;
}
