#include "support/signer/sign_info.h"

#include <algorithm>
#include <new>
#include <string_view>

#include "support/signer/sign_info_collecter.h"

namespace {

constexpr std::string_view kTrustedSigner = "Tencent Technology (Shenzhen) Company Limited";
constexpr std::string_view kTimeStampWord = "time stamp";

// WIN_CERTIFICATE: 32-bit length, 16-bit revision, 16-bit type, contents.
constexpr std::size_t kCertificateHeaderBytes = 8;
constexpr std::uint32_t kRevision2 = 0x0200;      // WIN_CERT_REVISION_2_0
constexpr std::uint32_t kTypePkcsSignedData = 2;  // WIN_CERT_TYPE_PKCS_SIGNED_DATA

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool SameLetters(char a, char b) {
    return Lower(a) == Lower(b);
}

std::uint32_t Little(std::span<const std::uint8_t> bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = bytes.size(); i-- > 0;) {
        value = value << 8 | bytes[i];
    }
    return value;
}

bool IsOfTimeStamp(const std::string& subject) {
    return std::search(subject.begin(), subject.end(), kTimeStampWord.begin(), kTimeStampWord.end(), SameLetters) !=
           subject.end();
}

// The names that issued any certificate, sorted. Where one states no issuer, the empty name is among them.
std::vector<std::string> IssuerNames(const SignInfoCollecter& collected) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < collected.Kept(); ++i) {
        count += collected.HasIssuerName(i) ? 1 : 0;
    }
    std::vector<std::string> names;
    names.reserve(count + 1);
    for (std::size_t i = 0; i < collected.Kept(); ++i) {
        if (collected.HasIssuerName(i)) {
            names.push_back(collected.IssuerName(i));
        }
    }
    if (names.size() < collected.Certificates()) {
        names.emplace_back();
    }
    std::ranges::sort(names);
    return names;
}

// The certificates to hand out when no signer names one: the only one, or each leaf that is not a time stamp's. One
// that was not kept has no subject and no issuer, so it is its own issuer and no leaf.
void SelectLeaves(const SignInfoCollecter& collected, std::vector<std::size_t>& chosen) {
    if (collected.Certificates() == 1) {
        chosen.push_back(0);
        return;
    }
    const std::vector<std::string> issuers = IssuerNames(collected);
    for (std::size_t i = 0; i < collected.Kept(); ++i) {
        const std::string subject = collected.SubjectName(i);
        if (!IsOfTimeStamp(subject) && !std::ranges::binary_search(issuers, subject)) {
            chosen.push_back(i);
        }
    }
}

// Picks the certificates to hand out: kSignInfoFound or kSignInfoNoMatch.
std::int32_t Select(const SignInfoCollecter& collected, std::vector<std::size_t>& chosen) {
    if (collected.SignerIssuer().empty() || collected.SignerSerial().empty()) {
        SelectLeaves(collected, chosen);
        return kSignInfoFound;
    }
    for (std::size_t i = 0; i < collected.Kept(); ++i) {
        if (collected.IssuerBytes(i) == collected.SignerIssuer() && collected.Serial(i) == collected.SignerSerial()) {
            chosen.push_back(i);
            return kSignInfoFound;
        }
    }
    return kSignInfoNoMatch;
}

// What a table says: the collecter views the table.
struct Reading {
    explicit Reading(std::span<const std::uint8_t> contents) : collected(contents) {}

    std::int32_t code = kSignInfoFound;
    SignInfoCollecter collected;
    std::vector<std::size_t> chosen;  // certificates to hand out
};

Reading ReadTable(std::span<const std::uint8_t> table) {
    const auto failed = [](std::int32_t code) {
        Reading reading({});
        reading.code = code;
        return reading;
    };
    if (table.size() <= kCertificateHeaderBytes) {
        return failed(kSignInfoTableTooShort);
    }
    if (Little(table.subspan(4, 2)) != kRevision2 || Little(table.subspan(6, 2)) != kTypePkcsSignedData) {
        return failed(kSignInfoWrongHeader);
    }
    // The length field counts the header too and is taken unchanged, so the walk may see up to eight bytes of what
    // follows the entry: padding, or the header of a second entry, which is not read.
    const std::span<const std::uint8_t> rest = table.subspan(kCertificateHeaderBytes);
    const auto contents = rest.first(std::min<std::size_t>(Little(table.first(4)), rest.size()));
    Reading reading(contents);
    Asn1Parser(contents, &reading.collected).Parse();
    reading.code = Select(reading.collected, reading.chosen);
    return reading;
}

std::string Joined(const std::vector<std::size_t>& chosen, auto&& valueOf) {
    std::string text;
    for (std::size_t i = 0; i < chosen.size(); ++i) {
        if (i > 0) {
            text += ';';
        }
        text += valueOf(chosen[i]);
    }
    return text;
}

std::string SubjectOf(const Reading& reading) {
    return Joined(reading.chosen, [&](std::size_t i) { return reading.collected.SubjectName(i); });
}

}  // namespace

std::int32_t GetSignInfoOfTable(std::span<const std::uint8_t> table, std::string& subject, std::string& thumbprint,
                                std::string& issuer) {
    try {
        const Reading reading = ReadTable(table);
        subject = SubjectOf(reading);
        thumbprint = Joined(reading.chosen, [&](std::size_t i) { return reading.collected.Thumbprint(i); });
        issuer = Joined(reading.chosen, [&](std::size_t i) { return reading.collected.IssuerName(i); });
        return reading.code;
    } catch (const std::bad_alloc&) {
        subject.clear();
        thumbprint.clear();
        issuer.clear();
        return kSignInfoNoTable;
    }
}

std::int32_t GetSignInfo(IByteSource& file, std::string& subject, std::string& thumbprint, std::string& issuer) {
    subject.clear();
    thumbprint.clear();
    issuer.clear();
    std::vector<std::uint8_t> table;
    if (!ReadCertificateTable(file, table)) {
        return kSignInfoNoTable;
    }
    return GetSignInfoOfTable(table, subject, thumbprint, issuer);
}

// What GetSignInfo gives as subject, without the values that are not needed here.
bool IsTrustedSigner(IByteSource& file) {
    std::vector<std::uint8_t> table;
    if (!ReadCertificateTable(file, table)) {
        return false;
    }
    try {
        const Reading reading = ReadTable(table);
        const std::string subject = SubjectOf(reading);
        return reading.code == kSignInfoFound &&
               std::equal(subject.begin(), subject.end(), kTrustedSigner.begin(), kTrustedSigner.end(), SameLetters);
    } catch (const std::bad_alloc&) {
        return false;
    }
}
