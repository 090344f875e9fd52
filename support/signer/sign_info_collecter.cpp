#include "support/signer/sign_info_collecter.h"

#include <algorithm>
#include <array>

#include "foundation/text_helpers.h"
#include "support/signer/sha1.h"

namespace {

// Position in SignedData: what the walk waits for.
constexpr std::uint32_t kStageContentType = 0;
constexpr std::uint32_t kStageVersion = 1;  // 2: digest algorithms, 3: encapsulated content
constexpr std::uint32_t kStageCertificates = 4;
constexpr std::uint32_t kStageInCertificates = 5;
constexpr std::uint32_t kStageInSigners = 6;  // above: nothing more

constexpr std::uint32_t kStopNotSignedData = kAsn1Stop | 0x1001;

// Fields of TBSCertificate, counted from 1, of a certificate that states its version.
constexpr std::uint32_t kFieldSerial = 2;
constexpr std::uint32_t kFieldIssuer = 4;
constexpr std::uint32_t kFieldSubject = 6;

constexpr std::uint32_t kTagOid = 6;
constexpr std::uint32_t kTagUtf8String = 12;
constexpr std::uint32_t kTagPrintableString = 19;
constexpr std::uint32_t kTagT61String = 20;
constexpr std::uint32_t kTagBmpString = 30;

constexpr std::array<std::uint8_t, 9> kSignedDataOid = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x07, 0x02};
constexpr std::array<std::uint8_t, 3> kOrganisationalUnitOid = {0x55, 0x04, 0x0B};
constexpr std::array<std::uint8_t, 3> kCommonNameOid = {0x55, 0x04, 0x03};

std::string_view AsText(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool IsOid(std::uint32_t tag, std::span<const std::uint8_t> value, std::span<const std::uint8_t> oid) {
    return tag == kTagOid && std::ranges::equal(value, oid);
}

std::wstring WideOfBigEndian(std::span<const std::uint8_t> bytes) {
    std::wstring text;
    text.reserve(bytes.size() / 2);
    for (; bytes.size() >= 2; bytes = bytes.subspan(2)) {
        const auto unit = static_cast<std::uint32_t>(bytes[0] << 8 | bytes[1]);
        if constexpr (sizeof(wchar_t) > 2) {
            // Where a wide character holds a whole code point, a pair of surrogates becomes one.
            const auto high = text.empty() ? 0u : static_cast<std::uint32_t>(text.back());
            if (unit >= 0xDC00 && unit < 0xE000 && high >= 0xD800 && high < 0xDC00) {
                text.back() = static_cast<wchar_t>(0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00));
                continue;
            }
        }
        text.push_back(static_cast<wchar_t>(unit));
    }
    return text;
}

}  // namespace

std::string NameText(std::uint32_t tag, std::span<const std::uint8_t> value) {
    switch (tag) {
        case kTagPrintableString:
        case kTagT61String:
        case kTagUtf8String:
            return std::string(AsText(value));
        case kTagBmpString:
            return Utf16ToUtf8(WideOfBigEndian(value));
        default:
            return {};
    }
}

std::string SignInfoCollecter::Thumbprint(std::size_t kept) const {
    return Sha1Text(Sha1Of(BytesAt(m_vecKept.at(kept).whole)));
}

SignInfoCollecter::Place SignInfoCollecter::PlaceOf(std::span<const std::uint8_t> bytes) const {
    return {static_cast<std::uint32_t>(bytes.data() - m_walked.data()), static_cast<std::uint32_t>(bytes.size())};
}

std::string_view SignInfoCollecter::TextAt(Place place) const {
    return AsText(BytesAt(place));
}

std::string SignInfoCollecter::NameOf(const Name& name) const {
    return NameText(name.tag, BytesAt({name.at, name.size}));
}

