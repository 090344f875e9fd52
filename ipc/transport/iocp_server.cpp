#include "ipc/transport/iocp_server.h"

std::shared_ptr<CIOCP_Server> CIOCP_Server::Create() {
    return std::shared_ptr<CIOCP_Server>(new CIOCP_Server);
}

bool CIOCP_Server::StartThread() {
    return LaunchWorker([pServer = shared_from_this()] { return WorkerThread(pServer); });
}

void CIOCP_Server::CreateListener() {
    const std::shared_ptr<CClientContext> pContext = MakeContext();
    if (!pContext) {
        return;
    }
    pContext->MakePipe(m_strPipe);
    if (!m_strEvent.empty()) {
        // While a gate of this name is held anywhere this is the same event, in the state it is in. The old handle is
        // closed after the new one is made, so the event lives as long as the server does.
        SetGate(CreateEventW(nullptr, /*bManualReset=*/TRUE, /*bInitialState=*/TRUE, m_strEvent.c_str()));
    }
    if (pContext->HasPipe() && pContext->HasAcceptBuffer() && pContext->PostAccept()) {
        return;
    }
    Forget(pContext.get());
}

unsigned CIOCP_Server::WorkerThread(const std::shared_ptr<CIOCP_Server>& pServer) {
    if (!pServer) {
        return 0;
    }
    const CSharedPort hPort = pServer->Port();
    while (hPort && !pServer->m_bPortClosed.load()) {
        const Packet packet = pServer->NextPacket(hPort->get());
        if (packet.bGood) {
            if (packet.pContext != nullptr && packet.pBuffer != nullptr) {
                pServer->Process(packet.pBuffer, packet.pContext, packet.nBytes);
            }
            continue;
        }
        if (packet.pContext == nullptr) {
            break;  // the port is of no use
        }
        pServer->EndIfIdle(packet.pContext);
        if (pServer->m_bStop.load() && !pServer->HasContext()) {
            break;
        }
    }
    if (hPort) {
        pServer->AbandonConnections(hPort->get());
    }
    return 0;
}

void CIOCP_Server::Process(CIOBuffer* pBuffer, CClientContext* pContext, DWORD nBytes) {
    if (Handle(pBuffer, pContext, nBytes) == 0 || pContext == m_pEnding) {
        EndIfIdle(pContext);
    }
}

void CIOCP_Server::EndIfIdle(CClientContext* pContext) {
    if (!pContext->TryClose()) {
        // What is still pending may end well: a write that the client took before it left. That packet, too, must end
        // the connection, or the server never listens again.
        m_pEnding = pContext;
        return;
    }
    m_pEnding = nullptr;
    Forget(pContext);
    if (m_bStop.load()) {
        return;
    }
    // The listener first: when the sink hears of the loss, the next client can come.
    CreateListener();
    if (m_pCallback) {
        m_pCallback->Lost();
    }
}
