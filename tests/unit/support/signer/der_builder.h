// Builds DER and BER for tests: elements, and PKCS#7 SignedData of made-up certificates.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace der {

using Bytes = std::vector<std::uint8_t>;

inline Bytes Join(const std::vector<Bytes>& parts) {
    Bytes joined;
    for (const Bytes& part : parts) {
        joined.insert(joined.end(), part.begin(), part.end());
    }
    return joined;
}

inline Bytes OfText(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

inline Bytes Element(std::uint8_t tag, const Bytes& contents) {
    Bytes element = {tag};
    const std::size_t size = contents.size();
    const auto digit = [size](int shift) { return static_cast<std::uint8_t>(size >> shift); };
    if (size < 0x80) {
        element.push_back(digit(0));
    } else if (size < 0x100) {
        element.insert(element.end(), {0x81, digit(0)});
    } else if (size < 0x10000) {
        element.insert(element.end(), {0x82, digit(8), digit(0)});
    } else {
        element.insert(element.end(), {0x83, digit(16), digit(8), digit(0)});
    }
    element.insert(element.end(), contents.begin(), contents.end());
    return element;
}

inline Bytes Element(std::uint8_t tag, const std::vector<Bytes>& parts) {
    return Element(tag, Join(parts));
}

// A constructed element of indefinite length with its end.
inline Bytes Indefinite(std::uint8_t tag, const Bytes& contents) {
    return Join({{tag, 0x80}, contents, {0x00, 0x00}});
}

constexpr std::uint8_t kInteger = 0x02;
constexpr std::uint8_t kOctets = 0x04;
constexpr std::uint8_t kNull = 0x05;
constexpr std::uint8_t kOid = 0x06;
constexpr std::uint8_t kUtf8 = 0x0C;
constexpr std::uint8_t kPrintable = 0x13;
constexpr std::uint8_t kT61 = 0x14;
constexpr std::uint8_t kIa5 = 0x16;
constexpr std::uint8_t kBmp = 0x1E;
constexpr std::uint8_t kSequence = 0x30;
constexpr std::uint8_t kSet = 0x31;
constexpr std::uint8_t kContext0 = 0xA0;
constexpr std::uint8_t kContext1 = 0xA1;

constexpr std::uint8_t kCommonName = 0x03;
constexpr std::uint8_t kOrganisation = 0x0A;
constexpr std::uint8_t kOrganisationalUnit = 0x0B;

inline Bytes Sequence(const std::vector<Bytes>& parts) {
    return Element(kSequence, parts);
}

// One part of a name: its type 2.5.4.x and its value.
inline Bytes NamePart(std::uint8_t type, std::uint8_t tag, const Bytes& value) {
    return Element(kSet, Sequence({Element(kOid, Bytes{0x55, 0x04, type}), Element(tag, value)}));
}

// A name with a common name only.
inline Bytes Name(const std::string& commonName) {
    return Sequence({NamePart(kCommonName, kUtf8, OfText(commonName))});
}

inline Bytes Serial(std::uint8_t number) {
    return Element(kInteger, Bytes{0x01, number});
}

inline Bytes Certificate(std::uint8_t serial, const Bytes& issuer, const Bytes& subject) {
    const Bytes algorithm = Sequence({Element(kOid, Bytes{0x2A, 0x03}), Element(kNull, Bytes{})});
    const Bytes validity = Sequence({Element(0x17, OfText("240101000000Z")), Element(0x17, OfText("340101000000Z"))});
    const Bytes body = Sequence({Element(kContext0, Element(kInteger, Bytes{2})), Serial(serial), algorithm, issuer,
                                 validity, subject, Sequence({algorithm})});
    return Sequence({body, algorithm, Element(0x03, Bytes{0x00, 0xAA})});
}

inline Bytes SignerInfo(std::uint8_t serial, const Bytes& issuer) {
    const Bytes algorithm = Sequence({Element(kOid, Bytes{0x2A, 0x03})});
    return Sequence({Element(kInteger, Bytes{1}), Sequence({issuer, Serial(serial)}), algorithm,
                     Element(kContext0, Sequence({Element(kOid, Bytes{0x2A, 0x04})})), algorithm,
                     Element(kOctets, Bytes{0xAA, 0xBB})});
}

inline Bytes SignedDataOid() {
    return Element(kOid, Bytes{0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x07, 0x02});
}

// ContentInfo around the fields of SignedData.
inline Bytes ContentInfo(const std::vector<Bytes>& fields) {
    return Sequence({SignedDataOid(), Element(kContext0, Sequence(fields))});
}

// The first three fields of SignedData: version, digest algorithms, encapsulated content.
inline Bytes FirstFields() {
    return Join(
        {Element(kInteger, Bytes{1}), Element(kSet, Sequence({Element(kOid, Bytes{0x2A, 0x05})})),
         Sequence({Element(kOid, Bytes{0x2A, 0x06}), Element(kContext0, Sequence({Element(kNull, Bytes{})}))})});
}

inline Bytes SignedData(const std::vector<Bytes>& certificates, const std::vector<Bytes>& signers) {
    return ContentInfo({FirstFields(), Element(kContext0, certificates), Element(kSet, signers)});
}

}  // namespace der
