#include "tests/support/raw_pipe.h"

#include <algorithm>

#include "foundation/little_endian.h"
#include "foundation/overlapped_wait.h"
#include "ipc/transport/frame.h"
#include "tests/support/unique_name.h"

namespace {

// One operation with an event of its own.
struct Operation {
    Operation() : event(CreateEventW(nullptr, /*bManualReset=*/TRUE, /*bInitialState=*/FALSE, nullptr)) {
        overlapped.hEvent = event.get();
    }
    CKernelHandle event;
    OVERLAPPED overlapped{};
};

}  // namespace

std::wstring UniquePipeName() {
    return L"\\\\.\\pipe\\" + UniqueName(L"NexletTest");
}

std::wstring UniqueEventName() {
    return L"Global\\" + UniqueName(L"NexletTest");
}

CRawPipe CRawPipe::Serve(const std::wstring& name, DWORD nMaxInstances) {
    CRawPipe pipe;
    pipe.m_hPipe.reset(CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                        PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, nMaxInstances,
                                        /*nOutBufferSize=*/0, /*nInBufferSize=*/0, /*nDefaultTimeOut=*/0, nullptr));
    return pipe;
}

CRawPipe CRawPipe::Open(const std::wstring& name) {
    CRawPipe pipe;
    pipe.m_hPipe.reset(CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, /*dwShareMode=*/0, nullptr,
                                   OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
    return pipe;
}

bool CRawPipe::Finish(BOOL bStarted, OVERLAPPED& overlapped, DWORD nWaitMs, DWORD& nBytes) {
    return FinishOverlapped(m_hPipe.get(), overlapped, bStarted, nWaitMs, nBytes);
}

bool CRawPipe::WaitForClient(DWORD nWaitMs) {
    Operation accept;
    const BOOL bStarted = ConnectNamedPipe(m_hPipe.get(), &accept.overlapped);
    if (!bStarted && GetLastError() == ERROR_PIPE_CONNECTED) {
        return true;
    }
    DWORD nBytes = 0;
    return Finish(bStarted, accept.overlapped, nWaitMs, nBytes);
}

bool CRawPipe::Write(std::string_view bytes, DWORD nWaitMs) {
    Operation write;
    DWORD nBytes = 0;
    const BOOL bStarted =
        WriteFile(m_hPipe.get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &write.overlapped);
    return Finish(bStarted, write.overlapped, nWaitMs, nBytes) && nBytes == bytes.size();
}

std::string CRawPipe::ReadSome(std::size_t nMax, DWORD nWaitMs) {
    std::string bytes(nMax, '\0');
    Operation read;
    DWORD nBytes = 0;
    const BOOL bStarted = ReadFile(m_hPipe.get(), bytes.data(), static_cast<DWORD>(nMax), nullptr, &read.overlapped);
    Finish(bStarted, read.overlapped, nWaitMs, nBytes);
    bytes.resize(nBytes);
    return bytes;
}

std::string CRawPipe::Read(std::size_t nCount, DWORD nWaitMs) {
    std::string bytes;
    while (bytes.size() < nCount) {
        const std::string piece = ReadSome(std::min<std::size_t>(nCount - bytes.size(), 1 << 20), nWaitMs);
        if (piece.empty()) {
            break;
        }
        bytes += piece;
    }
    return bytes;
}

std::optional<std::string> CRawPipe::ReadFrame(DWORD nWaitMs) {
    const std::string header = Read(kFrameHeaderSize, nWaitMs);
    if (header.size() < kFrameHeaderSize) {
        return std::nullopt;
    }
    const std::size_t nLength = LittleEndian<std::uint32_t>(header.data() + 4);
    if (header.substr(0, 4) != std::string("\x00\x02\x00\x00", 4)) {
        return std::nullopt;
    }
    std::string payload = Read(nLength, nWaitMs);
    return payload.size() == nLength ? std::optional(std::move(payload)) : std::nullopt;
}

bool CRawPipe::WaitForEnd(DWORD nWaitMs) {
    while (!ReadSome(4096, nWaitMs).empty()) {
    }
    // The last read ended with an error of the pipe, or was cancelled when its time was up.
    Operation read;
    char target = 0;
    DWORD nBytes = 0;
    const BOOL bStarted = ReadFile(m_hPipe.get(), &target, 1, nullptr, &read.overlapped);
    if (!bStarted && GetLastError() != ERROR_IO_PENDING) {
        return true;
    }
    Finish(bStarted, read.overlapped, 0, nBytes);
    return false;
}

std::string CRawPipe::Framed(std::string_view payload) {
    return BuildFrame(payload);
}
