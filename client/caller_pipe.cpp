#include "client/caller_pipe.h"

#include <algorithm>
#include <utility>

#include "client/caller_security.h"
#include "client/gate_wait.h"
#include "client/reason.h"
#include "foundation/text_helpers.h"

namespace {

constexpr DWORD kPipeBufferBytes = 64 * 1024;

// Cancels what is pending on the block and waits until the system has let go of it. Returns the bytes that went
// through before.
DWORD CancelAndWait(HANDLE pipe, OVERLAPPED& overlapped) {
    DWORD moved = 0;
    CancelIoEx(pipe, &overlapped);
    GetOverlappedResult(pipe, &overlapped, &moved, /*bWait=*/TRUE);
    return moved;
}

}  // namespace

CCallerPipe::CCallerPipe(std::wstring strPipeName, std::wstring strGateName, ICallerPipeSink& sink)
    : m_strPipeName(std::move(strPipeName)), m_strGateName(std::move(strGateName)), m_sink(sink) {}

CallerResult CCallerPipe::Start(DWORD& systemError) {
    const auto failed = [&](CallerResult result, const std::wstring& name = {}) {
        systemError = GetLastError();
        SetReason(Utf16ToUtf8(name));
        m_hPipe.reset();
        m_hGate.reset();
        return result;
    };
    m_hStop.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_hDrop.reset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    m_hRead.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_hWrite.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!m_hStop || !m_hDrop || !m_hRead || !m_hWrite) {
        return failed(CallerResult::SystemError);
    }
    // The gate is made before the pipe: a helper that connects at once finds both.
    CCallerSecurity security;
    if (security.attributes() == nullptr) {
        return failed(CallerResult::SystemError);
    }
    m_hGate.reset(
        CreateEventW(security.attributes(), /*bManualReset=*/TRUE, /*bInitialState=*/TRUE, m_strGateName.c_str()));
    if (!m_hGate) {
        // The system gives the same number for a pipe that has a server. Here it means the gate of another user, which
        // this process may not open.
        return failed(GetLastError() == ERROR_ACCESS_DENIED ? CallerResult::AccessDenied : CallerResult::SystemError,
                      m_strGateName);
    }
    // With room for the requests: a write is then done without the helper, which may be waiting for the gate itself.
    m_hPipe.reset(CreateNamedPipeW(m_strPipeName.c_str(),
                                   PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
                                   PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS,
                                   /*nMaxInstances=*/1, kPipeBufferBytes, kPipeBufferBytes, 0, security.attributes()));
    if (!m_hPipe) {
        const DWORD error = GetLastError();
        const bool taken = error == ERROR_ACCESS_DENIED || error == ERROR_PIPE_BUSY;
        SetLastError(error);
        return failed(taken ? CallerResult::NameTaken : CallerResult::SystemError, m_strPipeName);
    }
    m_vecChunk.resize(kPipeBufferBytes);
    m_hThread.reset(CreateThread(nullptr, 0, ThreadEntry, this, 0, nullptr));
    if (!m_hThread) {
        return failed(CallerResult::SystemError);
    }
    systemError = ERROR_SUCCESS;
    return CallerResult::Ok;
}

void CCallerPipe::RequestStop() {
    if (m_hStop) {
        SetEvent(m_hStop.get());
    }
    m_turnSend.Close();
}

void CCallerPipe::Stop() {
    RequestStop();
    m_turnSend.CloseAndWait();
    if (m_hThread) {
        WaitForSingleObject(m_hThread.get(), INFINITE);
        m_hThread.reset();
    }
    m_hPipe.reset();
    m_hGate.reset();
}

DWORD CCallerPipe::ClientProcessId() const {
    ULONG id = 0;
    return GetNamedPipeClientProcessId(m_hPipe.get(), &id) != FALSE ? id : 0;
}

void CCallerPipe::Disconnect() {
    if (m_hDrop) {
        SetEvent(m_hDrop.get());
    }
}

DWORD WINAPI CCallerPipe::ThreadEntry(void* self) {
    static_cast<CCallerPipe*>(self)->Serve();
    return 0;
}

void CCallerPipe::Serve() {
    OVERLAPPED listening = {};
    Listening state = Listen(listening);
    while (Accept(listening, state)) {
        // A drop that was asked for before this connection is not meant for it.
        ResetEvent(m_hDrop.get());
        ++m_nConnection;
        m_bConnected = true;
        m_sink.OnConnected();
        ReadUntilLost();
        m_bConnected = false;
        if (Stopping()) {
            ClosePipe();
            m_sink.OnLost();
            return;
        }
        // Also drops what the other end has not read.
        DisconnectNamedPipe(m_hPipe.get());
        // Whoever is told of the loss may have the helper come back at once. A pipe that does not listen yet is busy to
        // it, and it tries once.
        state = Listen(listening);
        m_sink.OnLost();
    }
    if (Stopping()) {
        ClosePipe();
    }
}

bool CCallerPipe::Stopping() const {
    return WaitForSingleObject(m_hStop.get(), 0) == WAIT_OBJECT_0;
}

// The other end can read on what it was sent, which a disconnection would take from it.
void CCallerPipe::ClosePipe() {
    m_turnSend.CloseAndWait();
    m_hPipe.reset();
}

