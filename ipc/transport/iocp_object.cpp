#include "ipc/transport/iocp_object.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <new>
#include <utility>

#include "foundation/thread.h"

CIOCP_Object::CIOCP_Object() {
    CKernelHandle hPort(CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, /*CompletionKey=*/0,
                                               /*NumberOfConcurrentThreads=*/0));
    if (hPort) {
        m_hPort = std::make_shared<const CKernelHandle>(std::move(hPort));
    }
}

CIOCP_Object::~CIOCP_Object() {
    for (std::shared_ptr<CClientContext>& pContext : m_vecContexts) {
        pContext->Abandon();
        while (pContext->HasPendingIo()) {
            const Packet packet = WaitForPacket(pContext->Port()->get(), kWorkerWaitMs);
            if (!packet.bGood && packet.pBuffer == nullptr) {
                // The system does not give it back. Better lost than freed under the kernel.
                new (std::nothrow) std::shared_ptr<CClientContext>(pContext);
                break;
            }
        }
    }
}

void CIOCP_Object::SetNames(const std::wstring& strPipe, const std::wstring& strEvent) {
    m_strPipe = strPipe;
    m_strEvent = strEvent;
}

int CIOCP_Object::Send(const std::string& text) {
    const std::shared_ptr<const CKernelHandle> gate = Gate();
    if (gate) {
        CloseGate(gate->get());
    }
    const std::shared_ptr<CClientContext> pContext = Context();
    if (!pContext) {
        return 0;
    }
    pContext->PostWrite(text.c_str(), static_cast<std::int32_t>(std::strlen(text.c_str())));
    if (gate) {
        SetEvent(gate->get());
    }
    return 1;
}

void CIOCP_Object::Stop() {
    m_bStop.store(true);
    if (const std::shared_ptr<CClientContext> pContext = Context()) {
        pContext->ClosePipe();
    }
    if (const CSharedPort hPort = Port()) {
        PostQueuedCompletionStatus(hPort->get(), 0, 0, nullptr);
    }
}

void CIOCP_Object::WaitForThread(DWORD nWaitMs) {
    const bool bOnWorker = m_nThreadId.load() == GetCurrentThreadId();
    if (m_hThread && !bOnWorker && WaitForSingleObject(m_hThread.get(), nWaitMs) == WAIT_OBJECT_0) {
        m_hThread.reset();
    }
    ClosePort();
}

void CIOCP_Object::ClosePort() {
    m_bPortClosed.store(true);
    CSharedPort hPort;
    {
        const CAutoLock lock(&m_lockContext);
        hPort.swap(m_hPort);
    }
    if (hPort) {
        // A worker that waits on the port shares it and keeps it open: closing a port wakes its waiter on some systems
        // and leaves it asleep for ever on others.
        PostQueuedCompletionStatus(hPort->get(), 0, 0, nullptr);
    }
}

CIOCP_Object::Packet CIOCP_Object::WaitForPacket(HANDLE hPort, DWORD nWaitMs) {
    Packet packet;
    ULONG_PTR nKey = 0;
    OVERLAPPED* pOverlapped = nullptr;
    packet.bGood = GetQueuedCompletionStatus(hPort, &packet.nBytes, &nKey, &pOverlapped, nWaitMs) != FALSE;
    packet.pContext = reinterpret_cast<CClientContext*>(nKey);
    packet.pBuffer = pOverlapped != nullptr ? CIOBuffer::FromOverlapped(pOverlapped) : nullptr;
    if (packet.pContext != nullptr && packet.pBuffer != nullptr) {
        packet.pContext->EndOperation();
    }
    return packet;
}

CIOCP_Object::Packet CIOCP_Object::NextPacket(HANDLE hPort) {
    // So many before whatever else waits in the port has its turn.
    constexpr int kAtOnceInARow = 16;
    if (m_atOnce.pBuffer != nullptr) {
        const Packet packet = std::exchange(m_atOnce, {});
        if (++m_nAtOnceInARow < kAtOnceInARow ||
            !PostQueuedCompletionStatus(hPort, packet.nBytes, reinterpret_cast<ULONG_PTR>(packet.pContext),
                                        &packet.pBuffer->m_overlapped)) {
            packet.pContext->EndOperation();
            return packet;
        }
    }
    m_nAtOnceInARow = 0;
    return WaitForPacket(hPort);
}

std::shared_ptr<CClientContext> CIOCP_Object::MakeContext() {
    const CAutoLock lock(&m_lockContext);
    std::shared_ptr<CClientContext> pContext(new (std::nothrow) CClientContext(m_hPort));
    if (pContext) {
        m_vecContexts.push_back(pContext);
    }
    return pContext;
}

