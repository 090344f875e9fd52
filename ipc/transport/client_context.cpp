#include "ipc/transport/client_context.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "foundation/log.h"
#include "ipc/transport/frame.h"

namespace {

// The result of starting an overlapped operation, taken before anything else can overwrite the error.
struct Started {
    BOOL bSuccess;
    DWORD nError;

    // A packet will come, at once or later.
    bool Pending() const { return bSuccess || nError == ERROR_IO_PENDING; }
};

}  // namespace

CClientContext::CClientContext(CSharedPort hPort) : m_hPort(std::move(hPort)) {}

CClientContext::~CClientContext() = default;

void CClientContext::Bind() {
    const bool bBound =
        m_hPort && CreateIoCompletionPort(m_hPipe.get(), m_hPort->get(), reinterpret_cast<ULONG_PTR>(this),
                                          /*NumberOfConcurrentThreads=*/0) != nullptr;
    if (!bBound) {
        // The completion of an operation on such a pipe would never be seen.
        m_hPipe.reset();
        return;
    }
    // Most replies are written at once. Without this each would cost the worker one more wait. Where it is refused,
    // packets come as ever.
    m_bSkipsPackets = SetFileCompletionNotificationModes(m_hPipe.get(), FILE_SKIP_COMPLETION_PORT_ON_SUCCESS) != FALSE;
    m_pReadBuffer.reset(new (std::nothrow) CIOReadBuffer);
}

void CClientContext::OpenPipe(const std::wstring& strPipe) {
    const CAutoLock lock(&m_lockPipe);
    m_hPipe.reset(CreateFileW(strPipe.c_str(), GENERIC_READ | GENERIC_WRITE, /*dwShareMode=*/0, nullptr, OPEN_EXISTING,
                              FILE_FLAG_OVERLAPPED, nullptr));
    if (!m_hPipe) {
        NXL_LOG(L"[%s(%d)]OpenPipe %d", GetLastError());
        return;
    }
    Bind();
}

void CClientContext::MakePipe(const std::wstring& strPipe) {
    const CAutoLock lock(&m_lockPipe);
    // Sizes of 0 let the system choose.
    m_hPipe.reset(CreateNamedPipeW(strPipe.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                   PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, PIPE_UNLIMITED_INSTANCES,
                                   /*nOutBufferSize=*/0, /*nInBufferSize=*/0, /*nDefaultTimeOut=*/0xFFFFFFFF, nullptr));
    if (!m_hPipe) {
        return;
    }
    Bind();
    m_pAcceptBuffer.reset(new (std::nothrow) CIOAcceptBuffer);
}

bool CClientContext::PostAccept() {
    m_nPendingIo.fetch_add(1);
    Started accept;
    {
        const CAutoLock lock(&m_lockPipe);
        accept.bSuccess = ConnectNamedPipe(m_hPipe.get(), m_pAcceptBuffer->Prepare(IO_ACCEPT));
        accept.nError = accept.bSuccess ? ERROR_SUCCESS : GetLastError();
    }
    switch (accept.nError) {
        case ERROR_SUCCESS:
        case ERROR_IO_PENDING:
            // A packet tells when the client is there, at once or later.
            return true;
        case ERROR_PIPE_CONNECTED:
            // A client came between the making of the pipe and this call. No packet will come for it, and it gets no
            // service: callers find the pipe closed. IocpServerTest.ClientBeforeTheAcceptGetsNoService holds it.
        case ERROR_NO_DATA:
            // As above, and that client has gone again.
        default:
            EndOperation();
            return false;
    }
}

int CClientContext::PostRead(Completion* pAtOnce) {
    if (!m_pReadBuffer) {
        return 0;
    }
    OVERLAPPED* const pOverlapped = m_pReadBuffer->Prepare(IO_READ);
    m_nPendingIo.fetch_add(1);
    Started read;
    DWORD nRead = 0;
    {
        const CAutoLock lock(&m_lockPipe);
        read.bSuccess = ReadFile(m_hPipe.get(), m_pReadBuffer->m_data, PIPE_READ_CHUNK, &nRead, pOverlapped);
        read.nError = GetLastError();
    }
    NXL_LOG(L"[%s(%d)]ReadFile bSuccess=%d, error=%d", read.bSuccess ? 1 : 0, read.nError);
    if (read.bSuccess && m_bSkipsPackets) {
        if (pAtOnce != nullptr) {
            *pAtOnce = {true, nRead};
            return 1;
        }
        // Another thread than the worker: the packet that the system left out.
        if (PostQueuedCompletionStatus(m_hPort->get(), nRead, reinterpret_cast<ULONG_PTR>(this), pOverlapped)) {
            return 1;
        }
    } else if (read.Pending()) {
        return 1;
    }
    EndOperation();
    return 0;
}

