#include "world/internet/connection.h"

#include <algorithm>

namespace {

constexpr DWORD kQuietMs = 30000;
constexpr std::size_t kMasterBytes = 48;
constexpr std::size_t kKeyBytes = 16;
constexpr std::size_t kSaltBytes = 4;
constexpr std::size_t kCountBytes = 8;
constexpr std::size_t kTagBytes = 16;
constexpr std::size_t kCheckBytes = 12;
constexpr std::size_t kMostPlainBytes = 16384;
constexpr std::string_view kCloseNotify("\x01\x00", 2);

std::string RecordNote(std::uint64_t number, TlsContent type, std::size_t plainBytes) {
    return BigEndian(number, kCountBytes) + static_cast<char>(type) + std::string(kTlsVersion) +
           BigEndian(plainBytes, 2);
}

}  // namespace

CConnection::CConnection(SOCKET socket) : m_socket(socket) {
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&kQuietMs), sizeof kQuietMs);
}

CConnection::~CConnection() {
    closesocket(m_socket);
}

bool CConnection::ReadSome(std::string& bytes) {
    char piece[8192];
    const int got = recv(m_socket, piece, sizeof piece, 0);
    if (got <= 0) {
        return false;
    }
    bytes.append(piece, static_cast<std::size_t>(got));
    return true;
}

bool CConnection::WriteAll(std::string_view bytes) {
    while (!bytes.empty()) {
        const int sent = send(m_socket, bytes.data(), static_cast<int>(bytes.size()), 0);
        if (sent <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

bool CConnection::NextRecord(TlsRecord& record) {
    for (;;) {
        const TlsCut cut = CutTlsRecord(m_strPending, record);
        if (cut == TlsCut::Broken || (cut == TlsCut::NeedsMore && !ReadSome(m_strPending))) {
            return false;
        }
        if (cut == TlsCut::NeedsMore) {
            continue;
        }
        if (!m_in) {
            return true;
        }
        if (record.strBytes.size() < kCountBytes + kTagBytes) {
            return false;
        }
        const std::string sealed = record.strBytes.substr(kCountBytes);
        const std::string note = RecordNote(m_in->nRecords++, record.type, sealed.size() - kTagBytes);
        return m_in->cipher.Open(m_in->strSalt + record.strBytes.substr(0, kCountBytes), note, sealed, record.strBytes);
    }
}

bool CConnection::NextMessage(TlsHandshake type, TlsMessage& message) {
    for (;;) {
        const TlsCut cut = CutTlsMessage(m_strHandshake, message);
        if (cut == TlsCut::Whole) {
            return message.type == type;
        }
        TlsRecord record;
        if (cut == TlsCut::Broken || !NextRecord(record) || record.type != TlsContent::Handshake) {
            return false;
        }
        m_strHandshake += record.strBytes;
    }
}

bool CConnection::Read(std::string& bytes) {
    if (!m_in) {
        return ReadSome(bytes);
    }
    TlsRecord record;
    if (!NextRecord(record) || record.type != TlsContent::Data) {
        return false;
    }
    bytes += record.strBytes;
    return true;
}

bool CConnection::Write(std::string_view bytes) {
    if (!m_out) {
        return WriteAll(bytes);
    }
    for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), kMostPlainBytes))) {
        if (!WriteRecord(TlsContent::Data, bytes.substr(0, kMostPlainBytes))) {
            return false;
        }
    }
    return true;
}

bool CConnection::WriteRecord(TlsContent type, std::string_view plain) {
    if (!m_out) {
        return false;
    }
    auto& out = *m_out;
    const std::string count = BigEndian(out.nRecords, kCountBytes);
    const std::string sealed =
        out.cipher.Seal(out.strSalt + count, RecordNote(out.nRecords, type, plain.size()), plain);
    ++out.nRecords;
    return !sealed.empty() && WriteAll(TlsRecordBytes(type, count + sealed));
}

void CConnection::Finish() {
    if (m_out) {
        WriteRecord(TlsContent::Alert, kCloseNotify);
    }
    shutdown(m_socket, SD_SEND);
    for (std::string rest; ReadSome(rest); rest.clear()) {
    }
}

std::string CConnection::BeginTls(CServerKey& key) {
    TlsMessage message;
    TlsClientHello hello;
    if (!NextMessage(TlsHandshake::ClientHello, message) || !ReadTlsClientHello(message.strBody, hello)) {
        return "no greeting of TLS 1.2 came";
    }
    if (!hello.bOffersSuite) {
        return "the client does not offer TLS_RSA_WITH_AES_128_GCM_SHA256";
    }
    std::string seen = message.strWhole;
    const std::string random = RandomBytes(kTlsRandomBytes);
    const std::string flight = TlsServerFlight(hello, random, key.Certificate());
    seen += flight;
    if (!WriteAll(TlsRecordBytes(TlsContent::Handshake, flight)) ||
        !NextMessage(TlsHandshake::ClientKeyExchange, message)) {
        return "the client went after it had seen the certificate";
    }
    seen += message.strWhole;
    // No care is taken to hide from a client whether its secret could be read: the key guards nothing.
    const std::string secret = key.Open(TlsSealedSecret(message.strBody));
    if (secret.size() != kMasterBytes) {
        return "the client's secret cannot be read";
    }
    const std::string master = TlsPrf(secret, "master secret", hello.strRandom + random, kMasterBytes);
    const std::string keys = TlsPrf(master, "key expansion", random + hello.strRandom, 2 * (kKeyBytes + kSaltBytes));
    TlsRecord record;
    if (!NextRecord(record) || record.type != TlsContent::ChangeCipherSpec) {
        return "the client did not take up the keys";
    }
    m_in.emplace(Direction{CAesGcm(keys.substr(0, kKeyBytes)), keys.substr(2 * kKeyBytes, kSaltBytes)});
    if (!NextMessage(TlsHandshake::Finished, message) ||
        message.strBody != TlsPrf(master, "client finished", Sha256(seen), kCheckBytes)) {
        return "the two sides have seen different handshakes";
    }
    seen += message.strWhole;
    const std::string finished =
        TlsMessageBytes(TlsHandshake::Finished, TlsPrf(master, "server finished", Sha256(seen), kCheckBytes));
    const bool changed = WriteAll(TlsRecordBytes(TlsContent::ChangeCipherSpec, std::string_view("\x01", 1)));
    m_out.emplace(Direction{CAesGcm(keys.substr(kKeyBytes, kKeyBytes)), keys.substr(2 * kKeyBytes + kSaltBytes)});
    return changed && WriteRecord(TlsContent::Handshake, finished) ? std::string() : "the client went at the end";
}
