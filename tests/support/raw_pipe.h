// Pipes without the product's code: what a caller's process or a second start does on the other end.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/handle.h"

// How long a test waits for what must come. Long: it is only reached when a test fails.
inline constexpr DWORD kTestWaitMs = 20000;

// Names that are not used elsewhere, in this or any other test process.
std::wstring UniquePipeName();
std::wstring UniqueEventName();

// One end of a byte pipe. Every wait is bounded. Used from one thread at a time; not moved while a read is pending,
// which it never is between calls.
class CRawPipe {
  public:
    // A server instance, listening when WaitForClient is called. Empty on failure, see valid.
    static CRawPipe Serve(const std::wstring& name, DWORD nMaxInstances = PIPE_UNLIMITED_INSTANCES);
    // A client; empty, with the reason in GetLastError, when there is no free instance.
    static CRawPipe Open(const std::wstring& name);

    bool valid() const { return m_hPipe.valid(); }
    HANDLE get() const { return m_hPipe.get(); }
    void Close() { m_hPipe.reset(); }

    // True when a client is connected, also when it came before the call.
    bool WaitForClient(DWORD nWaitMs = kTestWaitMs);
    // Writes all of bytes; false when the other end was closed or did not read them in time.
    bool Write(std::string_view bytes, DWORD nWaitMs = kTestWaitMs);
    // Up to nMax bytes, empty when the other end closed or nothing came in time.
    std::string ReadSome(std::size_t nMax, DWORD nWaitMs = kTestWaitMs);
    // Exactly nCount bytes, or fewer when no more came.
    std::string Read(std::size_t nCount, DWORD nWaitMs = kTestWaitMs);
    // The payload of the next frame, or nothing when none came whole.
    std::optional<std::string> ReadFrame(DWORD nWaitMs = kTestWaitMs);
    bool WriteFrame(std::string_view payload) { return Write(Framed(payload)); }
    // Reads until the other end has closed. False when it has not in time.
    bool WaitForEnd(DWORD nWaitMs = kTestWaitMs);

    static std::string Framed(std::string_view payload);

  private:
    // The result of an operation started on m_hPipe with m_overlapped; nothing is pending afterwards.
    bool Finish(BOOL bStarted, OVERLAPPED& overlapped, DWORD nWaitMs, DWORD& nBytes);

    CFileHandle m_hPipe;
};
