// Threads, processes, and the passing of time.
#include <process.h>
#include <tlhelp32.h>

#include <ctime>
#include <string>

#include "simulation/system/call.h"

using namespace simulation;

namespace {

constexpr std::uint64_t kUnixInFileTime = 11644473600;
constexpr std::uint64_t kFileTimePerSecond = 10000000;
// nUnixTime: in nanoseconds.
FILETIME FileTime(Nanoseconds nUnixTime) {
    const std::uint64_t nTime = kUnixInFileTime * kFileTimePerSecond + nUnixTime / 100;
    return {static_cast<DWORD>(nTime), static_cast<DWORD>(nTime >> 32)};
}

std::shared_ptr<CThread> FindThread(CCall& call, HANDLE hThread) {
    return hThread == GetCurrentThread() ? call.Machine().ThreadOf(call.Task())
                                         : call.Process().FindAs<CThread>(hThread);
}

std::shared_ptr<CProcess> FindProcess(CCall& call, HANDLE hProcess) {
    return hProcess == GetCurrentProcess() ? std::static_pointer_cast<CProcess>(call.Process().shared_from_this())
                                           : call.Process().FindAs<CProcess>(hProcess);
}

}  // namespace

HANDLE CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T, LPTHREAD_START_ROUTINE pfnStart, LPVOID pArgument, DWORD dwFlags,
                    LPDWORD pThreadId) {
    CCall call("CreateThread", dwFlags);
    if (call.Fault({ERROR_NOT_ENOUGH_MEMORY, ERROR_NO_SYSTEM_RESOURCES}) != 0) {
        return nullptr;
    }
    const std::shared_ptr<CThread> pThread = call.Machine().StartThread(
        call.Process(), [=] { return pfnStart(pArgument); }, (dwFlags & CREATE_SUSPENDED) != 0);
    if (pThreadId != nullptr) {
        *pThreadId = pThread->m_pTask->m_nId;
    }
    return call.Process().Open(pThread);
}

std::uintptr_t _beginthreadex(void*, unsigned, unsigned (*pfnStart)(void*), void* pArgument, unsigned nFlags,
                              unsigned* pThreadId) {
    DWORD nId = 0;
    const HANDLE hThread = CreateThread(nullptr, 0, pfnStart, pArgument, nFlags, &nId);
    if (pThreadId != nullptr) {
        *pThreadId = nId;
    }
    return reinterpret_cast<std::uintptr_t>(hThread);
}

DWORD ResumeThread(HANDLE hThread) {
    CCall call("ResumeThread", Number(hThread));
    const std::shared_ptr<CThread> pThread = FindThread(call, hThread);
    if (!pThread || pThread->m_bEnded) {
        call.Fail(ERROR_INVALID_HANDLE);
        return 0xFFFFFFFF;
    }
    return g_pScheduler->Resume(*pThread->m_pTask);
}

DWORD SuspendThread(HANDLE hThread) {
    CCall call("SuspendThread", Number(hThread));
    const std::shared_ptr<CThread> pThread = FindThread(call, hThread);
    if (!pThread || pThread->m_bEnded) {
        call.Fail(ERROR_ACCESS_DENIED);
        return 0xFFFFFFFF;
    }
    const DWORD nBefore = pThread->m_pTask->m_nSuspended;
    g_pScheduler->Suspend(*pThread->m_pTask);
    return nBefore;
}

BOOL TerminateThread(HANDLE hThread, DWORD dwExitCode) {
    CCall call("TerminateThread", Number(hThread));
    const std::shared_ptr<CThread> pThread = FindThread(call, hThread);
    if (!pThread) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    call.Machine().EndThread(*pThread, dwExitCode);
    return TRUE;
}

BOOL GetExitCodeThread(HANDLE hThread, LPDWORD pExitCode) {
    CCall call("GetExitCodeThread", Number(hThread));
    const std::shared_ptr<CThread> pThread = FindThread(call, hThread);
    if (!pThread) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    *pExitCode = pThread->m_nExitCode;
    return TRUE;
}

HANDLE GetCurrentThread() {
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-2));
}

DWORD GetCurrentThreadId() {
    return g_pScheduler->Current().m_nId;
}

HANDLE GetCurrentProcess() {
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1));
}

DWORD GetCurrentProcessId() {
    return g_pScheduler->Current().m_nProcess;
}

BOOL TerminateProcess(HANDLE hProcess, UINT nExitCode) {
    CCall call("TerminateProcess", Number(hProcess), nExitCode);
    const std::shared_ptr<CProcess> pProcess = FindProcess(call, hProcess);
    if (!pProcess) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    call.Machine().EndProcess(*pProcess, nExitCode);
    return TRUE;
}

