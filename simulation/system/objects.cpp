// Handles, events, mutexes and waits.
#include <algorithm>
#include <utility>

#include "simulation/system/call.h"

using namespace simulation;

namespace {

// The handle of the object that has this name, or of a new one.
template <typename T, typename Make>
HANDLE CreateNamed(CCall& call, LPCWSTR szName, Make make) {
    if (szName == nullptr) {
        call.Task().m_nLastError = ERROR_SUCCESS;
        return call.Process().Open(make());
    }
    call.Note(szName);
    // One of the system's own folders may come first.
    const std::wstring_view strName = szName;
    const std::size_t nFolder = strName.starts_with(L"Global\\") || strName.starts_with(L"Local\\") ? 7 : 0;
    if (strName.find(L'\\', nFolder) != std::wstring_view::npos) {
        call.Fail(ERROR_PATH_NOT_FOUND);
        return nullptr;
    }
    if (const ObjectPointer pFound = call.Machine().FindName(szName)) {
        if (dynamic_cast<T*>(pFound.get()) == nullptr) {
            call.Fail(ERROR_INVALID_HANDLE);
            return nullptr;
        }
        call.Task().m_nLastError = ERROR_ALREADY_EXISTS;
        return call.Process().Open(pFound);
    }
    const std::shared_ptr<T> pMade = make();
    call.Machine().SetName(pMade, szName);
    call.Task().m_nLastError = ERROR_SUCCESS;
    return call.Process().Open(pMade);
}

bool IsPseudo(HANDLE hHandle) {
    return hHandle == GetCurrentProcess() || hHandle == GetCurrentThread();
}

// Also for the values that mean the caller's own process and thread.
ObjectPointer Resolve(CCall& call, HANDLE hHandle) {
    if (hHandle == GetCurrentProcess()) {
        return call.Process().shared_from_this();
    }
    if (hHandle == GetCurrentThread()) {
        return call.Machine().ThreadOf(call.Task());
    }
    return call.Process().Find(hHandle);
}

}  // namespace

DWORD GetLastError() {
    return IsSimulated() ? g_pScheduler->Current().m_nLastError : 0;
}

void SetLastError(DWORD error) {
    if (IsSimulated()) {
        g_pScheduler->Current().m_nLastError = error;
    }
}

BOOL CloseHandle(HANDLE hObject) {
    CCall call("CloseHandle", Number(hObject));
    if (IsPseudo(hObject)) {
        return TRUE;
    }
    const std::vector<HANDLE>& waits = call.Process().m_vecRegisteredWaits;
    if (std::find(waits.begin(), waits.end(), hObject) != waits.end()) {
        g_pScheduler->Fail("a handle is closed while a registered wait waits for it");
    }
    return call.Process().Close(hObject) ? TRUE : call.Fail(ERROR_INVALID_HANDLE);
}

BOOL DuplicateHandle(HANDLE hSourceProcess, HANDLE hSource, HANDLE hTargetProcess, HANDLE* phTarget, DWORD, BOOL,
                     DWORD dwOptions) {
    CCall call("DuplicateHandle", Number(hSource));
    const auto pFrom = std::dynamic_pointer_cast<CProcess>(Resolve(call, hSourceProcess));
    const auto pTo = std::dynamic_pointer_cast<CProcess>(Resolve(call, hTargetProcess));
    if (!pFrom || !pTo) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    const ObjectPointer pObject =
        pFrom == call.Process().shared_from_this() ? Resolve(call, hSource) : pFrom->Find(hSource);
    if (!pObject) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (call.Fault({ERROR_NO_SYSTEM_RESOURCES}) != 0) {
        return FALSE;
    }
    *phTarget = pTo->Open(pObject);
    if ((dwOptions & DUPLICATE_CLOSE_SOURCE) != 0) {
        pFrom->Close(hSource);
    }
    return TRUE;
}

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES, BOOL bManualReset, BOOL bInitialState, LPCWSTR szName) {
    CCall call("CreateEventW");
    if (call.Fault({ERROR_NO_SYSTEM_RESOURCES, ERROR_ACCESS_DENIED}) != 0) {
        return nullptr;
    }
    return CreateNamed<CEvent>(call, szName,
                               [&] { return std::make_shared<CEvent>(bManualReset != FALSE, bInitialState != FALSE); });
}

