// Threads, processes and the passing of time.
#pragma once

#include "simulation/include/winapi/objects.h"
#include "simulation/include/winapi/types.h"

#define CREATE_SUSPENDED 4U
#define STILL_ACTIVE 259U

using LPTHREAD_START_ROUTINE = DWORD (*)(LPVOID);

HANDLE CreateThread(LPSECURITY_ATTRIBUTES pAttributes, SIZE_T nStackSize, LPTHREAD_START_ROUTINE pfnStart,
                    LPVOID pArgument, DWORD dwFlags, LPDWORD pThreadId);
DWORD ResumeThread(HANDLE hThread);
DWORD SuspendThread(HANDLE hThread);
BOOL TerminateThread(HANDLE hThread, DWORD dwExitCode);
BOOL GetExitCodeThread(HANDLE hThread, LPDWORD pExitCode);
HANDLE GetCurrentThread();
DWORD GetCurrentThreadId();

HANDLE GetCurrentProcess();
DWORD GetCurrentProcessId();
BOOL TerminateProcess(HANDLE hProcess, UINT nExitCode);
BOOL GetExitCodeProcess(HANDLE hProcess, LPDWORD pExitCode);
BOOL GetProcessHandleCount(HANDLE hProcess, PDWORD pCount);

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};
struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

HANDLE OpenProcess(DWORD dwAccess, BOOL bInheritHandle, DWORD nProcess);
BOOL GetProcessTimes(HANDLE hProcess, FILETIME* pCreated, FILETIME* pEnded, FILETIME* pKernel, FILETIME* pUser);
void QueryUnbiasedInterruptTime(ULONGLONG* pTime);

#define SEM_FAILCRITICALERRORS 1U
#define SEM_NOGPFAULTERRORBOX 2U
#define SEM_NOALIGNMENTFAULTEXCEPT 4U
#define SEM_NOOPENFILEERRORBOX 0x8000U
UINT SetErrorMode(UINT nMode);
using _invalid_parameter_handler = void (*)(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, std::uintptr_t);
_invalid_parameter_handler _set_invalid_parameter_handler(_invalid_parameter_handler pfnHandler);

void Sleep(DWORD dwMilliseconds);
DWORD GetTickCount();
ULONGLONG GetTickCount64();
void GetLocalTime(SYSTEMTIME* pTime);
void GetSystemTimeAsFileTime(FILETIME* pTime);
