// Files, named pipes, overlapped operations and completion ports.
#include <algorithm>

#include "simulation/system/call.h"

using namespace simulation;

namespace {

std::shared_ptr<CFile> FindFile(CCall& call, HANDLE hFile) {
    return call.Process().FindAs<CFile>(hFile);
}

std::shared_ptr<CPipeEnd> FindServer(CCall& call, HANDLE hPipe) {
    const auto pEnd = call.Process().FindAs<CPipeEnd>(hPipe);
    return pEnd && pEnd->m_side == CPipe::kServer ? pEnd : nullptr;
}

// The result of the call that has just started pIo.
BOOL Started(CCall& call, const IoPointer& pIo, LPDWORD pBytes) {
    pIo->m_bStarting = false;
    if (!pIo->m_bDone && pIo->m_nError != 0) {
        if (pBytes != nullptr) {
            *pBytes = 0;
        }
        return call.Fail(pIo->m_nError);
    }
    return pIo->Finish(pBytes);
}

HANDLE OpenFileOnDisk(CCall& call, const std::wstring& strName, DWORD dwDisposition) {
    CDisk& disk = call.Machine().m_disk;
    FileBytes pBytes = disk.Find(strName);
    const bool bExists = pBytes != nullptr;
    if (!bExists && !disk.HasParent(strName)) {
        call.Fail(ERROR_PATH_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    if (bExists ? dwDisposition == CREATE_NEW : dwDisposition == OPEN_EXISTING || dwDisposition == TRUNCATE_EXISTING) {
        call.Fail(bExists ? ERROR_FILE_EXISTS : ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    if (!bExists || dwDisposition == CREATE_ALWAYS || dwDisposition == TRUNCATE_EXISTING) {
        pBytes = disk.Make(strName);
    }
    const bool bTellsExisting = bExists && (dwDisposition == OPEN_ALWAYS || dwDisposition == CREATE_ALWAYS);
    call.Task().m_nLastError = bTellsExisting ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS;
    return call.Process().Open(std::make_shared<CDiskFile>(std::move(pBytes)));
}

}  // namespace

HANDLE CreateFileW(LPCWSTR szName, DWORD dwAccess, DWORD, LPSECURITY_ATTRIBUTES, DWORD dwDisposition, DWORD dwFlags,
                   HANDLE) {
    CCall call("CreateFileW");
    call.Note(szName);
    if (!CPipeNames::IsPipeName(szName)) {
        if (call.Fault({ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_NO_SYSTEM_RESOURCES}) != 0) {
            return INVALID_HANDLE_VALUE;
        }
        return OpenFileOnDisk(call, szName, dwDisposition);
    }
    if (call.Fault({ERROR_ACCESS_DENIED, ERROR_PIPE_BUSY, ERROR_NO_SYSTEM_RESOURCES}) != 0) {
        return INVALID_HANDLE_VALUE;
    }
    DWORD nError = ERROR_SUCCESS;
    const std::shared_ptr<CPipeEnd> pEnd =
        call.Machine().m_pipes.Open(szName, dwAccess, (dwFlags & FILE_FLAG_OVERLAPPED) != 0, nError);
    if (!pEnd) {
        call.Fail(nError);
        return INVALID_HANDLE_VALUE;
    }
    pEnd->m_pPipe->m_nClientProcess = call.Process().m_nId;
    return call.Process().Open(pEnd);
}

BOOL ReadFile(HANDLE hFile, LPVOID pBuffer, DWORD nBytes, LPDWORD pRead, LPOVERLAPPED pOverlapped) {
    CCall call("ReadFile", Number(hFile), nBytes);
    const std::shared_ptr<CFile> pFile = FindFile(call, hFile);
    if (!pFile) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (pFile->m_bOverlapped && pOverlapped == nullptr) {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    if (call.Fault({ERROR_NO_SYSTEM_RESOURCES, ERROR_NOT_ENOUGH_MEMORY}) != 0) {
        return FALSE;
    }
    const auto pIo = std::make_shared<CIo>(pFile, pFile->m_bOverlapped ? pOverlapped : nullptr, pBuffer, nBytes);
    pFile->Read(pIo);
    return Started(call, pIo, pRead);
}

BOOL WriteFile(HANDLE hFile, LPCVOID pBuffer, DWORD nBytes, LPDWORD pWritten, LPOVERLAPPED pOverlapped) {
    CCall call("WriteFile", Number(hFile), nBytes);
    const std::shared_ptr<CFile> pFile = FindFile(call, hFile);
    if (!pFile) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (pFile->m_bOverlapped && pOverlapped == nullptr) {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    if (call.Fault({ERROR_NO_SYSTEM_RESOURCES, ERROR_NOT_ENOUGH_MEMORY}) != 0) {
        return FALSE;
    }
    // Only read from.
    const auto pIo =
        std::make_shared<CIo>(pFile, pFile->m_bOverlapped ? pOverlapped : nullptr, const_cast<void*>(pBuffer), nBytes);
    pFile->Write(pIo);
    return Started(call, pIo, pWritten);
}

DWORD SetFilePointer(HANDLE hFile, LONG nDistance, LONG*, DWORD dwMethod) {
    CCall call("SetFilePointer", Number(hFile));
    const auto pFile = call.Process().FindAs<CDiskFile>(hFile);
    if (!pFile) {
        call.Fail(ERROR_INVALID_HANDLE);
        return 0xFFFFFFFF;
    }
    const std::size_t nFrom = dwMethod == FILE_END       ? pFile->m_pBytes->size()
                              : dwMethod == FILE_CURRENT ? pFile->m_nPosition
                                                         : 0;
    pFile->m_nPosition = nFrom + static_cast<std::size_t>(nDistance);
    return static_cast<DWORD>(pFile->m_nPosition);
}

BOOL CreateDirectoryW(LPCWSTR szName, LPSECURITY_ATTRIBUTES) {
    CCall call("CreateDirectoryW");
    call.Note(szName);
    CDisk& disk = call.Machine().m_disk;
    if (disk.HasFolder(szName)) {
        return call.Fail(ERROR_ALREADY_EXISTS);
    }
    if (!disk.HasParent(szName)) {
        return call.Fail(ERROR_PATH_NOT_FOUND);
    }
    disk.AddFolder(szName);
    return TRUE;
}

BOOL GetOverlappedResult(HANDLE hFile, LPOVERLAPPED pOverlapped, LPDWORD pBytes, BOOL bWait) {
    CCall call("GetOverlappedResult", Number(hFile), Number(pOverlapped));
    constexpr ULONG_PTR kPending = 0x103;
    while (pOverlapped->Internal == kPending) {
        if (bWait == FALSE) {
            return call.Fail(ERROR_IO_INCOMPLETE);
        }
        ObjectPointer pWaited =
            pOverlapped->hEvent != nullptr ? call.Process().Find(pOverlapped->hEvent) : call.Process().Find(hFile);
        if (!pWaited) {
            return call.Fail(ERROR_INVALID_HANDLE);
        }
        WaitForObjects({pWaited}, /*bAll=*/false, kNever);
    }
    HappensAfter(pOverlapped);
    *pBytes = static_cast<DWORD>(pOverlapped->InternalHigh);
    const auto nError = static_cast<DWORD>(pOverlapped->Internal & 0xFFFF);
    return nError == ERROR_SUCCESS ? TRUE : call.Fail(nError);
}

BOOL CancelIoEx(HANDLE hFile, LPOVERLAPPED pOverlapped) {
    CCall call("CancelIoEx", Number(hFile), Number(pOverlapped));
    const std::shared_ptr<CFile> pFile = FindFile(call, hFile);
    if (!pFile) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    return pFile->Cancel(pOverlapped) ? TRUE : call.Fail(ERROR_NOT_FOUND);
}

HANDLE CreateNamedPipeW(LPCWSTR szName, DWORD dwOpenMode, DWORD, DWORD nMaxInstances, DWORD nOutBufferSize,
                        DWORD nInBufferSize, DWORD, LPSECURITY_ATTRIBUTES) {
    CCall call("CreateNamedPipeW");
    call.Note(szName);
    if (!CPipeNames::IsPipeName(szName) || nMaxInstances == 0 || nMaxInstances > PIPE_UNLIMITED_INSTANCES) {
        call.Fail(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    if (call.Fault({ERROR_ACCESS_DENIED, ERROR_PIPE_BUSY, ERROR_NO_SYSTEM_RESOURCES}) != 0) {
        return INVALID_HANDLE_VALUE;
    }
    PipeOpening opening;
    opening.nMaxInstances = nMaxInstances;
    opening.bInbound = (dwOpenMode & PIPE_ACCESS_INBOUND) != 0;
    opening.bOutbound = (dwOpenMode & PIPE_ACCESS_OUTBOUND) != 0;
    opening.nOutQuota = nOutBufferSize;
    opening.nInQuota = nInBufferSize;
    opening.bOverlapped = (dwOpenMode & FILE_FLAG_OVERLAPPED) != 0;
    opening.bFirst = (dwOpenMode & FILE_FLAG_FIRST_PIPE_INSTANCE) != 0 && call.Machine().m_flavour.bFirstCounts;
    DWORD nError = ERROR_SUCCESS;
    const std::shared_ptr<CPipeEnd> pEnd = call.Machine().m_pipes.Serve(szName, opening, call.Process().m_nId, nError);
    if (!pEnd) {
        call.Fail(nError);
        return INVALID_HANDLE_VALUE;
    }
    return call.Process().Open(pEnd);
}

// Looks again and again: which instance listens is not waited for anywhere else.
BOOL WaitNamedPipeW(LPCWSTR szName, DWORD dwMilliseconds) {
    CCall call("WaitNamedPipeW", dwMilliseconds);
    call.Note(szName);
    const Nanoseconds nDeadline = g_pScheduler->Deadline(dwMilliseconds);
    for (;;) {
        bool bListens = false;
        if (!call.Machine().m_pipes.IsServed(szName, bListens)) {
            return call.Fail(ERROR_FILE_NOT_FOUND);
        }
        if (bListens) {
            return TRUE;
        }
        if (g_pScheduler->Now() >= nDeadline) {
            return call.Fail(ERROR_SEM_TIMEOUT);
        }
        g_pScheduler->Park({}, std::min(nDeadline, g_pScheduler->Now() + kMillisecond), "a pipe that listens");
    }
}

BOOL ConnectNamedPipe(HANDLE hPipe, LPOVERLAPPED pOverlapped) {
    CCall call("ConnectNamedPipe", Number(hPipe));
    const std::shared_ptr<CPipeEnd> pEnd = FindServer(call, hPipe);
    if (!pEnd) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (call.Fault({ERROR_NO_SYSTEM_RESOURCES, ERROR_NOT_ENOUGH_MEMORY}) != 0) {
        return FALSE;
    }
    const auto pIo = std::make_shared<CIo>(pEnd, pEnd->m_bOverlapped ? pOverlapped : nullptr, nullptr, 0);
    pEnd->m_pPipe->Accept(pIo);
    return Started(call, pIo, nullptr);
}

BOOL DisconnectNamedPipe(HANDLE hPipe) {
    CCall call("DisconnectNamedPipe", Number(hPipe));
    const std::shared_ptr<CPipeEnd> pEnd = FindServer(call, hPipe);
    if (!pEnd) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    const DWORD nError = pEnd->m_pPipe->Disconnect();
    return nError == ERROR_SUCCESS ? TRUE : call.Fail(nError);
}

BOOL PeekNamedPipe(HANDLE hPipe, LPVOID, DWORD, LPDWORD, LPDWORD pAvailable, LPDWORD) {
    CCall call("PeekNamedPipe", Number(hPipe));
    const auto pEnd = call.Process().FindAs<CPipeEnd>(hPipe);
    if (!pEnd) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (const DWORD nError = pEnd->m_pPipe->Refusal(pEnd->m_side, /*bWrite=*/false); nError != ERROR_SUCCESS) {
        return call.Fail(nError);
    }
    if (pAvailable != nullptr) {
        *pAvailable = static_cast<DWORD>(pEnd->m_pPipe->Available(pEnd->m_side));
    }
    return TRUE;
}

// The sizes and the type, which is always bytes.
BOOL GetNamedPipeInfo(HANDLE hPipe, LPDWORD pFlags, LPDWORD pOutSize, LPDWORD pInSize, LPDWORD) {
    CCall call("GetNamedPipeInfo", Number(hPipe));
    const auto pEnd = call.Process().FindAs<CPipeEnd>(hPipe);
    if (!pEnd) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    *pFlags = PIPE_TYPE_BYTE;
    *pOutSize = pEnd->m_pPipe->OutQuota();
    *pInSize = pEnd->m_pPipe->InQuota();
    return TRUE;
}

BOOL GetNamedPipeServerProcessId(HANDLE hPipe, PULONG pProcessId) {
    CCall call("GetNamedPipeServerProcessId", Number(hPipe));
    const auto pEnd = call.Process().FindAs<CPipeEnd>(hPipe);
    if (!pEnd) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    *pProcessId = pEnd->m_pPipe->m_nServerProcess;
    return TRUE;
}

BOOL GetNamedPipeServerSessionId(HANDLE hPipe, PULONG pSessionId) {
    CCall call("GetNamedPipeServerSessionId", Number(hPipe));
    if (!call.Process().FindAs<CPipeEnd>(hPipe)) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    *pSessionId = CMachine::kSession;
    return TRUE;
}

BOOL GetNamedPipeClientProcessId(HANDLE hPipe, PULONG pProcessId) {
    CCall call("GetNamedPipeClientProcessId", Number(hPipe));
    const auto pEnd = call.Process().FindAs<CPipeEnd>(hPipe);
    if (!pEnd) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (pEnd->m_pPipe->m_nClientProcess == 0) {
        return call.Fail(ERROR_PIPE_LISTENING);
    }
    *pProcessId = pEnd->m_pPipe->m_nClientProcess;
    return TRUE;
}

HANDLE CreateIoCompletionPort(HANDLE hFile, HANDLE hPort, ULONG_PTR nKey, DWORD) {
    CCall call("CreateIoCompletionPort", Number(hFile), Number(hPort));
    if (call.Fault({ERROR_NO_SYSTEM_RESOURCES, ERROR_NOT_ENOUGH_MEMORY}) != 0) {
        return nullptr;
    }
    auto pPort = call.Process().FindAs<CPort>(hPort);
    if (hPort != nullptr && !pPort) {
        call.Fail(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    std::shared_ptr<CFile> pFile;
    if (hFile != INVALID_HANDLE_VALUE) {
        pFile = FindFile(call, hFile);
        if (!pFile) {
            call.Fail(ERROR_INVALID_HANDLE);
            return nullptr;
        }
        if (!pFile->m_bOverlapped || pFile->m_pPort.lock()) {
            call.Fail(ERROR_INVALID_PARAMETER);
            return nullptr;
        }
    }
    if (!pPort) {
        pPort = std::make_shared<CPort>(call.Machine().m_flavour.bClosedPortWakes);
        hPort = call.Process().Open(pPort);
    }
    if (pFile) {
        pFile->m_pPort = pPort;
        pFile->m_nKey = nKey;
    }
    return hPort;
}

BOOL SetFileCompletionNotificationModes(HANDLE hFile, UCHAR nFlags) {
    CCall call("SetFileCompletionNotificationModes", Number(hFile), nFlags);
    const std::shared_ptr<CFile> pFile = FindFile(call, hFile);
    if (!pFile) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (call.Fault({ERROR_INVALID_PARAMETER}) != 0) {
        return FALSE;
    }
    // What was set stays set.
    pFile->m_bSkipsPackets = pFile->m_bSkipsPackets || (nFlags & FILE_SKIP_COMPLETION_PORT_ON_SUCCESS) != 0;
    return TRUE;
}

BOOL GetQueuedCompletionStatus(HANDLE hPort, LPDWORD pBytes, ULONG_PTR* pKey, LPOVERLAPPED* ppOverlapped,
                               DWORD dwMilliseconds) {
    CCall call("GetQueuedCompletionStatus", Number(hPort), dwMilliseconds);
    *ppOverlapped = nullptr;
    const auto pPort = call.Process().FindAs<CPort>(hPort);
    if (!pPort) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    Packet packet;
    switch (pPort->Get(packet, g_pScheduler->Deadline(dwMilliseconds))) {
        case CPort::Got::Timeout:
            return call.Fail(WAIT_TIMEOUT);
        case CPort::Got::Closed:
            return call.Fail(ERROR_ABANDONED_WAIT_0);
        case CPort::Got::Packet:
            break;
    }
    *pBytes = packet.nBytes;
    *pKey = packet.nKey;
    *ppOverlapped = packet.pOverlapped;
    return packet.nError == ERROR_SUCCESS ? TRUE : call.Fail(packet.nError);
}

BOOL PostQueuedCompletionStatus(HANDLE hPort, DWORD nBytes, ULONG_PTR nKey, LPOVERLAPPED pOverlapped) {
    CCall call("PostQueuedCompletionStatus", Number(hPort), Number(pOverlapped));
    const auto pPort = call.Process().FindAs<CPort>(hPort);
    if (!pPort) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    // A packet that bears nothing does not fail here: a worker whose two wake-up calls both fail sleeps for ever, which
    // docs/simulation.md describes.
    if (pOverlapped != nullptr && call.Fault({ERROR_NO_SYSTEM_RESOURCES}) != 0) {
        return FALSE;
    }
    pPort->Post({ERROR_SUCCESS, nBytes, nKey, pOverlapped});
    return TRUE;
}
