#include "support/envelope/rsa_public.h"

#include <algorithm>

#include "envelope_key.h"
#include "support/envelope/rsa_envelope.h"
#include "support/envelope/rsa_mod_exp.h"

namespace {

static_assert(kEnvelopeKey.bits == 1024, "NEXLET_ENVELOPE_KEY must be a 1024-bit RSA key");

using Number = std::array<RsaDigit, kRsaMaxDigits>;

// A key in the form that the arithmetic uses.
struct PreparedKey {
    std::uint16_t bits;
    RsaModulus modulus;
    Number exponent;
};

constexpr PreparedKey PrepareKey(const RsaPublicKey& key) {
    PreparedKey prepared{};
    prepared.bits = key.bits;
    Number modulus;
    RsaDecodeDigits(modulus, key.modulus);
    RsaDecodeDigits(prepared.exponent, key.exponent);
    prepared.modulus = PrepareRsaModulus(modulus);
    return prepared;
}

constexpr PreparedKey kPreparedEnvelopeKey = PrepareKey(kEnvelopeKey);

std::uint32_t PublicBlock(const PreparedKey& key, std::uint8_t* out, std::size_t& outLength, const std::uint8_t* in,
                          std::size_t inLength) {
    Number value;
    if (!RsaDecodeDigits(value, {in, inLength}) || RsaCompareDigits(value, key.modulus.digits) >= 0) {
        return kRsaValueTooLarge;  // nothing is below a modulus of zero
    }
    RsaModExp(value, value, key.exponent, key.modulus);
    outLength = RsaKeyBytes(key.bits);
    RsaEncodeDigits({out, outLength}, value);
    return kRsaSuccess;
}

}  // namespace

const RsaPublicKey& RsaEnvelopeKey() {
    return kEnvelopeKey;
}

std::uint32_t RsaPublicBlock(std::uint8_t* out, std::size_t& outLength, const std::uint8_t* in, std::size_t inLength) {
    return PublicBlock(kPreparedEnvelopeKey, out, outLength, in, inLength);
}

std::uint32_t RsaPublicBlockWithKey(const RsaPublicKey& key, std::uint8_t* out, std::size_t& outLength,
                                    const std::uint8_t* in, std::size_t inLength) {
    return PublicBlock(PrepareKey(key), out, outLength, in, inLength);
}

std::uint32_t RsaPadBlock(std::span<std::uint8_t> padded, std::span<const std::uint8_t> piece, RsaRandomState& random) {
    if (piece.size() + kRsaPaddingOverhead > padded.size()) {
        return kRsaBlockDoesNotFit;
    }
    const std::size_t zeroAt = padded.size() - piece.size() - 1;
    padded[0] = 0x00;
    padded[1] = 0x02;
    for (std::uint8_t& byte : padded.subspan(2, zeroAt - 2)) {
        do {
            byte = 1;
            RsaGenerateBytes(&byte, 1, random);
        } while (byte == 0);
    }
    padded[zeroAt] = 0x00;
    std::copy(piece.begin(), piece.end(), padded.begin() + static_cast<std::ptrdiff_t>(zeroAt) + 1);
    return kRsaSuccess;
}
