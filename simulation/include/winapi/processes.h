// Programs that are started, sections of memory that processes share, waits that a thread of the system keeps, values
// of each thread.
#pragma once

#include "simulation/include/winapi/objects.h"
#include "simulation/include/winapi/types.h"

#define PROCESS_QUERY_LIMITED_INFORMATION 0x1000U
#define STARTF_FORCEOFFFEEDBACK 0x80U

struct STARTUPINFOW {
    DWORD cb;
    DWORD dwFlags;
};
struct PROCESS_INFORMATION {
    HANDLE hProcess;
    HANDLE hThread;
    DWORD dwProcessId;
    DWORD dwThreadId;
};

BOOL CreateProcessW(LPCWSTR szFile, LPWSTR szCommandLine, LPSECURITY_ATTRIBUTES pProcessAttributes,
                    LPSECURITY_ATTRIBUTES pThreadAttributes, BOOL bInheritHandles, DWORD dwFlags, LPVOID pEnvironment,
                    LPCWSTR szFolder, STARTUPINFOW* pStartup, PROCESS_INFORMATION* pMade);
BOOL ProcessIdToSessionId(DWORD nProcess, LPDWORD pSession);
BOOL AllowSetForegroundWindow(DWORD nProcess);

#define PAGE_READWRITE 4U
#define FILE_MAP_WRITE 2U
#define FILE_MAP_READ 4U

HANDLE CreateFileMappingW(HANDLE hFile, LPSECURITY_ATTRIBUTES pAttributes, DWORD dwProtection, DWORD nSizeHigh,
                          DWORD nSizeLow, LPCWSTR szName);
// A view stays until its process ends.
LPVOID MapViewOfFile(HANDLE hSection, DWORD dwAccess, DWORD nOffsetHigh, DWORD nOffsetLow, SIZE_T nBytes);

using BOOLEAN = BYTE;
using WAITORTIMERCALLBACK = void (*)(PVOID pContext, BOOLEAN bTimedOut);
#define WT_EXECUTEONLYONCE 8U

// Each wait has a thread of its own here.
BOOL RegisterWaitForSingleObject(HANDLE* phWait, HANDLE hObject, WAITORTIMERCALLBACK pfnCall, PVOID pContext,
                                 ULONG nMilliseconds, ULONG nFlags);
BOOL UnregisterWaitEx(HANDLE hWait, HANDLE hCompletion);

using PFLS_CALLBACK_FUNCTION = void (*)(PVOID pValue);
#define FLS_OUT_OF_INDEXES 0xFFFFFFFFU

// May be called before any simulated thread runs.
DWORD FlsAlloc(PFLS_CALLBACK_FUNCTION pfnForget);
PVOID FlsGetValue(DWORD nSlot);
BOOL FlsSetValue(DWORD nSlot, PVOID pValue);
