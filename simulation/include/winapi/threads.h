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

void Sleep(DWORD dwMilliseconds);
DWORD GetTickCount();
ULONGLONG GetTickCount64();
void GetLocalTime(SYSTEMTIME* pTime);
void GetSystemTimeAsFileTime(FILETIME* pTime);
