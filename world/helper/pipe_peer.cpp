#include "world/helper/pipe_peer.h"

#include "foundation/little_endian.h"
#include "foundation/overlapped_wait.h"
#include "ipc/transport/frame.h"

bool CPipePeer::Open(const std::wstring& name) {
    m_hPipe.reset(CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                              FILE_FLAG_OVERLAPPED, nullptr));
    m_dwError = m_hPipe ? ERROR_SUCCESS : GetLastError();
    m_bFailed = !m_hPipe;
    return m_hPipe.valid();
}

bool CPipePeer::Finish(OVERLAPPED& overlapped, BOOL started, std::uint32_t timeoutMs, DWORD& moved) {
    return FinishOverlapped(m_hPipe.get(), overlapped, started, timeoutMs, moved, m_hStop);
}

bool CPipePeer::Write(std::string_view bytes, std::uint32_t timeoutMs) {
    const CKernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    OVERLAPPED overlapped = {};
    overlapped.hEvent = event.get();
    DWORD moved = 0;
    const BOOL started = WriteFile(m_hPipe.get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &overlapped);
    const bool done = Finish(overlapped, started, timeoutMs, moved) && moved == bytes.size();
    if (!done) {
        // A write that was cut off may have been taken in part, whatever count the system gives for it, and what
        // followed would not begin at a frame.
        m_hPipe.reset();
    }
    return done;
}

std::string CPipePeer::Read(std::size_t count, std::uint32_t timeoutMs) {
    const CKernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::string bytes(count, '\0');
    std::size_t have = 0;
    m_bFailed = false;
    while (have < count && !m_bFailed) {
        OVERLAPPED overlapped = {};
        overlapped.hEvent = event.get();
        DWORD moved = 0;
        const BOOL started =
            ReadFile(m_hPipe.get(), bytes.data() + have, static_cast<DWORD>(count - have), nullptr, &overlapped);
        m_bFailed = !Finish(overlapped, started, timeoutMs, moved);
        m_dwError = m_bFailed ? GetLastError() : ERROR_SUCCESS;
        have += moved;
    }
    bytes.resize(have);
    return bytes;
}

std::string CPipePeer::ReadFrame(std::uint32_t timeoutMs) {
    const std::string header = Read(kFrameHeaderSize, timeoutMs);
    if (m_bFailed) {
        return {};
    }
    return Read(LittleEndian<std::uint32_t>(header.data() + 4), timeoutMs);
}

bool CPipePeer::WaitForEnd(std::uint32_t timeoutMs) {
    Read(1, timeoutMs);
    return m_bFailed && (m_dwError == ERROR_BROKEN_PIPE || m_dwError == ERROR_PIPE_NOT_CONNECTED);
}
