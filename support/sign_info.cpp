#include "support/sign_info.h"

#include <algorithm>
#include <string_view>

#include "support/sign_info_collecter.h"

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

bool IsLeaf(const SignInfoCollecter& collected, const std::string& subject) {
    const std::vector<std::string>& issuers = collected.IssuerNames();
    return std::search(subject.begin(), subject.end(), kTimeStampWord.begin(), kTimeStampWord.end(), SameLetters) ==
               subject.end() &&
           std::find(issuers.begin(), issuers.end(), subject) == issuers.end();
}

// Picks the certificates to hand out: kSignInfoFound or kSignInfoNoMatch.
std::int32_t Select(const SignInfoCollecter& collected, std::vector<std::size_t>& chosen) {
    const std::size_t count = collected.SubjectNames().size();
    if (!collected.SignerIssuer().empty() && !collected.SignerSerial().empty()) {
        for (std::size_t i = 0; i < count; ++i) {
            if (collected.IssuerBytes()[i] == collected.SignerIssuer() &&
                collected.Serials()[i] == collected.SignerSerial()) {
                chosen.push_back(i);
                return kSignInfoFound;
            }
        }
        return kSignInfoNoMatch;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (count == 1 || IsLeaf(collected, collected.SubjectNames()[i])) {
            chosen.push_back(i);
        }
    }
    return kSignInfoFound;
}

// Reads one table: 0 and the certificates to hand out, or a code. The collecter views the table.
std::int32_t ReadTable(std::span<const std::uint8_t> table, SignInfoCollecter& collected,
                       std::vector<std::size_t>& chosen) {
    if (table.size() <= kCertificateHeaderBytes) {
        return kSignInfoTableTooShort;
    }
    if (Little(table.subspan(4, 2)) != kRevision2 || Little(table.subspan(6, 2)) != kTypePkcsSignedData) {
        return kSignInfoWrongHeader;
    }
    // The length field counts the header too and is taken as it stands, so the walk may see up to eight bytes of what
    // follows the entry: padding, or the header of a second entry, which is not read.
    const std::span<const std::uint8_t> contents = table.subspan(kCertificateHeaderBytes);
    const std::size_t length = std::min<std::size_t>(Little(table.first(4)), contents.size());
    Asn1Parser(contents.first(length), &collected).Parse();
    return Select(collected, chosen);
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

}  // namespace

std::int32_t GetSignInfoOfTable(std::span<const std::uint8_t> table, std::string& subject, std::string& thumbprint,
                                std::string& issuer) {
    SignInfoCollecter collected;
    std::vector<std::size_t> chosen;
    const std::int32_t code = ReadTable(table, collected, chosen);
    subject = Joined(chosen, [&](std::size_t i) { return collected.SubjectNames()[i]; });
    thumbprint = Joined(chosen, [&](std::size_t i) { return collected.Thumbprint(i); });
    issuer = Joined(chosen, [&](std::size_t i) { return collected.IssuerNames()[i]; });
    return code;
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

// What GetSignInfo gives as subject, without the values that nobody asks for here.
bool IsTrustedSigner(IByteSource& file) {
    std::vector<std::uint8_t> table;
    if (!ReadCertificateTable(file, table)) {
        return false;
    }
    SignInfoCollecter collected;
    std::vector<std::size_t> chosen;
    if (ReadTable(table, collected, chosen) != kSignInfoFound) {
        return false;
    }
    const std::string subject = Joined(chosen, [&](std::size_t i) { return collected.SubjectNames()[i]; });
    return std::equal(subject.begin(), subject.end(), kTrustedSigner.begin(), kTrustedSigner.end(), SameLetters);
}