BOOL GetExitCodeProcess(HANDLE hProcess, LPDWORD pExitCode) {
    CCall call("GetExitCodeProcess", Number(hProcess));
    const std::shared_ptr<CProcess> pProcess = FindProcess(call, hProcess);
    if (!pProcess) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    *pExitCode = pProcess->m_nExitCode;
    return TRUE;
}

BOOL GetProcessHandleCount(HANDLE hProcess, PDWORD pCount) {
    CCall call("GetProcessHandleCount", Number(hProcess));
    const std::shared_ptr<CProcess> pProcess = FindProcess(call, hProcess);
    if (!pProcess) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    *pCount = static_cast<DWORD>(pProcess->HandleCount());
    return TRUE;
}

BOOL GetProcessTimes(HANDLE, FILETIME* pCreated, FILETIME* pEnded, FILETIME* pKernel, FILETIME* pUser) {
    CCall call("GetProcessTimes");
    // Every process is as old as the run, and has used no processor.
    *pCreated = FileTime(kStartUnixSeconds * kSecond);
    *pEnded = *pKernel = *pUser = {};
    return TRUE;
}

void QueryUnbiasedInterruptTime(ULONGLONG* pTime) {
    CCall call("QueryUnbiasedInterruptTime");
    *pTime = call.Machine().m_flavour.nStartTicks * 10000 + g_pScheduler->Now() / 100;
}

UINT SetErrorMode(UINT) {
    return 0;
}

_invalid_parameter_handler _set_invalid_parameter_handler(_invalid_parameter_handler) {
    return nullptr;
}

void Sleep(DWORD dwMilliseconds) {
    CCall call("Sleep", dwMilliseconds);
    if (dwMilliseconds == 0) {
        g_pScheduler->Yield();
        return;
    }
    g_pScheduler->Park({}, g_pScheduler->Deadline(dwMilliseconds), "a time");
}

ULONGLONG GetTickCount64() {
    CCall call("GetTickCount64");
    const Nanoseconds nTick = call.Machine().m_flavour.nTick;
    return call.Machine().m_flavour.nStartTicks + g_pScheduler->Now() / nTick * nTick / kMillisecond;
}

DWORD GetTickCount() {
    return static_cast<DWORD>(GetTickCount64());
}

void GetLocalTime(SYSTEMTIME* pTime) {
    const Nanoseconds nNow = g_pMachine->WorldTime();
    const auto nSeconds = static_cast<std::time_t>(nNow / kSecond);
    std::tm parts = {};
    gmtime_r(&nSeconds, &parts);
    *pTime = {};
    pTime->wYear = static_cast<WORD>(parts.tm_year + 1900);
    pTime->wMonth = static_cast<WORD>(parts.tm_mon + 1);
    pTime->wDay = static_cast<WORD>(parts.tm_mday);
    pTime->wHour = static_cast<WORD>(parts.tm_hour);
    pTime->wMinute = static_cast<WORD>(parts.tm_min);
    pTime->wSecond = static_cast<WORD>(parts.tm_sec);
    pTime->wMilliseconds = static_cast<WORD>(nNow / kMillisecond % 1000);
}

void GetSystemTimeAsFileTime(FILETIME* pTime) {
    *pTime = FileTime(g_pMachine->WorldTime());
}

// The list is one of all threads at the time of each look.
HANDLE CreateToolhelp32Snapshot(DWORD, DWORD) {
    CCall call("CreateToolhelp32Snapshot");
    return call.Process().Open(std::make_shared<CEvent>(/*bManual=*/true, /*bSet=*/false));
}

BOOL Thread32First(HANDLE hSnapshot, THREADENTRY32* pEntry) {
    pEntry->th32ThreadID = 0;
    return Thread32Next(hSnapshot, pEntry);
}

BOOL Thread32Next(HANDLE, THREADENTRY32* pEntry) {
    CCall call("Thread32Next");
    for (const std::unique_ptr<CTask>& pTask : g_pScheduler->Tasks()) {
        if (pTask->m_nId > pEntry->th32ThreadID && pTask->m_state != CTask::State::Ended) {
            pEntry->th32ThreadID = pTask->m_nId;
            pEntry->th32OwnerProcessID = pTask->m_nProcess;
            return TRUE;
        }
    }
    // A thread that is not in the list has ended before.
    for (const std::unique_ptr<CTask>& pTask : g_pScheduler->Tasks()) {
        if (pTask->m_state == CTask::State::Ended && pTask->m_nProcess == call.Task().m_nProcess) {
            HappensAfter(pTask.get());
        }
    }
    return FALSE;
}
