#include "service/watcher_edge.h"

#include "ipc/transport/iocp_client.h"
#include "support/http/http_transfer.h"

void CWatcherEdge::RequestStop() {
    AcquireSRWLockExclusive(&m_lock);
    m_bStop.store(true);
    ReleaseSRWLockExclusive(&m_lock);
    WakeAllConditionVariable(&m_stopped);
}

bool CWatcherEdge::Wait(std::uint32_t nMilliseconds) {
    const ULONGLONG nStart = GetTickCount64();
    AcquireSRWLockExclusive(&m_lock);
    // A wait may end early for no reason; it is then repeated for the rest of the time.
    for (ULONGLONG nPassed = 0; !m_bStop.load() && nPassed < nMilliseconds; nPassed = GetTickCount64() - nStart) {
        SleepConditionVariableSRW(&m_stopped, &m_lock, static_cast<DWORD>(nMilliseconds - nPassed), 0);
    }
    ReleaseSRWLockExclusive(&m_lock);
    return !StopRequested();
}

bool CWatcherEdge::DoesNamedPipeExist(const std::wstring& strPipeName) {
    return ::DoesNamedPipeExist(strPipeName);
}

void CWatcherEdge::Fetch(const std::wstring& strUrl) {
    COvHttpTransfer transfer;
    transfer.SetRequest(strUrl.c_str(), &HttpResponseCallback, nullptr);
    transfer.Execute();
}
