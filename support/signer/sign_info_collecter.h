// Collects certificates and signer from a walk through PKCS#7 SignedData (RFC 2315 section 9), for sign_info.cpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <string_view>

#include "support/signer/der_walker.h"

// Recognises fields by nesting level and order alone, not by their tags: level 0 is ContentInfo, level 1 its type and
// content, level 2 the SignedData sequence, level 3 its fields, and so on. A SignedData with a CRL field is therefore
// not read properly after it.
//
// A certificate of a hostile file can have two bytes, so what is kept of one is small: places in the walked bytes, from
// which texts are made when they are asked for, and nothing at all of one that no selection can choose. The memory
// stays below four times the walked bytes, which must outlive the collecter. Allocation failures are thrown.
class SignInfoCollecter : public IASN1ParserCallback {
  public:
    // walked: the bytes that the parser will walk; not owned, less than 4 GiB.
    explicit SignInfoCollecter(std::span<const std::uint8_t> walked) : m_walked(walked) {}

    std::uint32_t OnElement(std::uint32_t depth, std::uint32_t tag, std::uint32_t length, const std::uint8_t* value,
                            std::uint32_t totalLength, const std::uint8_t* elementStart) override;

    // All certificates that were met.
    std::uint64_t Certificates() const { return m_nCertificates; }

    // How many of them are kept, in file order: the first, and each further one that has a name, or an issuer and a
    // serial number. What is not kept has neither names nor what a signer could name.
    std::size_t Kept() const { return m_vecKept.size(); }

    // Names of a kept certificate, UTF-8; empty when there is none.
    std::string IssuerName(std::size_t kept) const { return NameOf(m_vecKept.at(kept).issuerName); }
    std::string SubjectName(std::size_t kept) const { return NameOf(m_vecKept.at(kept).subjectName); }
    bool HasIssuerName(std::size_t kept) const { return m_vecKept.at(kept).issuerName.tag != 0; }

    // Raw contents of the fields of a kept certificate.
    std::string_view IssuerBytes(std::size_t kept) const { return TextAt(m_vecKept.at(kept).issuerBytes); }
    std::string_view Serial(std::size_t kept) const { return TextAt(m_vecKept.at(kept).serial); }

    // SHA-1 of a kept certificate, 40 lower-case digits.
    std::string Thumbprint(std::size_t kept) const;

    // Raw issuer and serial number of the first SignerInfo; empty until it was met.
    std::string_view SignerIssuer() const { return m_strSignerIssuer; }
    std::string_view SignerSerial() const { return m_strSignerSerial; }

  private:
    // A place in the walked bytes.
    struct Place {
        std::uint32_t at = 0;
        std::uint32_t size = 0;
    };
    // The value of a name. No string type has the tag 0: then there is no name.
    struct Name {
        std::uint32_t at = 0;
        std::uint16_t size = 0;  // the parser knows no longer element
        std::uint8_t tag = 0;
    };
    struct Certificate {
        Place whole;  // header included
        Place issuerBytes;
        Place serial;
        Name issuerName;
        Name subjectName;
    };

    std::uint32_t OnSignedDataField();
    std::uint32_t OnCertificateElement(std::uint32_t depth, std::uint32_t tag, std::span<const std::uint8_t> value,
                                       std::span<const std::uint8_t> element);
    void OnCertificate(std::span<const std::uint8_t> element);
    void OnNameElement(std::uint32_t tag, std::span<const std::uint8_t> value);
    std::uint32_t OnSignerElement(std::uint32_t depth, std::span<const std::uint8_t> value);

    Place PlaceOf(std::span<const std::uint8_t> bytes) const;
    std::span<const std::uint8_t> BytesAt(Place place) const { return m_walked.subspan(place.at, place.size); }
    std::string_view TextAt(Place place) const;
    std::string NameOf(const Name& name) const;

    std::span<const std::uint8_t> m_walked;
    std::uint32_t m_nStage = 0;        // position in SignedData, 0 to 7
    std::uint32_t m_nField = 0;        // number of the field within the current TBSCertificate
    bool m_bNameOid = false;           // the next string belongs to a common name or organisational unit
    std::uint32_t m_nSignerStage = 0;  // position within the SignerInfo
    bool m_bSignerSeen = false;        // the first SignerInfo has begun
    std::uint64_t m_nCertificates = 0;
    std::deque<Certificate> m_vecKept;  // the last one is the current one; a deque grows without a second copy
    std::string_view m_strSignerIssuer;
    std::string_view m_strSignerSerial;
};

// The text of a name's value by its string type, UTF-8; empty for a type that names do not use here.
std::string NameText(std::uint32_t tag, std::span<const std::uint8_t> value);
