#include "support/envelope/rsa_mod_exp.h"

#include <algorithm>

namespace {

__extension__ typedef unsigned __int128 DoubleDigit;

using Number = std::array<RsaDigit, kRsaMaxDigits>;
using Product = std::array<RsaDigit, 2 * kRsaMaxDigits>;

// Every inner loop runs over `count` digits. For the one size that the product uses, the compiler sees a constant.
#define NEXLET_INLINE inline __attribute__((always_inline))

// The innermost loops, eight digits at a time: a fifth less time from gcc at -O2, which does not unroll them.
#ifdef __clang__
#define NEXLET_UNROLL _Pragma("unroll 8")
#else
#define NEXLET_UNROLL _Pragma("GCC unroll 8")
#endif

// a * b + add + carry; the high digit becomes the carry. The sum cannot pass two digits.
NEXLET_INLINE RsaDigit MultiplyAdd(RsaDigit a, RsaDigit b, RsaDigit add, RsaDigit& carry) {
    const DoubleDigit sum = static_cast<DoubleDigit>(a) * b + add + carry;
    carry = static_cast<RsaDigit>(sum >> kRsaDigitBits);
    return static_cast<RsaDigit>(sum);
}

NEXLET_INLINE RsaDigit SubtractDigits(RsaDigit* a, const RsaDigit* b, std::size_t count) {
    RsaDigit borrow = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const DoubleDigit difference = static_cast<DoubleDigit>(a[i]) - b[i] - borrow;
        a[i] = static_cast<RsaDigit>(difference);
        borrow = static_cast<RsaDigit>(difference >> kRsaDigitBits) & 1;
    }
    return borrow;
}

NEXLET_INLINE void Multiply(Product& product, const Number& a, const Number& b, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        product[i] = 0;
    }
    for (std::size_t i = 0; i < count; ++i) {
        RsaDigit carry = 0;
        NEXLET_UNROLL
        for (std::size_t j = 0; j < count; ++j) {
            product[i + j] = MultiplyAdd(a[i], b[j], product[i + j], carry);
        }
        product[i + count] = carry;
    }
}

// The products of unequal digits once, doubled, and the squares of the digits added: nearly half the work.
NEXLET_INLINE void Square(Product& product, const Number& a, std::size_t count) {
    for (std::size_t i = 0; i < 2 * count; ++i) {
        product[i] = 0;
    }
    for (std::size_t i = 0; i + 1 < count; ++i) {
        RsaDigit carry = 0;
        NEXLET_UNROLL
        for (std::size_t j = i + 1; j < count; ++j) {
            product[i + j] = MultiplyAdd(a[i], a[j], product[i + j], carry);
        }
        product[i + count] = carry;
    }
    RsaDigit shifted = 0;
    RsaDigit carry = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const RsaDigit low = product[2 * i];
        const RsaDigit high = product[2 * i + 1];
        product[2 * i] = MultiplyAdd(a[i], a[i], low << 1 | shifted, carry);
        const DoubleDigit sum = static_cast<DoubleDigit>(high << 1 | low >> (kRsaDigitBits - 1)) + carry;
        product[2 * i + 1] = static_cast<RsaDigit>(sum);
        carry = static_cast<RsaDigit>(sum >> kRsaDigitBits);
        shifted = high >> (kRsaDigitBits - 1);
    }
}

// result = product / R modulo the modulus, below the modulus, for a product below modulus * R. Each round makes the
// lowest digit zero by adding a multiple of the modulus.
NEXLET_INLINE void Reduce(Number& result, Product& product, const RsaModulus& modulus, std::size_t count) {
    RsaDigit top = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const RsaDigit factor = product[i] * modulus.negativeInverse;
        RsaDigit carry = 0;
        NEXLET_UNROLL
        for (std::size_t j = 0; j < count; ++j) {
            product[i + j] = MultiplyAdd(factor, modulus.digits[j], product[i + j], carry);
        }
        const DoubleDigit sum = static_cast<DoubleDigit>(product[i + count]) + carry + top;
        product[i + count] = static_cast<RsaDigit>(sum);
        top = static_cast<RsaDigit>(sum >> kRsaDigitBits);
    }
    std::copy_n(product.begin() + static_cast<std::ptrdiff_t>(count), count, result.begin());
    if (top != 0 || RsaCompareDigits({result.data(), count}, {modulus.digits.data(), count}) >= 0) {
        SubtractDigits(result.data(), modulus.digits.data(), count);
    }
}

// Two bits of the exponent, pair 0 being its lowest two.
unsigned BitPair(std::span<const RsaDigit> exponent, std::size_t pair) {
    constexpr std::size_t kPairs = kRsaDigitBits / 2;
    return static_cast<unsigned>(exponent[pair / kPairs] >> (2 * (pair % kPairs))) & 3;
}

