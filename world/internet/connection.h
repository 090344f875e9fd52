// One accepted connection, plain or with TLS on it. One thread at a time.
#pragma once

#include <winsock2.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "world/internet/tls_crypto.h"
#include "world/internet/tls_messages.h"

class CConnection {
  public:
    explicit CConnection(SOCKET socket);
    ~CConnection();
    CConnection(const CConnection&) = delete;
    CConnection& operator=(const CConnection&) = delete;

    // Adds what comes next to bytes. False at the end, on a failure, and when nothing comes for half a minute.
    bool Read(std::string& bytes);
    bool Write(std::string_view bytes);
    // Ends its own direction and waits for the end of the other one, so that the other side has everything.
    void Finish();

    // The server's side of a handshake, after which Read and Write go through TLS. An empty text, or where it failed.
    std::string BeginTls(CServerKey& key);

  private:
    bool ReadSome(std::string& bytes);
    bool WriteAll(std::string_view bytes);
    bool NextRecord(TlsRecord& record);
    bool NextMessage(TlsHandshake type, TlsMessage& message);
    bool WriteRecord(TlsContent type, std::string_view plain);

    const SOCKET m_socket;
    std::string m_strPending;    // records that are not yet whole
    std::string m_strHandshake;  // messages that are not yet whole

    // A direction counts its records and seals or opens each one.
    struct Direction {
        CAesGcm cipher;
        std::string strSalt;
        std::uint64_t nRecords = 0;
    };
    std::optional<Direction> m_in;
    std::optional<Direction> m_out;
};
