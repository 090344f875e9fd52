#include "world/internet/tls_messages.h"

#include <algorithm>

namespace {

constexpr std::uint64_t kSuite = 0x009C;                // TLS_RSA_WITH_AES_128_GCM_SHA256
constexpr std::uint64_t kRenegotiationSignal = 0x00FF;  // a suite that is none
constexpr std::uint64_t kRenegotiationInfo = 0xFF01;    // the extension that says the same
constexpr std::size_t kRecordHead = 5;
constexpr std::size_t kMessageHead = 4;
constexpr std::size_t kMostMessageBytes = 65536;

std::uint64_t NumberOf(std::string_view bytes) {
    std::uint64_t number = 0;
    for (const char byte : bytes) {
        number = number << 8 | static_cast<unsigned char>(byte);
    }
    return number;
}

// Reads from the front; once something is missing everything is, and Good says so.
class CReader {
  public:
    explicit CReader(std::string_view left) : m_left(left) {}

    std::string_view Bytes(std::size_t count) {
        if (count > m_left.size()) {
            m_bGood = false;
            m_left = {};
            return {};
        }
        const std::string_view taken = m_left.substr(0, count);
        m_left.remove_prefix(count);
        return taken;
    }
    std::uint64_t Number(std::size_t count) { return NumberOf(Bytes(count)); }
    // What follows a length of so many bytes.
    std::string_view Counted(std::size_t lengthBytes) { return Bytes(static_cast<std::size_t>(Number(lengthBytes))); }
    bool Good() const { return m_bGood; }
    bool Empty() const { return m_left.empty(); }

  private:
    std::string_view m_left;
    bool m_bGood = true;
};

}  // namespace

std::string BigEndian(std::uint64_t number, std::size_t bytes) {
    std::string text(bytes, '\0');
    for (std::size_t i = bytes; i > 0; --i, number >>= 8) {
        text[i - 1] = static_cast<char>(number & 0xFF);
    }
    return text;
}

TlsCut CutTlsRecord(std::string& pending, TlsRecord& record) {
    if (pending.size() < kRecordHead) {
        return TlsCut::NeedsMore;
    }
    const auto type = static_cast<unsigned char>(pending[0]);
    const auto length = static_cast<std::size_t>(NumberOf(std::string_view(pending).substr(3, 2)));
    // The first record of a handshake may give an older version; all give the major one.
    if (type < 20 || type > 23 || pending[1] != 3 || length > kTlsMostRecordBytes) {
        return TlsCut::Broken;
    }
    if (pending.size() < kRecordHead + length) {
        return TlsCut::NeedsMore;
    }
    record.type = static_cast<TlsContent>(type);
    record.strBytes = pending.substr(kRecordHead, length);
    pending.erase(0, kRecordHead + length);
    return TlsCut::Whole;
}

TlsCut CutTlsMessage(std::string& pending, TlsMessage& message) {
    if (pending.size() < kMessageHead) {
        return TlsCut::NeedsMore;
    }
    const auto length = static_cast<std::size_t>(NumberOf(std::string_view(pending).substr(1, 3)));
    if (length > kMostMessageBytes) {
        return TlsCut::Broken;
    }
    if (pending.size() < kMessageHead + length) {
        return TlsCut::NeedsMore;
    }
    message.type = static_cast<TlsHandshake>(pending[0]);
    message.strWhole = pending.substr(0, kMessageHead + length);
    message.strBody = message.strWhole.substr(kMessageHead);
    pending.erase(0, kMessageHead + length);
    return TlsCut::Whole;
}

bool ReadTlsClientHello(std::string_view body, TlsClientHello& hello) {
    hello = {};
    CReader reader(body);
    const std::string_view version = reader.Bytes(2);
    hello.strRandom = reader.Bytes(kTlsRandomBytes);
    reader.Counted(1);  // a session to take up again: there is none
    for (CReader suites(reader.Counted(2)); !suites.Empty();) {
        const std::uint64_t suite = suites.Number(2);
        hello.bOffersSuite = hello.bOffersSuite || suite == kSuite;
        hello.bSecureRenegotiation = hello.bSecureRenegotiation || suite == kRenegotiationSignal;
    }
    reader.Counted(1);  // compressions
    if (!reader.Empty()) {
        for (CReader extensions(reader.Counted(2)); !extensions.Empty();) {
            const bool renegotiation = extensions.Number(2) == kRenegotiationInfo;
            extensions.Counted(2);
            hello.bSecureRenegotiation = hello.bSecureRenegotiation || renegotiation;
        }
    }
    return reader.Good() && version >= kTlsVersion;
}

std::string TlsRecordBytes(TlsContent type, std::string_view content) {
    return static_cast<char>(type) + std::string(kTlsVersion) + BigEndian(content.size(), 2) + std::string(content);
}

std::string TlsMessageBytes(TlsHandshake type, std::string_view body) {
    return static_cast<char>(type) + BigEndian(body.size(), 3) + std::string(body);
}

std::string TlsServerFlight(const TlsClientHello& hello, std::string_view random, std::string_view certificate) {
    std::string body = std::string(kTlsVersion) + std::string(random);
    body += '\0';  // no session
    body += BigEndian(kSuite, 2);
    body += '\0';  // no compression
    if (hello.bSecureRenegotiation) {
        body += BigEndian(5, 2) + BigEndian(kRenegotiationInfo, 2) + BigEndian(1, 2) + '\0';
    }
    const std::string one = BigEndian(certificate.size(), 3) + std::string(certificate);
    return TlsMessageBytes(TlsHandshake::ServerHello, body) +
           TlsMessageBytes(TlsHandshake::Certificate, BigEndian(one.size(), 3) + one) +
           TlsMessageBytes(TlsHandshake::ServerHelloDone, {});
}

std::string_view TlsSealedSecret(std::string_view keyExchangeBody) {
    CReader reader(keyExchangeBody);
    const std::string_view secret = reader.Counted(2);
    return reader.Good() && reader.Empty() ? secret : std::string_view();
}