// Left to right, two exponent bits at a time, on residues times R. The operands of a product stay below
// R * modulus, also when base is not below the modulus.
NEXLET_INLINE void MontgomeryPower(Number& result, const Number& base, std::span<const RsaDigit> exponent,
                                   std::size_t pairs, const RsaModulus& modulus, std::size_t count) {
    Product product;
    std::array<Number, 3> powers;  // base to the power of 1, 2 and 3, times R
    Multiply(product, base, modulus.rSquared, count);
    Reduce(powers[0], product, modulus, count);
    // The envelope's exponent 65537 uses no other power: make them only for one that does.
    bool bHigherPowers = false;
    for (std::size_t pair = 0; pair < pairs; ++pair) {
        bHigherPowers = bHigherPowers || BitPair(exponent, pair) > 1;
    }
    if (bHigherPowers) {
        Square(product, powers[0], count);
        Reduce(powers[1], product, modulus, count);
        Multiply(product, powers[1], powers[0], count);
        Reduce(powers[2], product, modulus, count);
    }

    Number value = powers[BitPair(exponent, pairs - 1) - 1];
    for (std::size_t pair = pairs - 1; pair-- > 0;) {
        for (int i = 0; i < 2; ++i) {
            Square(product, value, count);
            Reduce(value, product, modulus, count);
        }
        const unsigned bits = BitPair(exponent, pair);
        if (pair == 0 && bits == 1) {
            // The last factor without its R takes the R of the value away as well.
            Multiply(product, value, base, count);
            Reduce(result, product, modulus, count);
            return;
        }
        if (bits != 0) {
            Multiply(product, value, powers[bits - 1], count);
            Reduce(value, product, modulus, count);
        }
    }
    product.fill(0);
    std::copy_n(value.begin(), count, product.begin());
    Reduce(result, product, modulus, count);
}

// a * b modulo the modulus by doubling and adding, for b below the modulus: for the even ones.
void MultiplySlowly(Number& result, const Number& a, const Number& b, const RsaModulus& modulus) {
    const std::size_t count = modulus.count;
    const std::span<const RsaDigit> limit(modulus.digits.data(), count);
    Number sum{};
    for (std::size_t bit = count * kRsaDigitBits; bit-- > 0;) {
        rsa_detail::DoubleModulo(sum.data(), limit.data(), count);
        if ((a[bit / kRsaDigitBits] >> (bit % kRsaDigitBits) & 1) == 0) {
            continue;
        }
        RsaDigit carry = 0;
        for (std::size_t i = 0; i < count; ++i) {
            sum[i] = MultiplyAdd(b[i], 1, sum[i], carry);
        }
        if (carry != 0 || RsaCompareDigits({sum.data(), count}, limit) >= 0) {
            SubtractDigits(sum.data(), limit.data(), count);
        }
    }
    result = sum;
}

void PowerSlowly(Number& result, const Number& base, std::span<const RsaDigit> exponent, const RsaModulus& modulus) {
    Number one{1};  // below an even modulus
    Number factor;
    MultiplySlowly(factor, base, one, modulus);
    Number value = one;
    for (std::size_t bit = exponent.size() * kRsaDigitBits; bit-- > 0;) {
        MultiplySlowly(value, value, value, modulus);
        if ((exponent[bit / kRsaDigitBits] >> (bit % kRsaDigitBits) & 1) != 0) {
            MultiplySlowly(value, value, factor, modulus);
        }
    }
    result = value;
}

}  // namespace

void RsaModExp(std::span<RsaDigit> result, std::span<const RsaDigit> base, std::span<const RsaDigit> exponent,
               const RsaModulus& modulus) {
    const std::size_t count = modulus.count;
    Number number{};
    std::copy_n(base.begin(), count, number.begin());
    Number power{};
    std::size_t pairs = exponent.size() * kRsaDigitBits / 2;
    while (pairs > 0 && BitPair(exponent, pairs - 1) == 0) {
        --pairs;
    }
    if (modulus.negativeInverse == 0) {
        PowerSlowly(power, number, exponent, modulus);
    } else if (pairs == 0) {
        const bool bModuloOne = modulus.digits[0] == 1 && RsaIsZero({modulus.digits.data() + 1, count - 1});
        power[0] = bModuloOne ? 0 : 1;
    } else if (count == kRsaMaxDigits) {
        MontgomeryPower(power, number, exponent, pairs, modulus, kRsaMaxDigits);
    } else {
        MontgomeryPower(power, number, exponent, pairs, modulus, count);
    }
    std::copy_n(power.begin(), count, result.begin());
}

void RsaModExp(std::span<RsaDigit> result, std::span<const RsaDigit> base, std::span<const RsaDigit> exponent,
               std::span<const RsaDigit> modulus) {
    RsaModExp(result, base, exponent, PrepareRsaModulus(modulus));
}

void RsaEncodeDigits(std::span<std::uint8_t> bytes, std::span<const RsaDigit> digits) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const RsaDigit digit = i / 8 < digits.size() ? digits[i / 8] : 0;
        bytes[bytes.size() - 1 - i] = static_cast<std::uint8_t>(digit >> (8 * (i % 8)));
    }
}
