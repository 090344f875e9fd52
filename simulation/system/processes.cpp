// Programs that are started, processes that are opened, values of each thread.
#include "simulation/kernel/local_storage.h"
#include "simulation/system/call.h"

using namespace simulation;

BOOL CreateProcessW(LPCWSTR szFile, LPWSTR szCommandLine, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL, DWORD,
                    LPVOID, LPCWSTR, STARTUPINFOW*, PROCESS_INFORMATION* pMade) {
    CCall call("CreateProcessW");
    call.Note(szFile);
    const std::shared_ptr<const CPrograms::Main> pProgram = call.Machine().m_programs.Find(szFile);
    if (!pProgram) {
        const bool bFolder =
            call.Machine().m_disk.HasParent(szFile) || std::wstring_view(szFile).starts_with(CModules::kSystemFolder);
        return call.Fail(bFolder ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND);
    }
    if (call.Fault({ERROR_ACCESS_DENIED, ERROR_NOT_ENOUGH_MEMORY, ERROR_NO_SYSTEM_RESOURCES}) != 0) {
        return FALSE;
    }
    CMachine& machine = call.Machine();
    const std::shared_ptr<CProcess> pProcess = machine.AddProcess(szFile);
    const std::shared_ptr<CThread> pThread = machine.StartThread(
        *pProcess,
        [&machine, pProcess, pProgram, strLine = std::wstring(szCommandLine)] {
            const std::uint32_t nExitCode = (*pProgram)(strLine);
            // The end of its main thread is the end of a process.
            ForgetLocal(g_pScheduler->Current());
            const CScheduler::CInside ending(*g_pScheduler);
            machine.EndProcess(*pProcess, nExitCode);
            return 0U;
        },
        /*bSuspended=*/false);
    pMade->hProcess = call.Process().Open(pProcess);
    pMade->hThread = call.Process().Open(pThread);
    pMade->dwProcessId = pProcess->m_nId;
    pMade->dwThreadId = pThread->m_pTask->m_nId;
    return TRUE;
}

HANDLE OpenProcess(DWORD, BOOL, DWORD nProcess) {
    CCall call("OpenProcess", nProcess);
    const std::shared_ptr<CProcess> pProcess = call.Machine().FindProcess(nProcess);
    // The number of one that has ended is known while a handle of it is open.
    if (!pProcess || (pProcess->m_bEnded && pProcess->m_nHandles == 0)) {
        call.Fail(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    if (call.Fault({ERROR_ACCESS_DENIED, ERROR_NO_SYSTEM_RESOURCES}) != 0) {
        return nullptr;
    }
    return call.Process().Open(pProcess);
}

BOOL ProcessIdToSessionId(DWORD nProcess, LPDWORD pSession) {
    CCall call("ProcessIdToSessionId", nProcess);
    if (!call.Machine().FindProcess(nProcess)) {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    *pSession = CMachine::kSession;
    return TRUE;
}

BOOL AllowSetForegroundWindow(DWORD nProcess) {
    // No window is before another here.
    CCall call("AllowSetForegroundWindow", nProcess);
    return TRUE;
}

DWORD FlsAlloc(PFLS_CALLBACK_FUNCTION pfnForget) {
    return AddLocalSlot(pfnForget);
}

PVOID FlsGetValue(DWORD nSlot) {
    if (!IsSimulated()) {
        return nullptr;
    }
    CTask& task = g_pScheduler->Current();
    // It sets the error of success, too.
    task.m_nLastError = IsLocalSlot(nSlot) ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER;
    return nSlot < task.m_vecLocal.size() ? task.m_vecLocal[nSlot] : nullptr;
}

BOOL FlsSetValue(DWORD nSlot, PVOID pValue) {
    CCall call("FlsSetValue", nSlot);
    if (!IsLocalSlot(nSlot)) {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    if (call.Fault({ERROR_NOT_ENOUGH_MEMORY}) != 0) {
        return FALSE;
    }
    CTask& task = call.Task();
    if (task.m_vecLocal.size() <= nSlot) {
        task.m_vecLocal.resize(nSlot + 1);
    }
    task.m_vecLocal[nSlot] = pValue;
    return TRUE;
}
