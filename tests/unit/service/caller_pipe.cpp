#include "tests/unit/service/caller_pipe.h"

#include <gtest/gtest.h>

namespace {

// Longer than anything here takes; only a failure waits for it.
constexpr DWORD kPatienceMs = 30000;

CKernelHandle ManualEvent(const wchar_t* name, bool signalled) {
    return CKernelHandle(CreateEventW(nullptr, /*bManualReset=*/TRUE, signalled, name));
}

}  // namespace

CCallerPipe::CCallerPipe(const std::wstring& strPipeName, const std::wstring& strEventName)
    : m_hConnected(ManualEvent(nullptr, false)), m_hDone(ManualEvent(nullptr, false)) {
    if (!strEventName.empty()) {
        m_hGate = ManualEvent(strEventName.c_str(), true);
    }
    m_hPipe.reset(CreateNamedPipeW(strPipeName.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                   PIPE_TYPE_BYTE | PIPE_WAIT, PIPE_UNLIMITED_INSTANCES, 0, 0, 0, nullptr));
    EXPECT_TRUE(m_hPipe.valid()) << "CreateNamedPipeW: " << GetLastError();
    m_connect.hEvent = m_hConnected.get();
    if (!ConnectNamedPipe(m_hPipe.get(), &m_connect)) {
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_IO_PENDING));
    }
}

CCallerPipe::~CCallerPipe() {
    Close();
}

bool CCallerPipe::WaitForClient() {
    return WaitForSingleObject(m_hConnected.get(), kPatienceMs) == WAIT_OBJECT_0;
}

bool CCallerPipe::HasClient() {
    return WaitForSingleObject(m_hConnected.get(), 0) == WAIT_OBJECT_0;
}

void CCallerPipe::Request(int nType, std::string_view content) {
    std::string payload("{\"content\":");
    payload.append(content).append(",\"message_type\":").append(std::to_string(nType)).append("}");
    const std::uint32_t header[] = {0x200, static_cast<std::uint32_t>(payload.size())};
    std::string frame(reinterpret_cast<const char*>(header), sizeof(header));
    frame += payload;
    OVERLAPPED overlapped{};
    overlapped.hEvent = m_hDone.get();
    std::uint32_t nBytes = 0;
    const BOOL bStarted =
        WriteFile(m_hPipe.get(), frame.data(), static_cast<DWORD>(frame.size()), nullptr, &overlapped);
    EXPECT_TRUE(Finish(overlapped, bStarted, nBytes)) << "WriteFile: " << GetLastError();
    EXPECT_EQ(nBytes, frame.size());
}

std::optional<std::string> CCallerPipe::Receive() {
    std::uint32_t header[2] = {};
    if (!Read(header, sizeof(header))) {
        return std::nullopt;
    }
    EXPECT_EQ(header[0], 0x200U);
    std::string payload(header[1], '\0');
    if (!Read(payload.data(), header[1])) {
        return std::nullopt;
    }
    return payload;
}

bool CCallerPipe::Read(void* data, std::uint32_t length) {
    auto* to = static_cast<char*>(data);
    while (length > 0) {
        OVERLAPPED overlapped{};
        overlapped.hEvent = m_hDone.get();
        std::uint32_t nBytes = 0;
        if (!Finish(overlapped, ReadFile(m_hPipe.get(), to, length, nullptr, &overlapped), nBytes) || nBytes == 0) {
            return false;
        }
        to += nBytes;
        length -= nBytes;
    }
    return true;
}

bool CCallerPipe::Finish(OVERLAPPED& overlapped, BOOL bStarted, std::uint32_t& nBytes) {
    if (!bStarted && GetLastError() != ERROR_IO_PENDING) {
        return false;
    }
    if (WaitForSingleObject(overlapped.hEvent, kPatienceMs) != WAIT_OBJECT_0) {
        ADD_FAILURE() << "nothing came over the pipe";
        CancelIoEx(m_hPipe.get(), &overlapped);
    }
    DWORD nDone = 0;
    const BOOL bDone = GetOverlappedResult(m_hPipe.get(), &overlapped, &nDone, /*bWait=*/TRUE);
    nBytes = nDone;
    return bDone != FALSE;
}

void CCallerPipe::Close() {
    if (!m_hPipe) {
        return;
    }
    CancelIoEx(m_hPipe.get(), nullptr);
    DWORD nBytes = 0;
    GetOverlappedResult(m_hPipe.get(), &m_connect, &nBytes, /*bWait=*/TRUE);
    m_hPipe.reset();
}
