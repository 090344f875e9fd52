#include "client/host_pipe.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "client/gate_wait.h"
#include "client/payload_sink.h"
#include "client/reason.h"
#include "foundation/overlapped_wait.h"
#include "foundation/text_helpers.h"
#include "ipc/protocol/envelope.h"
#include "ipc/transport/frame.h"
#include "ipc/transport/pipe_names.h"

namespace {

// A host that has lost its client makes a new pipe and only then begins to listen on it. A client that comes in between
// ends its listening for good, so attempts keep this distance from each other and from the end of a connection.
constexpr DWORD kRetryMs = 50;
constexpr DWORD kReadBytes = 16 * 1024;

// When a connection of this process ended last, as a tick count.
std::atomic<ULONGLONG> g_nLastClosedAt{0};

// What is left of timeoutMs since startedAt.
DWORD Remaining(ULONGLONG startedAt, std::uint32_t timeoutMs) {
    const ULONGLONG passed = GetTickCount64() - startedAt;
    return passed >= timeoutMs ? 0 : static_cast<DWORD>(timeoutMs - passed);
}

}  // namespace

CallerResult CHostPipe::Connect(const std::wstring& strMark, std::uint32_t timeoutMs, DWORD& systemError) {
    const ULONGLONG startedAt = GetTickCount64();
    const std::wstring pipeName = HostPipeName(strMark);
    Close();
    m_hIo.reset(CreateEventW(nullptr, /*bManualReset=*/TRUE, FALSE, nullptr));
    const ULONGLONG sinceLast = startedAt - g_nLastClosedAt;
    if (sinceLast < kRetryMs) {
        Sleep(static_cast<DWORD>(kRetryMs - sinceLast));
    }
    for (;;) {
        m_hPipe.reset(CreateFileW(pipeName.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_OVERLAPPED, nullptr));
        if (m_hPipe) {
            break;
        }
        systemError = GetLastError();
        const DWORD remaining = Remaining(startedAt, timeoutMs);
        const bool busy = systemError == ERROR_PIPE_BUSY;
        if (!busy && systemError != ERROR_FILE_NOT_FOUND) {
            SetReason(Utf16ToUtf8(pipeName));
            return systemError == ERROR_ACCESS_DENIED ? CallerResult::AccessDenied : CallerResult::SystemError;
        }
        if (remaining == 0) {
            return busy ? CallerResult::Timeout : CallerResult::NotConnected;
        }
        Sleep(std::min(remaining, kRetryMs));
    }
    // Without a gate the sends go ungated.
    m_hGate.reset(OpenEventW(EVENT_ALL_ACCESS, FALSE, HostEventName(strMark).c_str()));
    systemError = ERROR_SUCCESS;
    return CallerResult::Ok;
}

void CHostPipe::Close() {
    if (m_hPipe) {
        m_hPipe.reset();
        g_nLastClosedAt = GetTickCount64();
    }
    m_hGate.reset();
    m_cutter = CFrameCutter();
    m_payloads.clear();
}

DWORD CHostPipe::ServerProcessId() const {
    ULONG id = 0;
    return m_hPipe && GetNamedPipeServerProcessId(m_hPipe.get(), &id) != FALSE ? id : 0;
}

DWORD CHostPipe::ServerSessionId() const {
    ULONG id = kNoSession;
    return m_hPipe && GetNamedPipeServerSessionId(m_hPipe.get(), &id) != FALSE ? id : kNoSession;
}

CallerResult CHostPipe::Finish(OVERLAPPED& overlapped, BOOL started, std::uint32_t timeoutMs, DWORD& moved) {
    if (FinishOverlapped(m_hPipe.get(), overlapped, started, timeoutMs, moved)) {
        return CallerResult::Ok;
    }
    return GetLastError() == ERROR_OPERATION_ABORTED ? CallerResult::Timeout : CallerResult::Gone;
}

CallerResult CHostPipe::Send(int nType, Json::Value content, std::uint32_t timeoutMs) {
    return SendPayload(WriteEnvelope(nType, std::move(content)), timeoutMs);
}

CallerResult CHostPipe::SendPayload(std::string_view payload, std::uint32_t timeoutMs) {
    return SendBytes(BuildFrame(payload), timeoutMs);
}

CallerResult CHostPipe::SendBytes(std::string_view bytes, std::uint32_t timeoutMs) {
    if (!m_hPipe) {
        return CallerResult::NotConnected;
    }
    if (m_hGate) {
        WaitForSingleObject(m_hGate.get(), kGateWaitMs);
        ResetEvent(m_hGate.get());
    }
    OVERLAPPED overlapped = {};
    overlapped.hEvent = m_hIo.get();
    const BOOL started = WriteFile(m_hPipe.get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &overlapped);
    const DWORD error = started != FALSE ? ERROR_SUCCESS : GetLastError();
    if (m_hGate) {
        // The write has its place in the stream. The host needs the gate for its answers while it reads.
        SetEvent(m_hGate.get());
    }
    SetLastError(error);
    DWORD moved = 0;
    CallerResult result = Finish(overlapped, started, timeoutMs, moved);
    if (result == CallerResult::Ok && moved != bytes.size()) {
        result = CallerResult::Timeout;
    }
    if (result != CallerResult::Ok) {
        // A write that was cut off may have been taken in part, whatever count the system gives for it, and what
        // followed would not begin at a frame.
        Close();
    }
    return result;
}

CallerResult CHostPipe::WaitForPayload(std::uint32_t timeoutMs, std::string& payload) {
    const ULONGLONG startedAt = GetTickCount64();
    CPayloadSink sink([this](std::string one) { m_payloads.push_back(std::move(one)); });
    while (m_payloads.empty()) {
        if (!m_hPipe) {
            return CallerResult::NotConnected;
        }
        char chunk[kReadBytes];
        OVERLAPPED overlapped = {};
        overlapped.hEvent = m_hIo.get();
        DWORD moved = 0;
        const CallerResult result =
            Finish(overlapped, ReadFile(m_hPipe.get(), chunk, sizeof chunk, nullptr, &overlapped),
                   Remaining(startedAt, timeoutMs), moved);
        if (result != CallerResult::Ok) {
            return result;
        }
        m_cutter.Append(chunk, moved);
        m_cutter.DispatchFrames(&sink);
    }
    payload = std::move(m_payloads.front());
    m_payloads.pop_front();
    return CallerResult::Ok;
}