// Pending: Accept waits for what begins here, and the block is the system's until then.
CCallerPipe::Listening CCallerPipe::Listen(OVERLAPPED& listening) {
    while (!Stopping()) {
        listening = {};
        listening.hEvent = m_hRead.get();
        if (ConnectNamedPipe(m_hPipe.get(), &listening) != FALSE) {
            return Listening::Connected;
        }
        switch (GetLastError()) {
            case ERROR_PIPE_CONNECTED:  // the client was quicker than this call
                return Listening::Connected;
            case ERROR_NO_DATA:  // it came and went before this call
                DisconnectNamedPipe(m_hPipe.get());
                continue;
            case ERROR_IO_PENDING:
                return Listening::Pending;
            default:
                return Listening::Failed;
        }
    }
    return Listening::Failed;
}

// True when a client has connected, false when the pipe is to stop.
bool CCallerPipe::Accept(OVERLAPPED& listening, Listening state) {
    const HANDLE pipe = m_hPipe.get();
    for (; state == Listening::Pending; state = Listen(listening)) {
        const HANDLE handles[] = {m_hStop.get(), m_hRead.get()};
        if (WaitForMultipleObjects(2, handles, FALSE, INFINITE) != WAIT_OBJECT_0 + 1) {
            CancelAndWait(pipe, listening);
            return false;
        }
        DWORD unused = 0;
        if (GetOverlappedResult(pipe, &listening, &unused, FALSE) != FALSE) {
            return true;
        }
        DisconnectNamedPipe(pipe);
    }
    return state == Listening::Connected && !Stopping();
}

void CCallerPipe::ReadUntilLost() {
    const HANDLE pipe = m_hPipe.get();
    for (;;) {
        OVERLAPPED overlapped = {};
        overlapped.hEvent = m_hRead.get();
        if (ReadFile(pipe, m_vecChunk.data(), static_cast<DWORD>(m_vecChunk.size()), nullptr, &overlapped) == FALSE &&
            GetLastError() != ERROR_IO_PENDING) {
            return;
        }
        const HANDLE handles[] = {m_hStop.get(), m_hDrop.get(), m_hRead.get()};
        if (WaitForMultipleObjects(3, handles, FALSE, INFINITE) != WAIT_OBJECT_0 + 2) {
            CancelAndWait(pipe, overlapped);
            return;
        }
        DWORD size = 0;
        if (GetOverlappedResult(pipe, &overlapped, &size, FALSE) == FALSE) {
            return;
        }
        if (size > 0) {
            m_sink.OnBytes(m_vecChunk.data(), size);
        }
    }
}

CallerResult CCallerPipe::Send(std::string_view bytes, DWORD timeoutMs) {
    const CDeadline deadline(timeoutMs);
    const CTurnScope turn(m_turnSend, deadline);
    if (turn.Result() != CallerResult::Ok) {
        return turn.Result();
    }
    if (!m_bConnected) {
        return CallerResult::NotConnected;
    }
    // The stop ends the wait as well, and the write below is then the one that says so.
    const HANDLE handles[] = {m_hStop.get(), m_hGate.get()};
    const DWORD left = deadline.RemainingMs();
    if (WaitForMultipleObjects(2, handles, FALSE, std::min(kGateWaitMs, left)) == WAIT_TIMEOUT && left < kGateWaitMs) {
        return CallerResult::Timeout;
    }
    const std::uint64_t connection = m_nConnection;
    if (connection == m_nCutOff) {
        return CallerResult::Gone;
    }
    ResetEvent(m_hGate.get());
    OVERLAPPED overlapped = {};
    overlapped.hEvent = m_hWrite.get();
    const BOOL started = WriteFile(m_hPipe.get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &overlapped);
    const bool failed = started == FALSE && GetLastError() != ERROR_IO_PENDING;
    // The write has its place in the stream. The helper needs the gate for its reply while it reads, so nothing that
    // waits for the helper happens before this.
    SetEvent(m_hGate.get());
    if (failed) {
        return CallerResult::Gone;
    }
    const CallerResult result = Finish(overlapped, bytes.size(), deadline.RemainingMs());
    if (result == CallerResult::Timeout) {
        m_nCutOff = connection;
        Disconnect();
    }
    return result;
}

CallerResult CCallerPipe::Finish(OVERLAPPED& overlapped, std::size_t size, DWORD timeoutMs) {
    const HANDLE pipe = m_hPipe.get();
    DWORD written = 0;
    const HANDLE handles[] = {m_hStop.get(), m_hWrite.get()};
    const DWORD wait = WaitForMultipleObjects(2, handles, FALSE, timeoutMs);
    if (wait != WAIT_OBJECT_0 + 1) {
        // The count is of use only when the write was done after all: of one that was cut off the system may have taken
        // a part and say none.
        if (CancelAndWait(pipe, overlapped) == size) {
            return CallerResult::Ok;
        }
        return wait == WAIT_OBJECT_0 ? CallerResult::Closed : CallerResult::Timeout;
    }
    if (GetOverlappedResult(pipe, &overlapped, &written, FALSE) == FALSE || written != size) {
        return CallerResult::Gone;
    }
    return CallerResult::Ok;
}
