// The messages of a TLS 1.2 handshake with the one cipher suite of the stand-in servers, as bytes.
//
// There are no sessions, no other suites and no client certificates. The suite is one that Windows and Wine both offer;
// the secret comes under the server's RSA key.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

inline constexpr std::string_view kTlsVersion = "\x03\x03";  // 1.2
inline constexpr std::size_t kTlsRandomBytes = 32;
inline constexpr std::size_t kTlsMostRecordBytes = 16384 + 256;

enum class TlsContent : std::uint8_t { ChangeCipherSpec = 20, Alert = 21, Handshake = 22, Data = 23 };
enum class TlsHandshake : std::uint8_t {
    ClientHello = 1,
    ServerHello = 2,
    Certificate = 11,
    ServerHelloDone = 14,
    ClientKeyExchange = 16,
    Finished = 20,
};

enum class TlsCut { Whole, NeedsMore, Broken };

struct TlsRecord {
    TlsContent type = TlsContent::Alert;
    std::string strBytes;
};
// Takes the first record off pending.
TlsCut CutTlsRecord(std::string& pending, TlsRecord& record);

struct TlsMessage {
    TlsHandshake type = TlsHandshake::Finished;
    std::string strBody;
    std::string strWhole;  // with its header, as the hash of the handshake takes it
};
// Takes the first message off the joined contents of handshake records.
TlsCut CutTlsMessage(std::string& pending, TlsMessage& message);

struct TlsClientHello {
    std::string strRandom;
    bool bOffersSuite = false;          // TLS_RSA_WITH_AES_128_GCM_SHA256
    bool bSecureRenegotiation = false;  // wants to hear that the server knows of it
};
// False when it is not one, or of an older version.
bool ReadTlsClientHello(std::string_view body, TlsClientHello& hello);

std::string TlsRecordBytes(TlsContent type, std::string_view content);
std::string TlsMessageBytes(TlsHandshake type, std::string_view body);
// What the server sends after a ClientHello, three messages in one. certificate is DER.
std::string TlsServerFlight(const TlsClientHello& hello, std::string_view random, std::string_view certificate);
// The secret as the client sent it under the key; empty when the message does not hold one.
std::string_view TlsSealedSecret(std::string_view keyExchangeBody);

// A number of so many bytes, the highest first.
std::string BigEndian(std::uint64_t number, std::size_t bytes);
