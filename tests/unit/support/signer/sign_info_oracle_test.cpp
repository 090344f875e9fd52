// The signer check against an independent reader of the same signatures.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

#include "support/signer/sha1.h"
#include "support/signer/sign_info.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

std::string CommonName(X509_NAME* name) {
    const int at = X509_NAME_get_index_by_NID(name, NID_commonName, -1);
    if (at < 0) {
        return {};
    }
    unsigned char* text = nullptr;
    const int size = ASN1_STRING_to_UTF8(&text, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, at)));
    const std::string result(reinterpret_cast<char*>(text), static_cast<std::size_t>(size));
    OPENSSL_free(text);
    return result;
}

TEST(SignInfoAgainstOpenSsl, AgreesOnEverySignedFile) {
    int compared = 0;
    for (const auto& entry : std::filesystem::directory_iterator(NEXLET_SIGNED_FILES)) {
        const std::string extension = entry.path().extension().string();
        if ((extension != ".dll" && extension != ".exe") || entry.path().stem() == "large") {
            continue;
        }
        std::ifstream stream(entry.path(), std::ios::binary);
        const Bytes file((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
        CMemorySource source(file);
        Bytes table;
        if (!ReadCertificateTable(source, table)) {
            EXPECT_EQ(entry.path().stem(), "unsigned");
            continue;
        }
        ASSERT_GT(table.size(), 8u);
        const unsigned char* at = table.data() + 8;
        const std::unique_ptr<PKCS7, decltype(&PKCS7_free)> signature(
            d2i_PKCS7(nullptr, &at, static_cast<long>(table.size() - 8)), &PKCS7_free);
        ASSERT_TRUE(signature) << entry.path();
        const std::unique_ptr<STACK_OF(X509), void (*)(STACK_OF(X509)*)> signers(
            PKCS7_get0_signers(signature.get(), nullptr, 0), [](STACK_OF(X509) * stack) { sk_X509_free(stack); });
        ASSERT_TRUE(signers) << entry.path();
        X509* const certificate = sk_X509_value(signers.get(), 0);
        Sha1Digest digest;
        unsigned size = 0;
        ASSERT_EQ(X509_digest(certificate, EVP_sha1(), digest.data(), &size), 1);

        std::string subject;
        std::string thumbprint;
        std::string issuer;
        EXPECT_EQ(GetSignInfo(source, subject, thumbprint, issuer), 0) << entry.path();
        EXPECT_EQ(subject, CommonName(X509_get_subject_name(certificate))) << entry.path();
        EXPECT_EQ(issuer, CommonName(X509_get_issuer_name(certificate))) << entry.path();
        EXPECT_EQ(thumbprint, Sha1Text(digest)) << entry.path();
        ++compared;
    }
    EXPECT_EQ(compared, 10);
}

}  // namespace
