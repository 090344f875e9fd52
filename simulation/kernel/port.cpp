#include "simulation/kernel/port.h"

#include "simulation/kernel/machine.h"

namespace simulation {
namespace {

constexpr ULONG_PTR kPending = 0x103;
constexpr ULONG_PTR kFailed = 0xC0070000;

}  // namespace

void CPort::LastHandleClosed() {
    HappensBefore(this);
    m_bClosed = true;
    if (m_bClosingWakes) {
        g_pScheduler->WakeAll(m_getters);
    }
}

void CPort::Post(const Packet& packet) {
    m_packets.push_back(packet);
    // Not of the port: two packets in it are no order.
    HappensBefore(&m_packets.back());
    g_pScheduler->WakeOne(m_getters);
}

CPort::Got CPort::Get(Packet& packet, Nanoseconds nDeadline) {
    const ObjectPointer pKept = shared_from_this();
    while (m_packets.empty()) {
        if (m_bClosed && m_bClosingWakes) {
            HappensAfter(this);
            return Got::Closed;
        }
        if (!g_pScheduler->Park({&m_getters}, nDeadline, "a completion port")) {
            return Got::Timeout;
        }
    }
    packet = m_packets.front();
    HappensAfter(&m_packets.front());
    if (packet.bOfFile) {
        HappensAfter(packet.pOverlapped);
    }
    m_packets.pop_front();
    return Got::Packet;
}

CIo::CIo(std::shared_ptr<CFile> pFile, OVERLAPPED* pOverlapped, void* pBuffer, DWORD nSize)
    : m_pFile(std::move(pFile)),
      m_pOverlapped(pOverlapped),
      m_pBuffer(static_cast<unsigned char*>(pBuffer)),
      m_nSize(nSize),
      m_nProcess(g_pScheduler->RunningProcess()),
      m_pPort(m_pFile->m_pPort),
      m_nKey(m_pFile->m_nKey) {
    // Whoever learns of the end comes after who starts it; whoever ends it does not.
    HappensBefore(m_pFile.get());
    m_pFile->m_bSignalled = false;
    if (m_pOverlapped != nullptr) {
        HappensBefore(m_pOverlapped);
        m_pOverlapped->Internal = kPending;
        m_pOverlapped->InternalHigh = 0;
        if (m_pOverlapped->hEvent != nullptr) {
            m_pEvent = g_pMachine->Process().FindAs<CEvent>(m_pOverlapped->hEvent);
            if (m_pEvent) {
                m_pEvent->Reset();
                HappensBefore(m_pEvent.get());
            }
        }
    }
}

void CIo::Complete(DWORD nError, DWORD nBytes) {
    // What another process has done is not shared.
    const CNoOrder noOrder(m_nProcess != g_pScheduler->RunningProcess());
    HappensBefore(this);
    m_bDone = true;
    m_nError = nError;
    m_nMoved = nBytes;
    if (m_pOverlapped != nullptr) {
        HappensBefore(m_pOverlapped);
        m_pOverlapped->InternalHigh = nBytes;
        m_pOverlapped->Internal = nError == 0 ? 0 : kFailed | nError;
        const bool bSkipped = m_bStarting && nError == ERROR_SUCCESS && m_pFile->m_bSkipsPackets;
        if (const std::shared_ptr<CPort> pPort = m_pPort.lock(); pPort && !bSkipped) {
            pPort->Post({nError, nBytes, m_nKey, m_pOverlapped, /*bOfFile=*/true});
        }
    }
    HappensBefore(m_pFile.get());
    m_pFile->m_bSignalled = true;
    m_pFile->Signal();
    if (m_pEvent) {
        m_pEvent->Set();
    }
    g_pScheduler->WakeAll(m_waiters);
}

BOOL CIo::Finish(DWORD* pBytes) {
    if (m_pOverlapped == nullptr) {
        while (!m_bDone) {
            g_pScheduler->Park({&m_waiters}, kNever, "a file operation");
        }
        HappensAfter(this);
    }
    if (pBytes != nullptr) {
        *pBytes = m_bDone && m_nError == 0 ? m_nMoved : 0;
    }
    if (!m_bDone) {
        SetLastError(ERROR_IO_PENDING);
        return FALSE;
    }
    if (m_nError != 0) {
        SetLastError(m_nError);
        return FALSE;
    }
    return TRUE;
}

}  // namespace simulation