HANDLE OpenEventW(DWORD, BOOL, LPCWSTR szName) {
    CCall call("OpenEventW");
    call.Note(szName);
    if (call.Fault({ERROR_ACCESS_DENIED, ERROR_NO_SYSTEM_RESOURCES}) != 0) {
        return nullptr;
    }
    const ObjectPointer pFound = call.Machine().FindName(szName);
    if (!pFound) {
        call.Fail(ERROR_FILE_NOT_FOUND);
        return nullptr;
    }
    if (dynamic_cast<CEvent*>(pFound.get()) == nullptr) {
        call.Fail(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return call.Process().Open(pFound);
}

BOOL SetEvent(HANDLE hEvent) {
    CCall call("SetEvent", Number(hEvent));
    const auto pEvent = call.Process().FindAs<CEvent>(hEvent);
    if (!pEvent) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    pEvent->Set();
    return TRUE;
}

BOOL ResetEvent(HANDLE hEvent) {
    CCall call("ResetEvent", Number(hEvent));
    const auto pEvent = call.Process().FindAs<CEvent>(hEvent);
    if (!pEvent) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    pEvent->Reset();
    return TRUE;
}

LONG NtResetEvent(HANDLE hEvent, LONG* pWasSet) {
    constexpr LONG kInvalidHandle = static_cast<LONG>(0xC0000008);
    CCall call("NtResetEvent", Number(hEvent));
    const auto pEvent = call.Process().FindAs<CEvent>(hEvent);
    if (!pEvent) {
        return kInvalidHandle;
    }
    *pWasSet = pEvent->Reset() ? 1 : 0;
    return 0;
}

HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES, BOOL bInitialOwner, LPCWSTR szName) {
    CCall call("CreateMutexW");
    if (call.Fault({ERROR_NO_SYSTEM_RESOURCES, ERROR_ACCESS_DENIED}) != 0) {
        return nullptr;
    }
    return CreateNamed<CMutex>(call, szName, [&] {
        const std::shared_ptr<CMutex> pMutex = call.Machine().AddMutex();
        if (bInitialOwner != FALSE) {
            pMutex->Take(call.Task());
        }
        return pMutex;
    });
}

BOOL ReleaseMutex(HANDLE hMutex) {
    CCall call("ReleaseMutex", Number(hMutex));
    const auto pMutex = call.Process().FindAs<CMutex>(hMutex);
    if (!pMutex) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    return pMutex->Release(call.Task()) ? TRUE : call.Fail(ERROR_NOT_OWNER);
}

DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) {
    return WaitForMultipleObjects(1, &hHandle, FALSE, dwMilliseconds);
}

DWORD WaitForMultipleObjects(DWORD nCount, const HANDLE* pHandles, BOOL bWaitAll, DWORD dwMilliseconds) {
    CCall call(nCount == 1 ? "WaitForSingleObject" : "WaitForMultipleObjects", Number(pHandles[0]), dwMilliseconds);
    if (nCount == 0 || nCount > MAXIMUM_WAIT_OBJECTS) {
        call.Fail(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    std::vector<ObjectPointer> objects;
    for (DWORD i = 0; i < nCount; ++i) {
        objects.push_back(Resolve(call, pHandles[i]));
        if (!objects.back()) {
            call.Fail(ERROR_INVALID_HANDLE);
            return WAIT_FAILED;
        }
    }
    return WaitForObjects(objects, bWaitAll != FALSE, g_pScheduler->Deadline(dwMilliseconds));
}
