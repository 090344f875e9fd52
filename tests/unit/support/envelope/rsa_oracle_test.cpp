// The envelope and its arithmetic against an independent implementation.
#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "support/envelope/md5.h"
#include "support/envelope/rsa_envelope.h"
#include "support/envelope/rsa_mod_exp.h"
#include "support/envelope/rsa_public.h"
#include "support/signer/sha1.h"
#include "tooling/decrypt.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

template <auto Free>
struct Deleter {
    template <typename T>
    void operator()(T* object) const {
        Free(object);
    }
};
using BigNumber = std::unique_ptr<BIGNUM, Deleter<BN_free>>;
using Key = std::unique_ptr<EVP_PKEY, Deleter<EVP_PKEY_free>>;
using KeyContext = std::unique_ptr<EVP_PKEY_CTX, Deleter<EVP_PKEY_CTX_free>>;

Key DevelopmentKey() {
    const std::string path = std::string(NEXLET_TEST_DATA) + "/development_envelope_private.pem";
    const std::unique_ptr<FILE, Deleter<fclose>> file(fopen(path.c_str(), "rb"));
    EXPECT_TRUE(file) << path;
    Key key(file ? PEM_read_PrivateKey(file.get(), nullptr, nullptr, nullptr) : nullptr);
    EXPECT_TRUE(key);
    return key;
}

Bytes Decrypted(EVP_PKEY* key, const Bytes& block, int padding) {
    const KeyContext context(EVP_PKEY_CTX_new(key, nullptr));
    EXPECT_EQ(EVP_PKEY_decrypt_init(context.get()), 1);
    EXPECT_EQ(EVP_PKEY_CTX_set_rsa_padding(context.get(), padding), 1);
    Bytes text(256);
    std::size_t size = text.size();
    EXPECT_EQ(EVP_PKEY_decrypt(context.get(), text.data(), &size, block.data(), block.size()), 1);
    text.resize(size);
    return text;
}

// The blocks of an envelope, decoded by OpenSSL.
std::vector<Bytes> DecodedBlocks(const std::string& envelope) {
    std::vector<Bytes> blocks;
    for (std::size_t at = 0; at <= envelope.size();) {
        const std::size_t end = std::min(envelope.find("|&|", at), envelope.size());
        Bytes block((end - at) / 4 * 3);
        const int size = EVP_DecodeBlock(block.data(), reinterpret_cast<const unsigned char*>(envelope.data()) + at,
                                         static_cast<int>(end - at));
        EXPECT_EQ(size, 129) << "128 bytes and one of padding";
        block.resize(128);
        blocks.push_back(block);
        at = end + 3;
    }
    return blocks;
}

std::string TextOf(std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += static_cast<char>(i * 131 + size * 7);
    }
    return text;
}

TEST(EnvelopeAgainstOpenSsl, OpensForEveryLengthAndSomeLargeOnes) {
    const Key key = DevelopmentKey();
    std::vector<std::size_t> sizes = {5000, 100'000};
    for (std::size_t size = 1; size <= 400; ++size) {
        sizes.push_back(size);
    }
    for (const std::size_t size : sizes) {
        const std::string text = TextOf(size);
        std::string opened;
        for (const Bytes& block : DecodedBlocks(RsaEncryptToString(text))) {
            const Bytes piece = Decrypted(key.get(), block, RSA_PKCS1_PADDING);
            opened.append(piece.begin(), piece.end());
        }
        ASSERT_EQ(opened, text) << size << " bytes";
    }
}

TEST(EnvelopeAgainstOpenSsl, EachBlockIsZeroTwoNonZeroBytesZeroAndThePiece) {
    const Key key = DevelopmentKey();
    for (const std::size_t size : {1u, 60u, 117u, 118u, 234u}) {
        const std::string text = TextOf(size);
        std::size_t at = 0;
        for (const Bytes& block : DecodedBlocks(RsaEncryptToString(text))) {
            const Bytes padded = Decrypted(key.get(), block, RSA_NO_PADDING);
            ASSERT_EQ(padded.size(), 128u);
            const std::string piece = text.substr(at, 117);
            at += piece.size();
            EXPECT_EQ(padded[0], 0x00);
            EXPECT_EQ(padded[1], 0x02);
            const auto random = padded.begin() + 2;
            const auto zero = padded.end() - static_cast<std::ptrdiff_t>(piece.size()) - 1;
            EXPECT_EQ(std::find(random, zero, 0), zero) << "the padding has no zero";
            EXPECT_GE(zero - random, 8);
            EXPECT_EQ(*zero, 0x00);
            EXPECT_EQ(std::string(zero + 1, padded.end()), piece);
        }
        EXPECT_EQ(at, size);
    }
}

TEST(EnvelopeAgainstOpenSsl, TheSecondBlockOf118BytesHas124PaddingBytes) {
    const Key key = DevelopmentKey();
    const auto blocks = DecodedBlocks(RsaEncryptToString(std::string(118, 'x')));
    ASSERT_EQ(blocks.size(), 2u);
    const Bytes padded = Decrypted(key.get(), blocks[1], RSA_NO_PADDING);
    EXPECT_EQ(std::find(padded.begin() + 2, padded.end(), 0) - (padded.begin() + 2), 124);
    EXPECT_EQ(padded.back(), 'x');
}

TEST(DecryptAgainstOpenSsl, OpensWhatOpenSslSealed) {
    const Key key = DevelopmentKey();
    std::string pem;
    {
        const std::unique_ptr<BIO, Deleter<BIO_free_all>> memory(BIO_new(BIO_s_mem()));
        ASSERT_EQ(PEM_write_bio_PrivateKey(memory.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr), 1);
        char* data = nullptr;
        const long size = BIO_get_mem_data(memory.get(), &data);
        pem.assign(data, static_cast<std::size_t>(size));
    }
    const std::string text = TextOf(117);
    const KeyContext context(EVP_PKEY_CTX_new(key.get(), nullptr));
    ASSERT_EQ(EVP_PKEY_encrypt_init(context.get()), 1);
    ASSERT_EQ(EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING), 1);
    Bytes block(128);
    std::size_t size = block.size();
    ASSERT_EQ(EVP_PKEY_encrypt(context.get(), block.data(), &size, reinterpret_cast<const unsigned char*>(text.data()),
                               text.size()),
              1);
    std::string encoded(4 * 43 + 1, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()), block.data(), 128);
    encoded.pop_back();
    std::string opened;
    std::string complaint;
    ASSERT_TRUE(DecryptEnvelope(encoded, pem, opened, complaint)) << complaint;
    EXPECT_EQ(opened, text);
}

