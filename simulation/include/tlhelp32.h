// A list of the threads of the machine, for tests that count them.
#pragma once

#include "simulation/include/winapi/types.h"

#define TH32CS_SNAPTHREAD 4U

struct THREADENTRY32 {
    DWORD dwSize;
    DWORD th32ThreadID;
    DWORD th32OwnerProcessID;
};

HANDLE CreateToolhelp32Snapshot(DWORD dwFlags, DWORD nProcess);
BOOL Thread32First(HANDLE hSnapshot, THREADENTRY32* pEntry);
BOOL Thread32Next(HANDLE hSnapshot, THREADENTRY32* pEntry);
