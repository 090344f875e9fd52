#include "support/signer/sign_info.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/signer/sha1.h"
#include "support/signer/sign_info_collecter.h"
#include "tests/unit/support/signer/der_builder.h"
#include "tests/unit/support/signer/pe_builder.h"

namespace {

using namespace der;

constexpr char kCompany[] = "Tencent Technology (Shenzhen) Company Limited";

struct Info {
    std::int32_t code;
    std::string subject;
    std::string thumbprint;
    std::string issuer;
};

Info OfTable(const Bytes& table) {
    Info info{99, "old", "old", "old"};
    info.code = GetSignInfoOfTable(table, info.subject, info.thumbprint, info.issuer);
    return info;
}

Info Of(const Bytes& contents) {
    return OfTable(pe::CertificateTable(contents));
}

std::string ThumbprintOf(const Bytes& certificate) {
    return Sha1Text(Sha1Of(certificate));
}

const Bytes kRoot = Certificate(1, Name("Root"), Name("Root"));
const Bytes kLeaf = Certificate(2, Name("Root"), Name("Leaf"));
const Bytes kOtherLeaf = Certificate(3, Name("Root"), Name("Other leaf"));
const Bytes kTimeStamp = Certificate(4, Name("Root"), Name("Some TIME Stamp service"));

TEST(SignInfo, ATableOfFewerThanNineBytesGivesMinus2) {
    const Bytes table = pe::CertificateTable({0x30, 0x00});
    for (std::size_t size = 0; size < 9; ++size) {
        EXPECT_EQ(OfTable(Bytes(table.begin(), table.begin() + static_cast<std::ptrdiff_t>(size))).code, -2) << size;
    }
    EXPECT_EQ(OfTable(Bytes(table.begin(), table.begin() + 9)).code, 0);
}

TEST(SignInfo, AnotherRevisionOrTypeGivesMinus3) {
    const Bytes contents = SignedData({kLeaf}, {});
    EXPECT_EQ(OfTable(pe::CertificateTable(contents, 0x0100)).code, -3);
    EXPECT_EQ(OfTable(pe::CertificateTable(contents, 0x0201)).code, -3);
    EXPECT_EQ(OfTable(pe::CertificateTable(contents, 0x0200, 1)).code, -3);
    EXPECT_EQ(OfTable(pe::CertificateTable(contents, 0x0200, 0x0102)).code, -3);
    EXPECT_EQ(OfTable(pe::CertificateTable(contents)).code, 0);
}

TEST(SignInfo, TheFirstSignerNamesTheCertificate) {
    const Info info = Of(SignedData({kRoot, kOtherLeaf, kLeaf, kTimeStamp}, {SignerInfo(2, Name("Root"))}));
    EXPECT_EQ(info.code, 0);
    EXPECT_EQ(info.subject, "Leaf");
    EXPECT_EQ(info.issuer, "Root");
    EXPECT_EQ(info.thumbprint, ThumbprintOf(kLeaf));
}

TEST(SignInfo, OfTwoSignersTheFirstCounts) {
    const Info info = Of(SignedData({kLeaf, kOtherLeaf}, {SignerInfo(3, Name("Root")), SignerInfo(2, Name("Root"))}));
    EXPECT_EQ(info.subject, "Other leaf");
}

TEST(SignInfo, ASignerThatBreaksOffIsNotCompletedByTheNextOne) {
    const Bytes version = Element(kInteger, Bytes{1});
    const Bytes cut = Sequence({version});
    const Bytes rest = Sequence({Sequence({Name("Root"), Serial(2)})});
    const Info info = Of(SignedData({kRoot, kLeaf, kOtherLeaf}, {cut, rest}));
    EXPECT_EQ(info.code, 0);
    EXPECT_EQ(info.subject, "Leaf;Other leaf") << "no signer: the leaves";
}

TEST(SignInfo, ASignerWithoutItsCertificateGivesMinus102AndEmptyTexts) {
    for (const Bytes& signer :
         {SignerInfo(9, Name("Root")), SignerInfo(2, Name("Another root")), SignerInfo(2, Name("root"))}) {
        const Info info = Of(SignedData({kRoot, kLeaf}, {signer}));
        EXPECT_EQ(info.code, -102);
        EXPECT_EQ(info.subject + info.thumbprint + info.issuer, "");
    }
    EXPECT_EQ(Of(SignedData({}, {SignerInfo(2, Name("Root"))})).code, -102);
}

TEST(SignInfo, OneCertificateWithoutSignerInfosIsHandedOutWhateverItIs) {
    for (const Bytes& certificate : {kLeaf, kRoot, kTimeStamp}) {
        const Info info = Of(SignedData({certificate}, {}));
        EXPECT_EQ(info.code, 0);
        EXPECT_EQ(info.thumbprint, ThumbprintOf(certificate));
    }
    EXPECT_EQ(Of(SignedData({kRoot}, {})).subject, "Root");
}

TEST(SignInfo, WithoutASignerTheLeavesThatAreNoTimeStampsAreJoined) {
    const Info info = Of(SignedData({kLeaf, kRoot, kTimeStamp, kOtherLeaf}, {}));
    EXPECT_EQ(info.code, 0);
    EXPECT_EQ(info.subject, "Leaf;Other leaf");
    EXPECT_EQ(info.issuer, "Root;Root");
    EXPECT_EQ(info.thumbprint, ThumbprintOf(kLeaf) + ";" + ThumbprintOf(kOtherLeaf));
}

TEST(SignInfo, WithoutASignerAndALeafTheResultIsZeroWithEmptyTexts) {
    for (const Bytes& contents : {SignedData({kRoot, kTimeStamp}, {}), SignedData({}, {})}) {
        const Info info = Of(contents);
        EXPECT_EQ(info.code, 0);
        EXPECT_EQ(info.subject + info.thumbprint + info.issuer, "");
    }
}

TEST(SignInfo, WhatIsNotSignedDataCollectsNothing) {
    Bytes contents = SignedData({kLeaf}, {SignerInfo(2, Name("Root"))});
    const Bytes oid = SignedDataOid();
    const auto at = std::search(contents.begin(), contents.end(), oid.begin(), oid.end());
    ASSERT_NE(at, contents.end());
    at[10] = 0x03;  // EnvelopedData
    const Info info = Of(contents);
    EXPECT_EQ(info.code, 0);
    EXPECT_EQ(info.subject + info.thumbprint + info.issuer, "");
}

TEST(SignInfo, AnOuterElementOf65536BytesStopsTheWalkAtOnce) {
    const Bytes padding = Element(kOctets, Bytes(65'000));
    const Bytes large = ContentInfo({FirstFields(), Element(kContext0, {kLeaf}), Element(kSet, Bytes{}), padding});
    ASSERT_LT(large.size(), 65'536u);
    EXPECT_EQ(Of(large).subject, "Leaf");
    const Bytes larger = ContentInfo(
        {FirstFields(), Element(kContext0, {kLeaf}), Element(kSet, Bytes{}), padding, Element(kOctets, Bytes(1000))});
    ASSERT_EQ(larger[1], 0x83);
    const Info info = Of(larger);
    EXPECT_EQ(info.code, 0);
    EXPECT_EQ(info.subject + info.thumbprint + info.issuer, "");
}

TEST(SignInfo, ACrlFieldHidesTheSigner) {
    // The field after the certificates is taken to be the signer infos.
    const Bytes crl = Element(kContext1, Sequence({Sequence({Element(kInteger, Bytes{1}), Name("Root")})}));
    const Bytes contents = ContentInfo(
        {FirstFields(), Element(kContext0, {kRoot, kLeaf}), crl, Element(kSet, {SignerInfo(2, Name("Root"))})});
    const Info info = Of(contents);
    EXPECT_EQ(info.code, 0);
    EXPECT_EQ(info.subject, "Leaf") << "through the fallback";
}

TEST(SignInfo, IndefiniteLengthsAreReadAlike) {
    const Bytes certificates = Join({kRoot, kLeaf});
    const Bytes signers = Element(kSet, {SignerInfo(2, Name("Root"))});
    const Bytes contents = Indefinite(
        kSequence,
        Join({SignedDataOid(),
              Indefinite(kContext0,
                         Indefinite(kSequence, Join({FirstFields(), Element(kContext0, certificates), signers})))}));
    const Info info = Of(contents);
    EXPECT_EQ(info.code, 0);
    EXPECT_EQ(info.subject, "Leaf");
    EXPECT_EQ(info.thumbprint, ThumbprintOf(kLeaf));
}

TEST(SignInfo, FurtherFieldsOfASignerAreNotEntered) {
    // What is broken inside of them is not seen, so that the fields after the signer infos are never reached.
    const Bytes broken = Sequence({Element(kSequence, Bytes{kOctets, 0x83})});
    const Bytes signer = Sequence({broken, Sequence({Name("Root"), Serial(2), broken}), broken, broken});
    EXPECT_EQ(Of(SignedData({kRoot, kLeaf, kOtherLeaf}, {signer})).subject, "Leaf");
    const Bytes contents = SignedData({kRoot, kLeaf}, {signer});
    SignInfoCollecter reader(contents);
    EXPECT_EQ(Asn1Parser(contents, &reader).Parse(), 0u);
    EXPECT_EQ(reader.SignerIssuer().size(), Name("Root").size() - 2);
    EXPECT_EQ(reader.SignerSerial(), std::string_view("\x01\x02", 2));
}

TEST(SignInfo, OnlyTheFirstEntryOfTheTableIsUsed) {
    Bytes table = pe::CertificateTable(SignedData({kLeaf}, {}));
    const Bytes second = pe::CertificateTable(SignedData({kOtherLeaf}, {}));
    table.insert(table.end(), second.begin(), second.end());
    EXPECT_EQ(OfTable(table).subject, "Leaf");
}

TEST(SignInfo, TheLengthFieldIsTakenUnchangedAndCutToTheTable) {
    const Bytes whole = pe::CertificateTable(SignedData({kLeaf}, {}));
    Bytes table = whole;
    for (const std::uint32_t length : {0xFFFFFFFFu, 0x80000000u, static_cast<std::uint32_t>(whole.size() - 8)}) {
        pe::Store(table, 0, length, 4);
        EXPECT_EQ(OfTable(table).subject, "Leaf") << length;
    }
    // One byte less than the contents: the outer element runs past its region, and nothing is collected.
    pe::Store(table, 0, whole.size() - 9, 4);
    EXPECT_EQ(OfTable(table).code, 0);
    EXPECT_EQ(OfTable(table).subject, "");
    pe::Store(table, 0, 0, 4);
    EXPECT_EQ(OfTable(table).code, 0);
    EXPECT_EQ(OfTable(table).subject, "");
}

TEST(SignInfo, WhatWasCollectedBeforeAFaultGoesOnToTheSelection) {
    Bytes signers = Element(kSet, {SignerInfo(2, Name("Root"))});
    signers[3] = 0x83;  // the length form of the first SignerInfo
    const Bytes contents = ContentInfo({FirstFields(), Element(kContext0, {kRoot, kLeaf}), signers});
    EXPECT_EQ(Of(contents).subject, "Leaf");
}

TEST(SignInfo, ThumbprintHasFortyLowerCaseDigits) {
    const Info info = Of(SignedData({kLeaf}, {}));
    EXPECT_EQ(info.thumbprint.size(), 40u);
    EXPECT_EQ(info.thumbprint.find_first_not_of("0123456789abcdef"), std::string::npos);
}

std::string SubjectOf(const Bytes& subject) {
    return Of(SignedData({Certificate(2, Name("Root"), subject)}, {SignerInfo(2, Name("Root"))})).subject;
}

TEST(SignInfoNames, TheLastCommonNameOrUnitWins) {
    EXPECT_EQ(SubjectOf(Sequence({NamePart(kOrganisation, kUtf8, OfText("Organisation")),
                                  NamePart(kOrganisationalUnit, kUtf8, OfText("Unit")),
                                  NamePart(kCommonName, kUtf8, OfText("Name"))})),
              "Name");
    EXPECT_EQ(SubjectOf(Sequence({NamePart(kCommonName, kUtf8, OfText("Name")),
                                  NamePart(kOrganisationalUnit, kUtf8, OfText("Unit"))})),
              "Unit");
    EXPECT_EQ(SubjectOf(Sequence({NamePart(kOrganisation, kUtf8, OfText("Organisation"))})), "");
}

TEST(SignInfoNames, AnEmptyTextOrAnotherStringTypeIsNotStored) {
    const Bytes unit = NamePart(kOrganisationalUnit, kUtf8, OfText("Unit"));
    EXPECT_EQ(SubjectOf(Sequence({unit, NamePart(kCommonName, kUtf8, {})})), "Unit");
    EXPECT_EQ(SubjectOf(Sequence({unit, NamePart(kCommonName, kIa5, OfText("Name"))})), "Unit");
    EXPECT_EQ(SubjectOf(Sequence({unit, NamePart(kCommonName, kIa5, OfText("Name")),
                                  NamePart(kOrganisation, kUtf8, OfText("Organisation"))})),
              "Unit")
        << "the value that was not stored used its type up";
}

TEST(SignInfoNames, StringTypesBecomeUtf8) {
    EXPECT_EQ(SubjectOf(Sequence({NamePart(kCommonName, kPrintable, OfText("Name"))})), "Name");
    EXPECT_EQ(SubjectOf(Sequence({NamePart(kCommonName, kT61, OfText("N\xE4me"))})), "N\xE4me") << "bytes as they are";
    EXPECT_EQ(SubjectOf(Sequence({NamePart(kCommonName, kUtf8, OfText("中文"))})), "中文");
    EXPECT_EQ(SubjectOf(Sequence({NamePart(kCommonName, kBmp, {0x00, 'A', 0x4E, 0x2D, 0x65, 0x87})})), "A中文");
}

TEST(SignInfoNames, BmpStringKeepsSurrogatePairsAndDropsAnOddByte) {
    EXPECT_EQ(NameText(30, Bytes{0xD8, 0x3D, 0xDE, 0x00, 0x00, 'x', 0x00}), "\xF0\x9F\x98\x80x");
    EXPECT_EQ(NameText(30, Bytes{0x00, 'a', 0x00, 0x00, 0x00, 'b'}), "a") << "text ends at its first NUL";
    EXPECT_EQ(NameText(30, Bytes{}), "");
    EXPECT_EQ(NameText(30, Bytes{0x41}), "");
}

TEST(SignInfoNames, ACertificateThatDoesNotStateItsVersionIsReadOneFieldOff) {
    // Fields are counted, not recognised: without the version the subject is field 5 and never read.
    const Bytes algorithm = Sequence({Element(kOid, Bytes{0x2A, 0x03})});
    const Bytes certificate =
        Sequence({Sequence({Serial(2), algorithm, Name("Root"), algorithm, Name("Leaf"), algorithm}), algorithm});
    const Info info = Of(SignedData({certificate}, {}));
    EXPECT_EQ(info.code, 0);
    EXPECT_EQ(info.subject, "");
    EXPECT_EQ(info.thumbprint, ThumbprintOf(certificate));
}

Bytes Signed(const std::string& subject, std::uint16_t machine = pe::kMachineX64) {
    const Bytes table = pe::CertificateTable(
        SignedData({kRoot, Certificate(2, Name("Root"), Name(subject))}, {SignerInfo(2, Name("Root"))}));
    return pe::Image(machine, machine == pe::kMachineX64, table);
}

bool IsTrusted(const Bytes& file) {
    CMemorySource source(file);
    return IsTrustedSigner(source);
}

TEST(IsTrustedSigner, ComparesTheWholeNameWithoutRegardToCase) {
    EXPECT_TRUE(IsTrusted(Signed(kCompany)));
    EXPECT_TRUE(IsTrusted(Signed(kCompany, pe::kMachineX86)));
    EXPECT_TRUE(IsTrusted(Signed("TENCENT technology (shenzhen) company LIMITED")));
    EXPECT_FALSE(IsTrusted(Signed(std::string(kCompany) + " ")));
    EXPECT_FALSE(IsTrusted(Signed(std::string(kCompany).substr(1))));
    EXPECT_FALSE(IsTrusted(Signed("Somebody else")));
    EXPECT_FALSE(IsTrusted(Signed("")));
}

TEST(IsTrustedSigner, RefusesWhatHasNoReadableTable) {
    EXPECT_FALSE(IsTrusted({}));
    Bytes file = Signed(kCompany);
    pe::Store(file, pe::kTableAt + 4, 0x0100, 2);
    EXPECT_FALSE(IsTrusted(file));
}

TEST(IsTrustedSigner, TheIssuersNameDoesNotCount) {
    const Bytes table = pe::CertificateTable(
        SignedData({Certificate(2, Name(kCompany), Name("Somebody else"))}, {SignerInfo(2, Name(kCompany))}));
    EXPECT_FALSE(IsTrusted(pe::Image(pe::kMachineX64, true, table)));
}

TEST(GetSignInfo, AFileWithoutATableGivesMinus1AndEmptyTexts) {
    Bytes file = Signed(kCompany);
    pe::Store(file, pe::DirectoryAt(true), 0, 4);
    CMemorySource source(file);
    std::string subject = "old";
    std::string thumbprint = "old";
    std::string issuer = "old";
    EXPECT_EQ(GetSignInfo(source, subject, thumbprint, issuer), -1);
    EXPECT_EQ(subject + thumbprint + issuer, "");
}

}  // namespace