std::uint32_t SignInfoCollecter::OnElement(std::uint32_t depth, std::uint32_t tag, std::uint32_t length,
                                           const std::uint8_t* value, std::uint32_t totalLength,
                                           const std::uint8_t* elementStart) {
    if (m_nStage > kStageInSigners) {
        return kAsn1Stop;
    }
    const std::span<const std::uint8_t> contents(value, length);
    if (m_nStage == kStageContentType) {
        if (depth != 1) {
            return 0;
        }
        if (!IsOid(tag, contents, kSignedDataOid)) {
            return kStopNotSignedData;
        }
        m_nStage = kStageVersion;
        return 0;
    }
    if (depth == 3) {
        return OnSignedDataField();
    }
    if (m_nStage == kStageInCertificates) {
        return OnCertificateElement(depth, tag, contents, {elementStart, totalLength});
    }
    if (m_nStage == kStageInSigners) {
        return OnSignerElement(depth, contents);
    }
    return 0;
}

// One element of level 3: the fields in their order. Only certificates and signer infos are entered.
std::uint32_t SignInfoCollecter::OnSignedDataField() {
    switch (m_nStage++) {
        case kStageCertificates:
        case kStageInCertificates:
            return 0;
        case kStageInSigners:
            return kAsn1Stop;
        default:
            return kAsn1DoNotEnter;
    }
}

std::uint32_t SignInfoCollecter::OnCertificateElement(std::uint32_t depth, std::uint32_t tag,
                                                      std::span<const std::uint8_t> value,
                                                      std::span<const std::uint8_t> element) {
    if (depth == 4) {
        OnCertificate(element);
        return 0;
    }
    if (m_nCertificates == 0) {
        return 0;
    }
    Certificate& current = m_vecKept.back();
    if (depth == 6) {
        ++m_nField;
        if (m_nField == kFieldSerial) {
            current.serial = PlaceOf(value);
        } else if (m_nField == kFieldIssuer) {
            current.issuerBytes = PlaceOf(value);
        }
    } else if (depth == 9 && (m_nField == kFieldIssuer || m_nField == kFieldSubject)) {
        OnNameElement(tag, value);
    }
    return 0;
}

// A new certificate takes the place of the one before it where nothing of that one matters.
void SignInfoCollecter::OnCertificate(std::span<const std::uint8_t> element) {
    if (m_nCertificates > 1) {
        const Certificate& last = m_vecKept.back();
        const bool bNamed = last.issuerName.tag != 0 || last.subjectName.tag != 0;
        if (!bNamed && (last.issuerBytes.size == 0 || last.serial.size == 0)) {
            m_vecKept.pop_back();
        }
    }
    ++m_nCertificates;
    m_vecKept.emplace_back().whole = PlaceOf(element);
    m_nField = 0;
}

// The type or the value of one part of a name. The last common name or organisational unit wins: in the usual order
// that is the common name.
void SignInfoCollecter::OnNameElement(std::uint32_t tag, std::span<const std::uint8_t> value) {
    if (IsOid(tag, value, kOrganisationalUnitOid) || IsOid(tag, value, kCommonNameOid)) {
        m_bNameOid = true;
        return;
    }
    if (!m_bNameOid) {
        return;
    }
    m_bNameOid = false;
    if (NameText(tag, value).empty()) {
        return;
    }
    Certificate& current = m_vecKept.back();
    Name& name = m_nField == kFieldSubject ? current.subjectName : current.issuerName;
    name.at = PlaceOf(value).at;
    name.size = static_cast<std::uint16_t>(value.size());
    name.tag = static_cast<std::uint8_t>(tag);
}

std::uint32_t SignInfoCollecter::OnSignerElement(std::uint32_t depth, std::span<const std::uint8_t> value) {
    if (depth == 4) {
        if (m_bSignerSeen) {
            return kAsn1Stop;
        }
        m_bSignerSeen = true;
        return 0;
    }
    if (depth == 5) {
        if (m_nSignerStage == 0) {  // version
            m_nSignerStage = 1;
            return kAsn1DoNotEnter;
        }
        if (m_nSignerStage == 1) {  // issuer and serial number
            m_nSignerStage = 2;
            return 0;
        }
        return kAsn1DoNotEnter;
    }
    if (depth == 6) {
        if (m_nSignerStage == 2) {
            m_strSignerIssuer = AsText(value);
            m_nSignerStage = 3;
        } else if (m_nSignerStage == 3) {
            m_strSignerSerial = AsText(value);
            m_nSignerStage = 4;
        }
        return kAsn1DoNotEnter;
    }
    return 0;
}
