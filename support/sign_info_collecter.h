// Collects certificates and signer from a walk through PKCS#7 SignedData (RFC 2315 section 9), for sign_info.cpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "support/der_walker.h"

// Recognises fields by nesting level and order alone, not by their tags: level 0 is ContentInfo, level 1 its type and
// content, level 2 the SignedData sequence, level 3 its fields, and so on. A SignedData with a CRL field is therefore
// not read properly behind it.
//
// Raw fields are views into the walked bytes, which must outlive the collecter.
class SignInfoCollecter : public IASN1ParserCallback {
  public:
    std::uint32_t OnElement(std::uint32_t depth, std::uint32_t tag, std::uint32_t length, const std::uint8_t* value,
                            std::uint32_t totalLength, const std::uint8_t* elementStart) override;

    // One entry a certificate, in file order, in all of these.
    const std::vector<std::string>& IssuerNames() const { return m_vecIssuerNames; }
    const std::vector<std::string>& SubjectNames() const { return m_vecSubjectNames; }
    const std::vector<std::string_view>& IssuerBytes() const { return m_vecIssuerBytes; }
    const std::vector<std::string_view>& Serials() const { return m_vecSerials; }

    // The thumbprint of a certificate, made when it is asked for: most are not.
    const std::string& Thumbprint(std::size_t certificate);

    // Raw issuer and serial number of the first SignerInfo; empty until it was met.
    std::string_view SignerIssuer() const { return m_strSignerIssuer; }
    std::string_view SignerSerial() const { return m_strSignerSerial; }

  private:
    std::uint32_t OnSignedDataField();
    std::uint32_t OnCertificateElement(std::uint32_t depth, std::uint32_t tag, std::span<const std::uint8_t> value,
                                       std::span<const std::uint8_t> element);
    void OnNameElement(std::uint32_t tag, std::span<const std::uint8_t> value);
    std::uint32_t OnSignerElement(std::uint32_t depth, std::span<const std::uint8_t> value);

    std::uint32_t m_nStage = 0;        // position in SignedData, 0 to 7
    std::uint32_t m_nField = 0;        // number of the field within the current TBSCertificate
    bool m_bNameOid = false;           // the next string belongs to a common name or organisational unit
    std::uint32_t m_nSignerStage = 0;  // position within the SignerInfo
    bool m_bSignerSeen = false;        // the first SignerInfo has begun
    std::vector<std::string> m_vecIssuerNames;
    std::vector<std::string> m_vecSubjectNames;
    std::vector<std::string> m_vecThumbprints;  // empty until asked for
    std::vector<std::string_view> m_vecIssuerBytes;
    std::vector<std::string_view> m_vecSerials;
    std::string_view m_strSignerIssuer;
    std::string_view m_strSignerSerial;
    std::vector<std::span<const std::uint8_t>> m_vecCertificates;  // whole, header included
};

// The text of a name's value by its string type, UTF-8; empty for a type that names do not use here.
std::string NameText(std::uint32_t tag, std::span<const std::uint8_t> value);
