// Waits that a thread of the system keeps. Here each has a thread of its own, of the process that registered it.
#include <algorithm>

#include "simulation/system/call.h"

using namespace simulation;

namespace {

// A handle of it is a pointer, which no table of handles counts.
struct RegisteredWait {
    ObjectPointer pObject;
    HANDLE hObject = nullptr;
    std::shared_ptr<CEvent> pTakenBack = std::make_shared<CEvent>(/*bManual=*/true, /*bSet=*/false);
    std::shared_ptr<CThread> pThread;
};

}  // namespace

BOOL RegisterWaitForSingleObject(HANDLE* phWait, HANDLE hObject, WAITORTIMERCALLBACK pfnCall, PVOID pContext,
                                 ULONG nMilliseconds, ULONG) {
    CCall call("RegisterWaitForSingleObject", Number(hObject), nMilliseconds);
    const ObjectPointer pObject = call.Process().Find(hObject);
    if (!pObject) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (call.Fault({ERROR_NOT_ENOUGH_MEMORY, ERROR_NO_SYSTEM_RESOURCES}) != 0) {
        return FALSE;
    }
    auto* const pWait = new RegisteredWait;
    pWait->pObject = pObject;
    pWait->hObject = hObject;
    const Nanoseconds nDeadline = g_pScheduler->Deadline(nMilliseconds);
    CProcess& process = call.Process();
    process.m_vecRegisteredWaits.push_back(hObject);
    pWait->pThread = call.Machine().StartThread(
        process,
        [&process, pObject, hObject, pTakenBack = pWait->pTakenBack, pfnCall, pContext, nDeadline] {
            std::uint32_t nResult = 0;
            {
                CCall wait("a registered wait", Number(hObject));
                nResult = WaitForObjects({pTakenBack, pObject}, /*bAll=*/false, nDeadline);
                const auto own =
                    std::find(process.m_vecRegisteredWaits.begin(), process.m_vecRegisteredWaits.end(), hObject);
                process.m_vecRegisteredWaits.erase(own);
            }
            if (nResult != 0) {
                pfnCall(pContext, nResult == WAIT_TIMEOUT ? TRUE : FALSE);
            }
            return 0U;
        },
        /*bSuspended=*/false);
    *phWait = pWait;
    return TRUE;
}

BOOL UnregisterWaitEx(HANDLE hWait, HANDLE hCompletion) {
    CCall call("UnregisterWaitEx", Number(hWait));
    if (hCompletion != INVALID_HANDLE_VALUE) {
        g_pScheduler->Fail("UnregisterWaitEx is imitated with a wait for the call alone");
    }
    const std::unique_ptr<RegisteredWait> pWait(static_cast<RegisteredWait*>(hWait));
    if (pWait->pThread->m_pTask == &call.Task()) {
        g_pScheduler->Fail("a registered wait's call waits for its own end");
    }
    pWait->pTakenBack->Set();
    WaitForObjects({pWait->pThread}, /*bAll=*/false, kNever);
    return TRUE;
}