BigNumber Number(const std::vector<RsaDigit>& digits) {
    Bytes bytes(8 * digits.size());
    RsaEncodeDigits(bytes, digits);
    return BigNumber(BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), nullptr));
}

void ExpectSamePower(const std::vector<RsaDigit>& base, const std::vector<RsaDigit>& exponent,
                     const std::vector<RsaDigit>& modulus) {
    std::vector<RsaDigit> result(modulus.size());
    RsaModExp(result, base, exponent, modulus);
    const BigNumber expected(BN_new());
    const std::unique_ptr<BN_CTX, Deleter<BN_CTX_free>> context(BN_CTX_new());
    // The plain reference: it takes any modulus.
    ASSERT_EQ(BN_mod_exp_simple(expected.get(), Number(base).get(), Number(exponent).get(), Number(modulus).get(),
                                context.get()),
              1);
    ASSERT_EQ(BN_cmp(Number(result).get(), expected.get()), 0) << modulus.size() << " digits";
}

TEST(RsaModExpAgainstOpenSsl, RandomNumbersOfEverySizeAgree) {
    std::mt19937_64 random(20240607);
    const auto number = [&random](std::size_t count) {
        std::vector<RsaDigit> digits(count);
        for (RsaDigit& digit : digits) {
            // Long runs of ones and zeros are where carries go wrong.
            const RsaDigit kind = random() % 4;
            digit = kind == 0 ? 0 : kind == 1 ? ~RsaDigit{0} : random();
        }
        return digits;
    };
    for (std::size_t count = 1; count <= kRsaMaxDigits; ++count) {
        for (int round = 0; round < 40; ++round) {
            std::vector<RsaDigit> modulus = number(count);
            modulus[0] |= round % 8 == 7 ? 0 : 1;  // now and then an even one
            if (RsaIsZero(modulus)) {
                modulus[0] = 2;
            }
            const bool bLongExponent = round % 10 == 0;
            ExpectSamePower(number(count),
                            bLongExponent ? number(count) : std::vector<RsaDigit>{random() >> (round % 60)}, modulus);
        }
    }
}

TEST(RsaModExpAgainstOpenSsl, EdgeValuesOfTheEnvelopesKeyAgree) {
    std::vector<RsaDigit> modulus(kRsaMaxDigits);
    ASSERT_TRUE(RsaDecodeDigits(modulus, RsaEnvelopeKey().modulus));
    std::vector<RsaDigit> zero(kRsaMaxDigits);
    std::vector<RsaDigit> one = zero;
    one[0] = 1;
    std::vector<RsaDigit> oneBelow = modulus;
    oneBelow[0] -= 1;
    std::vector<RsaDigit> oneAbove = modulus;
    oneAbove[0] += 1;
    const std::vector<RsaDigit> ones(kRsaMaxDigits, ~RsaDigit{0});
    for (const auto& base : {zero, one, oneBelow, modulus, oneAbove, ones}) {
        for (const std::vector<RsaDigit>& exponent :
             {std::vector<RsaDigit>{0}, {1}, {2}, {3}, {4}, {65537}, {0xFFFFFFFFFFFFFFFF}, {0, 1}, modulus, oneBelow}) {
            ExpectSamePower(base, exponent, modulus);
        }
    }
}

TEST(DigestsAgainstOpenSsl, AgreeForEveryLength) {
    Bytes bytes;
    for (std::size_t size = 0; size < 400; ++size) {
        Bytes md5(16);
        Bytes sha1(20);
        ASSERT_EQ(EVP_Digest(bytes.data(), size, md5.data(), nullptr, EVP_md5(), nullptr), 1);
        ASSERT_EQ(EVP_Digest(bytes.data(), size, sha1.data(), nullptr, EVP_sha1(), nullptr), 1);
        const Md5Digest ownMd5 = Md5Of(bytes);
        const Sha1Digest ownSha1 = Sha1Of(bytes);
        ASSERT_TRUE(std::equal(md5.begin(), md5.end(), ownMd5.begin(), ownMd5.end())) << size;
        ASSERT_TRUE(std::equal(sha1.begin(), sha1.end(), ownSha1.begin(), ownSha1.end())) << size;
        bytes.push_back(static_cast<std::uint8_t>(size * 89));
    }
}

}  // namespace