void CIOCP_Object::Forget(const CClientContext* pContext) {
    // Freed after the lock is released.
    std::shared_ptr<CClientContext> pFreed;
    const CAutoLock lock(&m_lockContext);
    if (m_pContext.get() == pContext) {
        m_pContext.reset();
    }
    for (auto it = m_vecContexts.begin(); it != m_vecContexts.end(); ++it) {
        if (it->get() == pContext) {
            pFreed.swap(*it);
            m_vecContexts.erase(it);
            break;
        }
    }
}

void CIOCP_Object::SetContext(const std::shared_ptr<CClientContext>& pContext) {
    const CAutoLock lock(&m_lockContext);
    m_pContext = pContext;
}

std::shared_ptr<CClientContext> CIOCP_Object::Context() const {
    const CAutoLock lock(&m_lockContext);
    return m_pContext;
}

std::shared_ptr<CClientContext> CIOCP_Object::Shared(const CClientContext* pContext) const {
    const CAutoLock lock(&m_lockContext);
    for (const std::shared_ptr<CClientContext>& pKept : m_vecContexts) {
        if (pKept.get() == pContext) {
            return pKept;
        }
    }
    return nullptr;
}

CSharedPort CIOCP_Object::Port() const {
    const CAutoLock lock(&m_lockContext);
    return m_hPort;
}

std::shared_ptr<const CKernelHandle> CIOCP_Object::Gate() const {
    const CAutoLock lock(&m_lockContext);
    return m_hEvent;
}

void CIOCP_Object::SetGate(HANDLE hEvent) {
    std::shared_ptr<const CKernelHandle> gate;
    if (hEvent != nullptr) {
        gate = std::make_shared<const CKernelHandle>(hEvent);
    }
    const CAutoLock lock(&m_lockContext);
    m_hEvent.swap(gate);
}

bool CIOCP_Object::HasPendingIo() const {
    const CAutoLock lock(&m_lockContext);
    return std::any_of(m_vecContexts.begin(), m_vecContexts.end(),
                       [](const std::shared_ptr<CClientContext>& pContext) { return pContext->HasPendingIo(); });
}

void CIOCP_Object::AbandonConnections(HANDLE hPort) {
    std::vector<std::shared_ptr<CClientContext>> vecContexts;
    {
        const CAutoLock lock(&m_lockContext);
        vecContexts = m_vecContexts;
    }
    for (const std::shared_ptr<CClientContext>& pContext : vecContexts) {
        pContext->Abandon();
    }
    for (const std::shared_ptr<CClientContext>& pContext : vecContexts) {
        while (pContext->HasPendingIo()) {
            const Packet packet = NextPacket(hPort);
            if (!packet.bGood && packet.pBuffer == nullptr) {
                return;  // the port gives nothing back; the contexts stay until the object is destroyed
            }
        }
    }
}

bool CIOCP_Object::LaunchWorker(std::function<unsigned()> work) {
    if (m_hThread) {
        return false;
    }
    m_hThread = LaunchThread([this, work = std::move(work)] {
        m_nThreadId.store(GetCurrentThreadId());
        const unsigned nResult = work();
        m_nThreadId.store(0);  // the number may be given to another thread
        return nResult;
    });
    return m_hThread.valid();
}

int CIOCP_Object::Handle(CIOBuffer* pBuffer, CClientContext* pContext, DWORD nBytes) {
    const IOType nOperation = pBuffer->m_nOperation;
    if (nOperation == IO_WRITE_DONE) {
        pContext->FinishWrite(static_cast<CIOWriteBuffer*>(pBuffer), nBytes);
        return 1;
    }
    int nResult = 1;
    Completion read;
    pContext->BeginServing(nOperation);
    switch (nOperation) {
        case IO_ACCEPT:
            SetContext(Shared(pContext));
            if (m_pCallback) {
                m_pCallback->Connected();
            }
            nResult = pContext->PostRead(&read);
            break;
        case IO_READ: {
            auto* pRead = static_cast<CIOReadBuffer*>(pBuffer);
            pRead->m_nBytesRead = nBytes;
            pContext->m_frames.Append(pRead->m_data, nBytes);
            pContext->m_frames.DispatchFrames(m_pCallback.get());
            nResult = pContext->PostRead(&read);
            break;
        }
        case IO_WRITE_REQUEST:
        case IO_WRITE_DONE:
        case IO_NONE:
            break;
    }
    if (read.bDone) {
        m_atOnce = {true, read.nBytes, pContext, pContext->m_pReadBuffer.get()};
    }
    if (pContext->StartQueuedWrites() == 0) {
        nResult = 0;
    }
    return nResult;
}
