#include "tooling/decrypt.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "foundation/text_helpers.h"
#include "support/envelope/base64_encode.h"
#include "support/envelope/rsa_envelope.h"
#include "support/envelope/rsa_mod_exp.h"
#include "support/signer/der_cursor.h"

namespace {

using Bytes = std::span<const std::uint8_t>;
using Number = std::array<RsaDigit, kRsaMaxDigits>;

constexpr std::uint8_t kTagInteger = 0x02;
constexpr std::uint8_t kTagOctetString = 0x04;
constexpr std::uint8_t kTagSequence = 0x30;

// rsaEncryption, 1.2.840.113549.1.1.1
constexpr std::array<std::uint8_t, 11> kRsaEncryptionOid = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86,
                                                            0xF7, 0x0D, 0x01, 0x01, 0x01};
constexpr std::size_t kLeastPadding = 8;

struct PrivateKey {
    std::size_t bytes;
    Number modulus;
    Number exponent;
};

Bytes BytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// The contents of the next element, when it has this tag.
std::optional<Bytes> ReadElement(CDerCursor& cursor, std::uint8_t tag) {
    if (cursor.ReadByte() != tag) {
        return std::nullopt;
    }
    const auto first = cursor.ReadByte();
    if (!first) {
        return std::nullopt;
    }
    std::optional<std::uint32_t> length = *first;
    if (*first > 0x80 && *first <= 0x84) {
        length = cursor.ReadBig(*first & 0x7Fu);
    } else if (*first >= 0x80) {
        return std::nullopt;
    }
    return length ? cursor.Take(*length) : std::nullopt;
}

// The base64 text between a PEM file's lines, decoded; nothing without both lines.
std::optional<std::string> PemContents(const std::string& pem, const std::string& label) {
    const std::string begin = "-----BEGIN " + label + "-----";
    const std::size_t from = pem.find(begin);
    const std::size_t to = from == std::string::npos ? from : pem.find("-----END " + label + "-----", from);
    if (to == std::string::npos) {
        return std::nullopt;
    }
    std::string contents;
    Base64Decode(pem.substr(from + begin.size(), to - from - begin.size()), contents);
    return contents;
}

// The contents of the elements that a sequence begins with, when they have these tags.
template <std::size_t kCount>
std::optional<std::array<Bytes, kCount>> ReadFields(Bytes der, const std::uint8_t (&tags)[kCount]) {
    CDerCursor file(der);
    const auto sequence = ReadElement(file, kTagSequence);
    if (!sequence) {
        return std::nullopt;
    }
    CDerCursor cursor(*sequence);
    std::array<Bytes, kCount> fields;
    for (std::size_t i = 0; i < kCount; ++i) {
        const auto field = ReadElement(cursor, tags[i]);
        if (!field) {
            return std::nullopt;
        }
        fields[i] = *field;
    }
    return fields;
}

// RSAPrivateKey of RFC 8017: version, modulus, public exponent, private exponent; the rest is not needed here.
std::optional<PrivateKey> ReadPkcs1(Bytes der) {
    const auto fields = ReadFields(der, {kTagInteger, kTagInteger, kTagInteger, kTagInteger});
    PrivateKey key{};
    if (!fields || !RsaDecodeDigits(key.modulus, (*fields)[1]) || !RsaDecodeDigits(key.exponent, (*fields)[3]) ||
        RsaIsZero(key.modulus)) {
        return std::nullopt;
    }
    const Bytes modulus = (*fields)[1];
    const auto first = std::find_if(modulus.begin(), modulus.end(), [](std::uint8_t byte) { return byte != 0; });
    key.bytes = static_cast<std::size_t>(modulus.end() - first);
    return key;
}

// PrivateKeyInfo of RFC 5208: version, algorithm, the key above as an octet string.
std::optional<PrivateKey> ReadPkcs8(Bytes der) {
    const auto fields = ReadFields(der, {kTagInteger, kTagSequence, kTagOctetString});
    if (!fields) {
        return std::nullopt;
    }
    const Bytes algorithm = (*fields)[1];
    if (algorithm.size() < kRsaEncryptionOid.size() ||
        !std::equal(kRsaEncryptionOid.begin(), kRsaEncryptionOid.end(), algorithm.begin())) {
        return std::nullopt;
    }
    return ReadPkcs1((*fields)[2]);
}

std::optional<PrivateKey> ReadPrivateKey(const std::string& pem) {
    if (const auto pkcs1 = PemContents(pem, "RSA PRIVATE KEY")) {
        return ReadPkcs1(BytesOf(*pkcs1));
    }
    if (const auto pkcs8 = PemContents(pem, "PRIVATE KEY")) {
        return ReadPkcs8(BytesOf(*pkcs8));
    }
    return std::nullopt;
}

// The piece of text in one padded block: 0x00, 0x02, at least eight non-zero bytes, 0x00, the piece.
std::optional<Bytes> Unpad(Bytes padded) {
    if (padded.size() < 2 || padded[0] != 0x00 || padded[1] != 0x02) {
        return std::nullopt;
    }
    const auto zero = std::find(padded.begin() + 2, padded.end(), std::uint8_t{0});
    if (zero == padded.end() || zero - padded.begin() < static_cast<std::ptrdiff_t>(2 + kLeastPadding)) {
        return std::nullopt;
    }
    return Bytes(zero + 1, padded.end());
}

// Appends the text of one base64 block; false when it is not a block of this key.
bool OpenBlock(const std::string& block, const PrivateKey& key, std::string& text) {
    std::string encrypted;
    Base64Decode(block, encrypted);
    // The decoder forgives; an envelope is exact.
    if (encrypted.size() != key.bytes || Base64EncodeNoBreaks(BytesOf(encrypted).data(), encrypted.size()) != block) {
        return false;
    }
    Number value;
    if (!RsaDecodeDigits(value, BytesOf(encrypted)) || RsaCompareDigits(value, key.modulus) >= 0) {
        return false;
    }
    RsaModExp(value, value, key.exponent, key.modulus);
    std::vector<std::uint8_t> padded(key.bytes);
    RsaEncodeDigits(padded, value);
    const auto piece = Unpad(padded);
    if (!piece) {
        return false;
    }
    text.append(reinterpret_cast<const char*>(piece->data()), piece->size());
    return true;
}

std::string Trimmed(const std::string& text) {
    constexpr const char* kBlanks = " \t\r\n";
    const std::size_t from = text.find_first_not_of(kBlanks);
    return from == std::string::npos ? std::string() : text.substr(from, text.find_last_not_of(kBlanks) - from + 1);
}

}  // namespace

bool DecryptEnvelope(const std::string& envelope, const std::string& privateKeyPem, std::string& text,
                     std::string& complaint) {
    text.clear();
    complaint.clear();
    const auto key = ReadPrivateKey(privateKeyPem);
    if (!key) {
        complaint = "The key is not an unencrypted RSA private key of up to 1024 bits in PEM form.";
        return false;
    }
    const std::string blocks = Trimmed(envelope);
    if (blocks.empty()) {
        complaint = "The envelope is empty.";
        return false;
    }
    std::string opened;
    std::size_t number = 1;
    for (std::size_t at = 0; at <= blocks.size(); ++number) {
        const std::size_t end = std::min(blocks.find(kEnvelopeSeparator, at), blocks.size());
        if (!OpenBlock(blocks.substr(at, end - at), *key, opened)) {
            complaint = "Block " + std::to_string(number) + " of the envelope is damaged or was made for another key.";
            return false;
        }
        at = end + kEnvelopeSeparator.size();
    }
    text = std::move(opened);
    return true;
}
