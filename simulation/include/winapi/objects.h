// Handles, events, mutexes and waits.
#pragma once

#include "simulation/include/winapi/types.h"

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1)))
#define INFINITE 0xFFFFFFFFU
#define WAIT_OBJECT_0 0U
#define WAIT_ABANDONED 0x80U
#define WAIT_ABANDONED_0 0x80U
#define WAIT_FAILED 0xFFFFFFFFU
#define MAXIMUM_WAIT_OBJECTS 64

#define SYNCHRONIZE 0x00100000U
#define EVENT_ALL_ACCESS 0x1F0003U
#define EVENT_MODIFY_STATE 0x0002U
#define DUPLICATE_CLOSE_SOURCE 1U
#define DUPLICATE_SAME_ACCESS 2U

struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

BOOL CloseHandle(HANDLE hObject);
BOOL DuplicateHandle(HANDLE hSourceProcess, HANDLE hSource, HANDLE hTargetProcess, HANDLE* phTarget, DWORD dwAccess,
                     BOOL bInheritHandle, DWORD dwOptions);

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES pAttributes, BOOL bManualReset, BOOL bInitialState, LPCWSTR szName);
HANDLE OpenEventW(DWORD dwAccess, BOOL bInheritHandle, LPCWSTR szName);
BOOL SetEvent(HANDLE hEvent);
BOOL ResetEvent(HANDLE hEvent);
extern "C" LONG NtResetEvent(HANDLE hEvent, LONG* pWasSet);

HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES pAttributes, BOOL bInitialOwner, LPCWSTR szName);
BOOL ReleaseMutex(HANDLE hMutex);

DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds);
DWORD WaitForMultipleObjects(DWORD nCount, const HANDLE* pHandles, BOOL bWaitAll, DWORD dwMilliseconds);