void CClientContext::PostWrite(const void* data, std::int32_t length) {
    constexpr std::int32_t kLongest = std::numeric_limits<std::int32_t>::max() - static_cast<int>(kFrameHeaderSize);
    if (length < 0 || length > kLongest) {
        return;
    }
    std::unique_ptr<CIOWriteBuffer> pBuffer(new (std::nothrow) CIOWriteBuffer);
    if (!pBuffer) {
        return;
    }
    const auto nLength = static_cast<std::uint32_t>(length);
    pBuffer->m_nTotal = nLength + static_cast<std::uint32_t>(kFrameHeaderSize);
    pBuffer->m_data = std::make_unique_for_overwrite<unsigned char[]>(pBuffer->m_nTotal);
    WriteFrameHeader(pBuffer->m_data.get(), PIPE_FRAME_MAGIC, nLength);
    std::memcpy(pBuffer->m_data.get() + kFrameHeaderSize, data, nLength);

    const CAutoLock lock(&m_lockWrite);
    if (m_bClosed) {
        return;
    }
    m_vecWriteBuffers.push_back(std::move(pBuffer));
    RequestWrites();
}

void CClientContext::RequestWrites() {
    if (m_bServing || m_bRequested) {
        return;
    }
    m_bRequested = true;
    m_nPendingIo.fetch_add(1);
    if (!PostQueuedCompletionStatus(m_hPort->get(), /*dwNumberOfBytesTransferred=*/0, reinterpret_cast<ULONG_PTR>(this),
                                    m_writeRequest.Prepare(IO_WRITE_REQUEST))) {
        m_bRequested = false;
        EndOperation();
    }
}

void CClientContext::BeginServing(IOType nOperation) {
    const CAutoLock lock(&m_lockWrite);
    m_bServing = true;
    if (nOperation == IO_WRITE_REQUEST) {
        m_bRequested = false;
    }
}

int CClientContext::StartQueuedWrites() {
    int nResult = 1;
    // What is queued from here on is left to a packet, so that a busy sender cannot keep the worker from its reads.
    std::size_t nToStart = 0;
    CIOWriteBuffer* pBuffer = nullptr;
    {
        const CAutoLock lock(&m_lockWrite);
        nToStart = m_vecWriteBuffers.size() - m_nStarted;
        if (nToStart == 0) {
            m_bServing = false;
            return 1;
        }
    }
    for (; nToStart > 0; --nToStart) {
        {
            const CAutoLock lock(&m_lockWrite);
            pBuffer = m_vecWriteBuffers[m_nStarted++].get();
        }
        if (OnWriteBuffer(pBuffer) == 0) {
            nResult = 0;
            // No completion will take it out.
            const CAutoLock lock(&m_lockWrite);
            m_vecWriteBuffers.erase(m_vecWriteBuffers.begin() + static_cast<std::ptrdiff_t>(--m_nStarted));
        }
    }
    const CAutoLock lock(&m_lockWrite);
    m_bServing = false;
    if (m_nStarted < m_vecWriteBuffers.size()) {
        RequestWrites();
    }
    return nResult;
}

int CClientContext::OnWriteBuffer(CIOWriteBuffer* pBuffer) {
    OVERLAPPED* const pOverlapped = pBuffer->Prepare(IO_WRITE_DONE);
    m_nPendingIo.fetch_add(1);
    Started write;
    DWORD nWritten = 0;
    {
        const CAutoLock lock(&m_lockPipe);
        write.bSuccess = WriteFile(m_hPipe.get(), pBuffer->m_data.get() + pBuffer->m_nWritten,
                                   pBuffer->m_nTotal - pBuffer->m_nWritten, &nWritten, pOverlapped);
        write.nError = GetLastError();
    }
    NXL_LOG(L"[%s(%d)]WriteFile bSuccess=%d, error=%d", write.bSuccess ? 1 : 0, write.nError);
    if (write.Pending() && !(write.bSuccess && m_bSkipsPackets)) {
        return 1;
    }
    EndOperation();
    if (!write.bSuccess) {
        return 0;
    }
    FinishWrite(pBuffer, nWritten);
    return 1;
}

void CClientContext::FinishWrite(CIOWriteBuffer* pBuffer, std::uint32_t nBytes) {
    // In 64 bits, so that the sum cannot wrap.
    pBuffer->m_nWritten = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(pBuffer->m_nTotal, std::uint64_t{pBuffer->m_nWritten} + nBytes));
    const CAutoLock lock(&m_lockWrite);
    pBuffer->m_bDone = true;
    // A pipe completes writes in the order of the queue, but one that was done at once is known before the packet of
    // the one before it was taken from the port.
    while (!m_vecWriteBuffers.empty() && m_vecWriteBuffers.front()->m_bDone) {
        m_vecWriteBuffers.pop_front();
        --m_nStarted;
    }
}

bool CClientContext::TryClose() {
    {
        const CAutoLock lock(&m_lockWrite);
        // Senders count what they post under this lock, so nothing can come in between.
        if (HasPendingIo()) {
            return false;
        }
        m_bClosed = true;
        m_vecWriteBuffers.clear();
        m_nStarted = 0;
    }
    ClosePipe();
    return true;
}

void CClientContext::Abandon() {
    {
        const CAutoLock lock(&m_lockWrite);
        m_bClosed = true;
    }
    ClosePipe();
}

void CClientContext::ClosePipe() {
    const CAutoLock lock(&m_lockPipe);
    m_hPipe.reset();
}

bool CClientContext::HasPipe() const {
    const CAutoLock lock(&m_lockPipe);
    return m_hPipe.valid();
}
