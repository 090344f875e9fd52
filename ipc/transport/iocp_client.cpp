#include "ipc/transport/iocp_client.h"

#include "foundation/log.h"

std::shared_ptr<CIOCP_Client> CIOCP_Client::Create() {
    return std::shared_ptr<CIOCP_Client>(new CIOCP_Client);
}

int CIOCP_Client::CreateClientContext() {
    const std::shared_ptr<CClientContext> pContext = MakeContext();
    if (!pContext) {
        return 0;
    }
    pContext->OpenPipe(m_strPipe);
    if (!Gate() && !m_strEvent.empty()) {
        SetGate(OpenEventW(EVENT_ALL_ACCESS, /*bInheritHandle=*/FALSE, m_strEvent.c_str()));
    }
    if (pContext->HasPipe() && pContext->HasReadBuffer()) {
        SetContext(pContext);
        return 1;
    }
    if (pContext->HasPipe()) {
        NXL_LOG(L"[%s(%d)]pClientContext->GetReadIOBuffer()");
    } else {
        NXL_LOG(L"[%s(%d)]pClientContext->GetPipe()");
    }
    Forget(pContext.get());
    return 0;
}

bool CIOCP_Client::StartThread() {
    return LaunchWorker([pClient = shared_from_this()] { return WorkerThread(pClient); });
}

void CIOCP_Client::End() {
    // In this order: the worker looks at it after the wake-up call.
    m_bEnding.store(true);
    Stop();
}

int CIOCP_Client::PostRead() {
    const std::shared_ptr<CClientContext> pContext = Context();
    return pContext ? pContext->PostRead() : 0;
}

unsigned CIOCP_Client::WorkerThread(const std::shared_ptr<CIOCP_Client>& pClient) {
    if (!pClient) {
        return 0;
    }
    const CSharedPort hPort = pClient->Port();
    while (hPort && !pClient->m_bPortClosed.load() && !(pClient->m_bEnding.load() && !pClient->HasPendingIo())) {
        const Packet packet = pClient->NextPacket(hPort->get());
        if (packet.bGood) {
            // A packet that bears nothing is a wake-up call and does no more than that.
            if (packet.pContext != nullptr && packet.pBuffer != nullptr) {
                pClient->Process(packet.pBuffer, packet.pContext, packet.nBytes);
            }
            continue;
        }
        if (packet.pContext != nullptr && pClient->EndIfIdle(packet.pContext)) {
            return 0;
        }
        // Either something else is pending, and the connection is dead without a call of Lost, or the port is unusable.
        break;
    }
    if (hPort) {
        pClient->AbandonConnections(hPort->get());
    }
    return 0;
}

void CIOCP_Client::Process(CIOBuffer* pBuffer, CClientContext* pContext, DWORD nBytes) {
    if (Handle(pBuffer, pContext, nBytes) == 0) {
        m_pEnding = pContext;
    }
    // What is still pending may end well: a write that the server took before it left. That packet, too, must end the
    // connection, since no failure will come any more.
    if (pContext == m_pEnding) {
        EndIfIdle(pContext);
    }
}

bool CIOCP_Client::EndIfIdle(CClientContext* pContext) {
    if (!pContext->TryClose()) {
        return false;
    }
    m_pEnding = nullptr;
    Forget(pContext);
    if (m_pCallback) {
        m_pCallback->Lost();
    }
    return true;
}

bool DoesNamedPipeExist(const std::wstring& strName) {
    const CFileHandle hPipe(CreateFileW(strName.c_str(), GENERIC_READ | GENERIC_WRITE, /*dwShareMode=*/0, nullptr,
                                        OPEN_EXISTING, /*dwFlagsAndAttributes=*/0, nullptr));
    if (hPipe) {
        return true;
    }
    const DWORD dwError = GetLastError();
    NXL_LOG(L"[%s(%d)] DoesNamedPipeExist , dwError=%d", dwError);
    switch (dwError) {
        case ERROR_BUSY:
        case ERROR_PIPE_BUSY:
            return true;
        case ERROR_FILE_NOT_FOUND:
        case ERROR_ACCESS_DENIED:
        default:
            return false;
    }
}
