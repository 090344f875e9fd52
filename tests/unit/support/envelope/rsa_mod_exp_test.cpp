#include "support/envelope/rsa_mod_exp.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Digits = std::vector<RsaDigit>;

Digits Power(const Digits& base, const Digits& exponent, const Digits& modulus) {
    Digits result(modulus.size(), 0xEEEE);
    RsaModExp(result, base, exponent, modulus);
    return result;
}

RsaDigit SmallPower(RsaDigit base, RsaDigit exponent, RsaDigit modulus) {
    RsaDigit value = 1 % modulus;
    for (RsaDigit i = 0; i < exponent; ++i) {
        value = value * base % modulus;
    }
    return value;
}

TEST(RsaModExp, SmallNumbersGiveTheSchoolbookResult) {
    for (RsaDigit modulus = 1; modulus < 18; ++modulus) {
        for (RsaDigit base = 0; base < 20; ++base) {  // also bases that are not below the modulus
            for (RsaDigit exponent = 0; exponent < 9; ++exponent) {
                const RsaDigit expected = SmallPower(base, exponent, modulus);
                ASSERT_EQ(Power({base}, {exponent}, {modulus}), Digits{expected})
                    << base << " to the power of " << exponent << " modulo " << modulus;
                ASSERT_EQ(Power({base, 0}, {exponent, 0}, {modulus, 0}), (Digits{expected, 0}))
                    << "with spare digits: " << base << ", " << exponent << ", " << modulus;
            }
        }
    }
}

TEST(RsaModExp, AnExponentWithoutDigitsGivesOneModuloTheModulus) {
    EXPECT_EQ(Power({7}, {}, {15}), Digits{1});
    EXPECT_EQ(Power({7}, {}, {16}), Digits{1});
    EXPECT_EQ(Power({7}, {}, {1}), Digits{0});
}

// Fermat: a prime modulus gives 1 for the exponent one below it. 2^127 - 1 and 2^521 - 1 are prime.
TEST(RsaModExp, AgreesWithFermatOnMersennePrimes) {
    const Digits prime127 = {~RsaDigit{0}, ~RsaDigit{0} >> 1};
    EXPECT_EQ(Power({0x123456789ABCDEF0, 0x0FEDCBA987654321}, {~RsaDigit{0} - 1, ~RsaDigit{0} >> 1}, prime127),
              (Digits{1, 0}));
    Digits prime521(9, ~RsaDigit{0});
    prime521[8] = 0x1FF;
    Digits exponent = prime521;
    exponent[0] -= 1;
    Digits base(9, 0x5555555555555555);
    base[8] = 0x55;
    Digits one(9, 0);
    one[0] = 1;
    EXPECT_EQ(Power(base, exponent, prime521), one);
}

TEST(RsaModExp, EdgeValuesOfAFullSizeModulusAreRight) {
    Digits modulus(kRsaMaxDigits, ~RsaDigit{0});
    modulus[0] -= 58;  // odd
    Digits zero(kRsaMaxDigits, 0);
    Digits one = zero;
    one[0] = 1;
    Digits largest = modulus;
    largest[0] -= 1;
    const Digits exponent = {65537};
    EXPECT_EQ(Power(zero, exponent, modulus), zero);
    EXPECT_EQ(Power(one, exponent, modulus), one);
    EXPECT_EQ(Power(largest, exponent, modulus), largest);  // -1 to an odd power
    EXPECT_EQ(Power(largest, {65536}, modulus), one);       // -1 to an even one
    EXPECT_EQ(Power(modulus, exponent, modulus), zero);     // not below the modulus
    EXPECT_EQ(Power(Digits(kRsaMaxDigits, ~RsaDigit{0}), {1}, modulus)[0], 58u);
}

TEST(RsaModExp, ResultAndBaseMayBeOneArray) {
    Digits value = {5, 0};
    const Digits modulus = {1000003, 0};
    const Digits exponent = {3};
    RsaModExp(value, value, exponent, modulus);
    EXPECT_EQ(value, (Digits{125, 0}));
}

TEST(RsaDigits, BytesAreBigEndianAndLeadingZerosDoNotCount) {
    Digits digits(2);
    const std::vector<std::uint8_t> bytes = {0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_TRUE(RsaDecodeDigits(digits, bytes));
    EXPECT_EQ(digits, (Digits{0x0203040506070809, 1}));
    std::vector<std::uint8_t> encoded(11);
    RsaEncodeDigits(encoded, digits);
    EXPECT_EQ(encoded, (std::vector<std::uint8_t>{0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(RsaDigits, ANumberThatDoesNotFitIsRefused) {
    Digits digits(1);
    const std::vector<std::uint8_t> bytes = {1, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_FALSE(RsaDecodeDigits(digits, bytes));
}

}  // namespace
