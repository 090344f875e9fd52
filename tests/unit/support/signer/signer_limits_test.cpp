// What a hostile file can cost the signer check: memory, time, and what happens when memory runs out.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/signer/sha1.h"
#include "support/signer/sign_info.h"
#include "tests/support/counted_memory.h"
#include "tests/unit/support/signer/der_builder.h"
#include "tests/unit/support/signer/pe_builder.h"

namespace {

using namespace der;

// A table of any size: SignedData in indefinite lengths, with the units as its certificates.
Bytes TableOf(const Bytes& units, const Bytes& signers = {}) {
    const Bytes fields = Join({FirstFields(), Indefinite(kContext0, units), signers});
    return pe::CertificateTable(
        Indefinite(kSequence, Join({SignedDataOid(), Indefinite(kContext0, Indefinite(kSequence, fields))})));
}

Bytes Repeated(const Bytes& unit, std::size_t bytes) {
    Bytes units;
    units.reserve(bytes + unit.size());
    while (units.size() < bytes) {
        units.insert(units.end(), unit.begin(), unit.end());
    }
    return units;
}

std::string SixDigits(std::uint32_t number) {
    std::string digits = std::to_string(number);
    return std::string(6 - digits.size(), '0') + digits;
}

// The smallest certificate with both names: a leaf, unless its subject issued another one.
Bytes SmallCertificate(const std::string& issuer, const std::string& subject) {
    const Bytes none = Element(kNull, Bytes{});
    return Sequence({Sequence({none, none, none, Name(issuer), none, Name(subject)})});
}

struct Info {
    std::int32_t code = 99;
    std::string subject;
    std::string thumbprint;
    std::string issuer;
};

Info Of(const Bytes& table) {
    Info info;
    info.code = GetSignInfoOfTable(table, info.subject, info.thumbprint, info.issuer);
    return info;
}

// Certificates of two bytes, of four, with an issuer and a serial number, with names; signers; nested elements; noise
// at the level of names.
const struct {
    const char* what;
    Bytes unit;
} kUnits[] = {
    {"empty elements", {kNull, 0x00}},
    {"empty sequences", {kSequence, 0x00}},
    {"empty sequences of indefinite length", {kSequence, 0x80, 0x00, 0x00}},
    {"an issuer and a serial number", Sequence({Sequence({Element(kNull, Bytes{}), Element(kInteger, Bytes{1}),
                                                          Element(kNull, Bytes{}), Element(kOctets, Bytes{1})})})},
    {"an issuer's name",
     Sequence({Sequence({Element(kNull, Bytes{}), Element(kNull, Bytes{}), Element(kNull, Bytes{}), Name("I")})})},
    {"two names", SmallCertificate("I", "S")},
    {"two long names", SmallCertificate(std::string(300, 'I'), std::string(300, 'S'))},
    {"elements that are open", {kSequence, 0x80}},
};

TEST(SignerLimits, MemoryStaysBelowASmallMultipleOfTheTable) {
    constexpr std::size_t kBytes = std::size_t{512} << 10;
    for (const auto& [what, unit] : kUnits) {
        const Bytes table = TableOf(Repeated(unit, kBytes));
        const CMemoryWatch watch;
        {
            const Info info = Of(table);
            EXPECT_EQ(info.code, 0) << what;
        }
        EXPECT_LE(watch.Peak(), 8 * table.size()) << what << ": " << watch.Peak() / table.size();
    }
}

// Distinct names, so that each certificate has to be looked for among the issuers of all others.
TEST(SignerLimits, ATableFullOfLeavesIsReadInLittleMoreThanItsLength) {
    constexpr std::uint32_t kCertificates = 200'000;
    const Bytes pattern = SmallCertificate("i000000", "s000000");
    const auto numberAt = [&pattern](char first) {
        return static_cast<std::size_t>(std::ranges::find(pattern, static_cast<std::uint8_t>(first)) -
                                        pattern.begin()) +
               1;
    };
    Bytes units = Repeated(pattern, kCertificates * pattern.size());
    for (std::uint32_t i = 0; i < kCertificates; ++i) {
        const std::string number = SixDigits(i);
        const auto at = units.begin() + static_cast<std::ptrdiff_t>(i * pattern.size());
        std::ranges::copy(number, at + static_cast<std::ptrdiff_t>(numberAt('i')));
        std::ranges::copy(number, at + static_cast<std::ptrdiff_t>(numberAt('s')));
    }
    const Info info = Of(TableOf(units));
    EXPECT_EQ(info.code, 0);
    EXPECT_EQ(info.subject.size(), kCertificates * std::size_t{8} - 1);
    EXPECT_TRUE(info.subject.starts_with("s000000;s000001;")) << info.subject.substr(0, 40);
    EXPECT_TRUE(info.subject.ends_with(";s199998;s199999"));
    EXPECT_TRUE(info.issuer.starts_with("i000000;i000001;"));
    EXPECT_EQ(info.thumbprint.size(), kCertificates * std::size_t{41} - 1);
}

TEST(SignerLimits, OneOfManyCertificatesIsFoundByItsSigner) {
    Bytes units = Repeated(Certificate(1, Name("Root"), Name("Root")), std::size_t{256} << 10);
    const Bytes leaf = Certificate(2, Name("Root"), Name("Leaf"));
    units.insert(units.end(), leaf.begin(), leaf.end());
    const Bytes nothing = Repeated({kNull, 0x00}, std::size_t{256} << 10);
    units.insert(units.end(), nothing.begin(), nothing.end());
    const Info info = Of(TableOf(units, Element(kSet, {SignerInfo(2, Name("Root"))})));
    EXPECT_EQ(info.code, 0);
    EXPECT_EQ(info.subject, "Leaf");
}

const Bytes kEmpty = Element(kNull, Bytes{});

Info OfCertificates(const std::vector<Bytes>& certificates) {
    return Of(pe::CertificateTable(SignedData(certificates, {})));
}

TEST(SignerLimits, ACertificateWithoutNamesCountsAsOneMoreCertificate) {
    const Bytes root = Certificate(1, Name("Root"), Name("Root"));
    // Alone it is given; beside another one it is not a leaf.
    EXPECT_EQ(OfCertificates({kEmpty}).thumbprint.size(), 40u);
    EXPECT_EQ(OfCertificates({kEmpty, kEmpty}).thumbprint, "");
    EXPECT_EQ(OfCertificates({kEmpty, kEmpty, kEmpty}).thumbprint, "");
    EXPECT_EQ(OfCertificates({root}).subject, "Root");
    EXPECT_EQ(OfCertificates({root, kEmpty}).subject, "");
    EXPECT_EQ(OfCertificates({kEmpty, root}).subject, "");
    EXPECT_EQ(OfCertificates({kEmpty, kEmpty, root, kEmpty, kEmpty}).thumbprint, "");
}

TEST(SignerLimits, ACertificateWithoutASubjectIsALeafUnlessOneHasNoIssuer) {
    const Bytes noSubject = Sequence({Sequence({kEmpty, kEmpty, kEmpty, Name("Root"), kEmpty, Sequence({})})});
    const Bytes noIssuer = Sequence({Sequence({kEmpty, kEmpty, kEmpty, Sequence({}), kEmpty, Name("Other")})});
    const Bytes leaf = Certificate(2, Name("Root"), Name("Leaf"));
    EXPECT_EQ(OfCertificates({leaf, noSubject}).subject, "Leaf;");
    EXPECT_EQ(OfCertificates({noSubject, leaf}).subject, ";Leaf");
    EXPECT_EQ(OfCertificates({leaf, noSubject, noIssuer}).subject, "Leaf;Other");
    EXPECT_EQ(OfCertificates({leaf, noSubject, kEmpty, leaf}).subject, "Leaf;Leaf");
    EXPECT_EQ(OfCertificates({kEmpty, leaf, noSubject}).subject, "Leaf");
    EXPECT_EQ(OfCertificates({leaf, noSubject, kEmpty}).subject, "Leaf");
}

TEST(SignerLimits, ACertificateThatASignerCanNameIsKeptWithoutNames) {
    const auto certificate = [](const Bytes& issuer, const Bytes& serial) {
        return Sequence({Sequence({kEmpty, Element(kInteger, serial), kEmpty, Element(kOctets, issuer)})});
    };
    const Bytes named = certificate({1}, {2});
    const Bytes signer = Sequence({kEmpty, Sequence({Element(kOctets, Bytes{1}), Element(kInteger, Bytes{2})})});
    const Info info = Of(pe::CertificateTable(SignedData(
        {kEmpty, certificate({1}, {}), certificate({}, {2}), certificate({2}, {1}), named, kEmpty}, {signer})));
    EXPECT_EQ(info.code, 0);
    EXPECT_EQ(info.thumbprint, Sha1Text(Sha1Of(named)));
}

constexpr char kCompany[] = "Tencent Technology (Shenzhen) Company Limited";

// Runs the check again and again while the first, the second, ... allocation of it fails, until none does.
void ForEachFault(auto&& check) {
    std::uint64_t allowed = 0;
    for (bool bHappened = true; bHappened; ++allowed) {
        ASSERT_LT(allowed, 10'000u);
        check(allowed, bHappened);
    }
    EXPECT_GT(allowed, 5u);
}

void ExpectARefusalWithoutMemory(const Bytes& file) {
    CMemorySource source(file);
    ForEachFault([&](std::uint64_t allowed, bool& bHappened) {
        const std::string earlier = "a text of before that needs memory of its own";
        Info info{99, earlier, earlier, earlier};
        {
            const CAllocationFault fault(allowed);
            info.code = GetSignInfo(source, info.subject, info.thumbprint, info.issuer);
            bHappened = fault.Happened();
        }
        EXPECT_EQ(info.code, bHappened ? -1 : 0) << allowed;
        EXPECT_EQ(info.subject.empty(), bHappened) << allowed;
        EXPECT_EQ(info.thumbprint.empty(), bHappened) << allowed;
        EXPECT_EQ(info.issuer.empty(), bHappened) << allowed;
    });
    ForEachFault([&](std::uint64_t allowed, bool& bHappened) {
        bool bTrusted = false;
        {
            const CAllocationFault fault(allowed);
            bTrusted = IsTrustedSigner(source);
            bHappened = fault.Happened();
        }
        EXPECT_EQ(bTrusted, !bHappened) << allowed;
    });
}

TEST(SignerLimits, WithoutMemoryAFileIsRefused) {
    const Bytes root = Certificate(1, Name("A root with a long name"), Name("A root with a long name"));
    const Bytes leaf = Certificate(2, Name("A root with a long name"), Name(kCompany));
    const Bytes signer = SignerInfo(2, Name("A root with a long name"));
    ExpectARefusalWithoutMemory(
        pe::Image(pe::kMachineX64, true, pe::CertificateTable(SignedData({root, leaf}, {signer}))));
    ExpectARefusalWithoutMemory(pe::Image(pe::kMachineX64, true, pe::CertificateTable(SignedData({root, leaf}, {}))));
    // Nested so deep that the walk needs more memory.
    Bytes nested = Element(kNull, Bytes{});
    for (int i = 0; i < 100; ++i) {
        nested = Element(kSequence, nested);
    }
    ExpectARefusalWithoutMemory(
        pe::Image(pe::kMachineX64, true, pe::CertificateTable(SignedData({root, nested, leaf}, {signer}))));
}

}  // namespace
