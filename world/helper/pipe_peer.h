// The other end of a pipe under test: opens it by name and transfers bytes unchanged, with a limit on every wait.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/handle.h"

// One thread may read while another one writes.
class CPipePeer {
  public:
    // One attempt. False with the system's error in LastError.
    bool Open(const std::wstring& name);
    void Close() { m_hPipe.reset(); }
    bool IsOpen() const { return m_hPipe.valid(); }
    // Every wait ends as a failure once this event is signalled. It outlives the peer.
    void StopOn(HANDLE event) { m_hStop = event; }

    // True when all bytes were taken in time. Otherwise the connection is over.
    bool Write(std::string_view bytes, std::uint32_t timeoutMs = 10000);
    // Reads exactly count bytes; what came before a failure is returned.
    std::string Read(std::size_t count, std::uint32_t timeoutMs = 10000);
    // Reads one frame and returns its payload; empty with Failed set when none came.
    std::string ReadFrame(std::uint32_t timeoutMs = 10000);
    // True when the other side has ended the connection within the time.
    bool WaitForEnd(std::uint32_t timeoutMs = 10000);

    // Of the last read, or of Open.
    bool Failed() const { return m_bFailed; }
    DWORD LastError() const { return m_dwError; }

  private:
    bool Finish(OVERLAPPED& overlapped, BOOL started, std::uint32_t timeoutMs, DWORD& moved);

    CFileHandle m_hPipe;
    HANDLE m_hStop = nullptr;  // borrowed
    bool m_bFailed = false;
    DWORD m_dwError = 0;
};
