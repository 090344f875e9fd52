// The client end of the host's own pipe, through which a running helper takes command lines and requests.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include <json/value.h>

#include "client/caller_result.h"
#include "foundation/handle.h"
#include "ipc/transport/frame_cutter.h"

// What the host sends back for a command line it has taken over: one byte, no JSON.
inline constexpr std::string_view kHostAcknowledgement = "1";

// No session has this number.
inline constexpr DWORD kNoSession = 0xFFFFFFFF;

// One connection to the host of one mark. The host serves one connection at a time, so keep it short: while it is open
// a second start cannot forward. Not locked: one thread uses it.
class CHostPipe {
  public:
    CHostPipe() = default;
    ~CHostPipe() { Close(); }
    CHostPipe(const CHostPipe&) = delete;
    CHostPipe& operator=(const CHostPipe&) = delete;

    // Waits until the host listens and nobody else is connected. NotConnected when there is no host in time, Timeout
    // when it was busy all the time, AccessDenied when it is another user's. systemError holds the system's reason.
    CallerResult Connect(const std::wstring& strMark, std::uint32_t timeoutMs, DWORD& systemError);
    void Close();
    // The process that serves the pipe, 0 when the system does not tell.
    DWORD ServerProcessId() const;
    // The session of that process, kNoSession when the system does not tell.
    DWORD ServerSessionId() const;
    bool IsConnected() const { return m_hPipe.valid(); }

    // Sends one envelope, or one frame with this payload, or bytes as they stand, through the host's gate. Ok means
    // that the system has taken the bytes; after anything else the connection is over.
    CallerResult Send(int nType, Json::Value content, std::uint32_t timeoutMs);
    CallerResult SendPayload(std::string_view payload, std::uint32_t timeoutMs);
    CallerResult SendBytes(std::string_view bytes, std::uint32_t timeoutMs);

    // The next frame's payload. Gone when the host has closed the connection.
    CallerResult WaitForPayload(std::uint32_t timeoutMs, std::string& payload);

  private:
    // Runs one pending operation to its end, to the timeout, or to the end of the connection.
    CallerResult Finish(OVERLAPPED& overlapped, BOOL started, std::uint32_t timeoutMs, DWORD& moved);

    CFileHandle m_hPipe;
    CKernelHandle m_hGate;
    CKernelHandle m_hIo;
    CFrameCutter m_cutter;
    std::deque<std::string> m_payloads;
};
