// The signer check on files that a signing tool made; see tests/data/make_signed.sh.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <vector>

#include "support/signer/sign_info.h"
#include "tests/unit/support/signer/pe_builder.h"

namespace {

using pe::Bytes;

constexpr char kCompany[] = "Tencent Technology (Shenzhen) Company Limited";

Bytes FileBytes(const std::string& name) {
    std::ifstream file(std::string(NEXLET_SIGNED_FILES) + "/" + name, std::ios::binary);
    EXPECT_TRUE(file) << name;
    std::ostringstream bytes;
    bytes << file.rdbuf();
    const std::string text = bytes.str();
    return Bytes(text.begin(), text.end());
}

struct Signer {
    std::string file;
    std::string thumbprint;
    std::string subject;
    std::string issuer;
};

// What signers.txt says about each file.
std::vector<Signer> Signers() {
    const Bytes bytes = FileBytes("signers.txt");
    std::istringstream lines(std::string(bytes.begin(), bytes.end()));
    std::vector<Signer> signers;
    Signer signer;
    while (std::getline(lines, signer.file, '\t') && std::getline(lines, signer.thumbprint, '\t') &&
           std::getline(lines, signer.subject, '\t') && std::getline(lines, signer.issuer)) {
        signers.push_back(signer);
    }
    return signers;
}

Signer SignerNamed(const std::string& name) {
    for (const Signer& signer : Signers()) {
        if (signer.file == name) {
            return signer;
        }
    }
    ADD_FAILURE() << name << " is not in signers.txt";
    return {};
}

struct Info {
    std::int32_t code;
    std::string subject;
    std::string thumbprint;
    std::string issuer;
};

Info OfFile(const Bytes& file) {
    CMemorySource source(file);
    Info info{};
    info.code = GetSignInfo(source, info.subject, info.thumbprint, info.issuer);
    return info;
}

// The signer of a bare PKCS#7 file.
Info OfSignedData(const std::string& name) {
    Info info{};
    info.code = GetSignInfoOfTable(pe::CertificateTable(FileBytes(name)), info.subject, info.thumbprint, info.issuer);
    return info;
}

bool IsTrusted(const Bytes& file) {
    CMemorySource source(file);
    return IsTrustedSigner(source);
}

void ExpectSigner(const Info& info, const Signer& expected) {
    EXPECT_EQ(info.code, 0) << expected.file;
    EXPECT_EQ(info.subject, expected.subject) << expected.file;
    EXPECT_EQ(info.thumbprint, expected.thumbprint) << expected.file;
    EXPECT_EQ(info.issuer, expected.issuer) << expected.file;
}

// The four string types of a name, PE32 and PE32+, a chain, a counter-signature with its own certificate in the set.
TEST(SignedFiles, GiveSubjectThumbprintAndIssuerOfTheirSigner) {
    int files = 0;
    for (const Signer& signer : Signers()) {
        if (signer.file.find('.') != std::string::npos) {
            ExpectSigner(OfFile(FileBytes(signer.file)), signer);
            EXPECT_EQ(IsTrusted(FileBytes(signer.file)), signer.subject == kCompany) << signer.file;
            ++files;
        }
    }
    EXPECT_EQ(files, 10);
}

TEST(SignedFiles, AnUnsignedFileGivesMinus1) {
    EXPECT_EQ(OfFile(FileBytes("unsigned.dll")).code, -1);
    EXPECT_FALSE(IsTrusted(FileBytes("unsigned.dll")));
}

TEST(SignedFiles, ASignatureOfMoreThan65535BytesGivesNoName) {
    const Info info = OfFile(FileBytes("large.dll"));
    EXPECT_EQ(info.code, 0);
    EXPECT_EQ(info.subject + info.thumbprint + info.issuer, "");
    EXPECT_FALSE(IsTrusted(FileBytes("large.dll")));
}

TEST(SignedFiles, OfTwoSignersTheFirstInTheFileCounts) {
    ExpectSigner(OfSignedData("two_signers.p7"), SignerNamed("leaf"));
}

TEST(SignedFiles, OneCertificateWithoutASignerIsHandedOut) {
    ExpectSigner(OfSignedData("one_certificate.p7"), SignerNamed("leaf"));
}

TEST(SignedFiles, OfThreeCertificatesWithoutASignerTheLeafThatIsNotATimeStampIsGiven) {
    ExpectSigner(OfSignedData("three_certificates.p7"), SignerNamed("leaf"));
}

TEST(SignedFiles, ACrlAfterTheCertificatesLeavesTheFallback) {
    ExpectSigner(OfSignedData("with_crl.p7"), SignerNamed("leaf"));
}

TEST(SignedFiles, ATruncatedFileIsNeverTrusted) {
    const Bytes file = FileBytes("countersigned.dll");
    for (std::size_t size = 0; size < file.size(); size += 7) {
        const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
        ASSERT_EQ(OfFile(cut).code, -1) << size;
        ASSERT_FALSE(IsTrusted(cut)) << size;
    }
}

TEST(SignedFiles, DamageAnywhereInTheTableIsSurvived) {
    const Bytes file = FileBytes("chain.dll");
    const std::size_t table = 1024;  // where the tool appended it
    ASSERT_GT(file.size(), table);
    for (std::size_t at = table; at < file.size(); ++at) {
        for (const std::uint8_t value : Bytes{0x00, 0x01, 0x30, 0x7F, 0x80, 0x82, 0x83, 0xFF}) {
            Bytes damaged = file;
            damaged[at] = value;
            const Info info = OfFile(damaged);
            ASSERT_TRUE(info.code == 0 || info.code == -3 || info.code == -102) << at << ": " << info.code;
            ASSERT_EQ(IsTrusted(damaged), info.code == 0 && info.subject == kCompany) << at;
        }
    }
}

}  // namespace
