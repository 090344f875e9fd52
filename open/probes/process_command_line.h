// The command lines of other processes.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/windows_headers.h"

// The services that reading another process's command line needs. The system may lack the first three: NtWow64...64 are
// exported to 32-bit programs on a 64-bit system alone. Null means missing.
struct ProcessMemoryApi {
    using QueryFunction = LONG(NTAPI*)(HANDLE process, int infoClass, void* block, ULONG size, ULONG* length);
    using ReadFunction = LONG(NTAPI*)(HANDLE process, std::uint64_t address, void* target, std::uint64_t size,
                                      std::uint64_t* read);
    using IsWow64Function = BOOL(WINAPI*)(HANDLE process, BOOL* bWow64);
    using OpenFunction = HANDLE(WINAPI*)(DWORD access, BOOL bInherit, DWORD id);

    QueryFunction NtWow64QueryInformationProcess64 = nullptr;
    ReadFunction NtWow64ReadVirtualMemory64 = nullptr;
    IsWow64Function IsWow64Process = nullptr;
    OpenFunction OpenProcess = &::OpenProcess;
};

// What this system has.
const ProcessMemoryApi& SystemProcessMemoryApi();

// Whether any process's command line can be read with these.
bool CanReadCommandLines(const ProcessMemoryApi& api);

// The process is known to be a 32-bit one on a 64-bit system.
bool Is32BitTarget(HANDLE process, const ProcessMemoryApi& api);

// Fills text with the command line of a 64-bit process opened with the rights to query and to read; leaves it as it is
// on any failure. Any thread.
void ReadProcessCommandLine(HANDLE process, std::wstring& text, const ProcessMemoryApi& api = SystemProcessMemoryApi());
