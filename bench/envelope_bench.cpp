// What a block of the envelope costs: natively against OpenSSL's public operation of the same size, and its own parts.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/bench_table.h"
#include "support/envelope/base64_encode.h"
#include "support/envelope/rsa_envelope.h"
#include "support/envelope/rsa_public.h"

#ifndef _WIN32
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>

namespace {

EVP_PKEY_CTX* OpenSslContext() {
    const RsaPublicKey& own = RsaEnvelopeKey();
    BIGNUM* modulus = BN_bin2bn(own.modulus.data(), 128, nullptr);
    BIGNUM* exponent = BN_bin2bn(own.exponent.data(), 128, nullptr);
    OSSL_PARAM_BLD* builder = OSSL_PARAM_BLD_new();
    OSSL_PARAM_BLD_push_BN(builder, OSSL_PKEY_PARAM_RSA_N, modulus);
    OSSL_PARAM_BLD_push_BN(builder, OSSL_PKEY_PARAM_RSA_E, exponent);
    OSSL_PARAM* parameters = OSSL_PARAM_BLD_to_param(builder);
    EVP_PKEY_CTX* maker = EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr);
    EVP_PKEY* key = nullptr;
    EVP_PKEY_fromdata_init(maker);
    EVP_PKEY_fromdata(maker, &key, EVP_PKEY_PUBLIC_KEY, parameters);
    EVP_PKEY_CTX* context = EVP_PKEY_CTX_new(key, nullptr);
    EVP_PKEY_encrypt_init(context);
    EVP_PKEY_CTX_set_rsa_padding(context, RSA_NO_PADDING);
    return context;
}

}  // namespace
#endif

int main() {
    std::array<std::uint8_t, 128> block{};
    for (std::size_t i = 1; i < block.size(); ++i) {
        block[i] = static_cast<std::uint8_t>(i * 73);
    }
    std::array<std::uint8_t, 128> encrypted;
    const std::string piece(117, 'x');
    const std::string text(100 * 117, 'x');

    BenchTable table("the envelope, one block of 1024 bits");
#ifndef _WIN32
    EVP_PKEY_CTX* const context = OpenSslContext();
    table.Add("OpenSSL, public operation", Each([&] {
                  std::size_t size = encrypted.size();
                  if (EVP_PKEY_encrypt(context, encrypted.data(), &size, block.data(), block.size()) != 1) {
                      std::puts("OpenSSL failed");
                      std::exit(1);
                  }
              }));
#endif
    table.Add("RsaPublicBlock", Each([&] {
                  std::size_t size = 0;
                  RsaPublicBlock(encrypted.data(), size, block.data(), block.size());
                  Keep(encrypted);
              }));
    table.Add("seeding, 13 passes of the clock", Each([] {
                  RsaRandomState state;
                  CRsaSeeder().Seed(state);
                  Keep(state);
              }));
    table.Add("base64 of a block", Each([&] { Keep(Base64EncodeNoBreaks(block.data(), block.size())); }));
    table.Add("RsaEncryptToString, 1 block", Each([&] { Keep(RsaEncryptToString(piece)); }), piece.size());
    table.Add("RsaEncryptToString, 100 blocks: each", [&](std::size_t count) {
        for (; count >= 100; count -= 100) {
            Keep(RsaEncryptToString(text));
        }
        for (; count > 0; --count) {
            Keep(RsaEncryptToString(piece));
        }
    });
    table.Run();
    return 0;
}
