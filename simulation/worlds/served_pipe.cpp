#include "simulation/worlds/served_pipe.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "foundation/windows_headers.h"
#include "ipc/transport/frame.h"
#include "simulation/worlds/world.h"

namespace simulation {
namespace {

OVERLAPPED Begin(const CKernelHandle& event) {
    OVERLAPPED block = {};
    block.hEvent = event.get();
    return block;
}

}  // namespace

bool CServedPipe::Serve(const std::wstring& strName, std::uint32_t nQuota) {
    m_event.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_step();
    m_pipe.reset(CreateNamedPipeW(strName.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, PIPE_TYPE_BYTE, 1, nQuota,
                                  nQuota, 0, nullptr));
    return m_pipe.valid();
}

bool CServedPipe::Accept(std::uint32_t nWaitMs) {
    OVERLAPPED block = Begin(m_event);
    if (ConnectNamedPipe(m_pipe.get(), &block)) {
        return true;
    }
    const DWORD nError = GetLastError();
    return nError == ERROR_IO_PENDING ? Finished(block, nWaitMs).has_value() : nError == ERROR_PIPE_CONNECTED;
}

std::optional<std::uint32_t> CServedPipe::Finished(OVERLAPPED& block, std::uint32_t nWaitMs) {
    m_step();
    DWORD nMoved = 0;
    if (WaitForSingleObject(m_event.get(), nWaitMs) != WAIT_OBJECT_0) {
        m_bTimedOut = true;
        CancelIoEx(m_pipe.get(), &block);
        GetOverlappedResult(m_pipe.get(), &block, &nMoved, TRUE);
        return std::nullopt;
    }
    if (!GetOverlappedResult(m_pipe.get(), &block, &nMoved, FALSE)) {
        m_bOver = true;
        return std::nullopt;
    }
    return nMoved;
}

bool CServedPipe::Write(const std::string& strBytes, std::uint32_t nWaitMs) {
    for (std::size_t nAt = 0; nAt < strBytes.size();) {
        const std::uint64_t nMost = m_random.OneIn(m_sizes.nSmallOneIn) ? m_sizes.nSmall : 4096;
        const std::size_t nPart = std::min<std::size_t>(1 + m_random.Below(nMost), strBytes.size() - nAt);
        m_step();
        OVERLAPPED block = Begin(m_event);
        if (!WriteFile(m_pipe.get(), strBytes.data() + nAt, static_cast<DWORD>(nPart), nullptr, &block) &&
            (GetLastError() != ERROR_IO_PENDING || !Finished(block, nWaitMs))) {
            return false;
        }
        nAt += nPart;
    }
    return true;
}

bool CServedPipe::ReadSome(std::uint32_t nWaitMs) {
    m_step();
    OVERLAPPED block = Begin(m_event);
    std::vector<char> chunk(1 + m_random.Below(m_sizes.nMostRead));
    if (!ReadFile(m_pipe.get(), chunk.data(), static_cast<DWORD>(chunk.size()), nullptr, &block) &&
        GetLastError() != ERROR_IO_PENDING) {
        m_bOver = true;
        return false;
    }
    const std::optional<std::uint32_t> nRead = Finished(block, nWaitMs);
    if (nRead) {
        m_strReceived.append(chunk.data(), *nRead);
    }
    return nRead.has_value();
}

std::optional<std::string> CServedPipe::TakeFrame() {
    if (m_strReceived.size() < kFrameHeaderSize) {
        return std::nullopt;
    }
    std::uint32_t header[2];
    std::memcpy(header, m_strReceived.data(), sizeof header);
    Hold(header[0] == PIPE_FRAME_MAGIC, "a caller reads something else than a header");
    if (m_strReceived.size() - kFrameHeaderSize < header[1]) {
        return std::nullopt;
    }
    std::string strPayload = m_strReceived.substr(kFrameHeaderSize, header[1]);
    m_strReceived.erase(0, kFrameHeaderSize + header[1]);
    return strPayload;
}

}  // namespace simulation
