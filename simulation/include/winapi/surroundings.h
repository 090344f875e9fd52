// What a program asks of its surroundings: libraries, the registry, its own file, debug output.
#pragma once

#include "simulation/include/winapi/types.h"

#define LOAD_WITH_ALTERED_SEARCH_PATH 8U
#define LOAD_LIBRARY_SEARCH_SYSTEM32 0x800U

HMODULE LoadLibraryW(LPCWSTR szFile);
HMODULE LoadLibraryA(LPCSTR szFile);
HMODULE LoadLibraryExW(LPCWSTR szFile, HANDLE hFile, DWORD dwFlags);
HMODULE GetModuleHandleW(LPCWSTR szFile);
#define GET_MODULE_HANDLE_EX_FLAG_PIN 1U
#define GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT 2U
#define GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS 4U
// By an address alone: all code is the program's own.
BOOL GetModuleHandleExW(DWORD dwFlags, LPCWSTR pAddress, HMODULE* phModule);
BOOL FreeLibrary(HMODULE hModule);
FARPROC GetProcAddress(HMODULE hModule, LPCSTR szName);
DWORD GetModuleFileNameW(HMODULE hModule, LPWSTR szPath, DWORD nSize);
UINT GetSystemDirectoryW(LPWSTR szPath, UINT nSize);

using REGSAM = DWORD;
using PHKEY = HKEY*;
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(0x80000001U)))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(0x80000002U)))
#define RRF_RT_REG_SZ 0x2U
#define RRF_RT_ANY 0xFFFFU
#define REG_NONE 0U
#define REG_SZ 1U
#define REG_BINARY 3U
#define REG_DWORD 4U
#define REG_OPTION_NON_VOLATILE 0U
#define KEY_QUERY_VALUE 1U
#define KEY_SET_VALUE 2U
#define KEY_READ 0x20019U
#define KEY_WRITE 0x20006U
#define KEY_WOW64_64KEY 0x100U
#define KEY_WOW64_32KEY 0x200U

LSTATUS RegOpenKeyExW(HKEY hKey, LPCWSTR szSubKey, DWORD dwOptions, REGSAM access, PHKEY phResult);
LSTATUS RegCreateKeyExW(HKEY hKey, LPCWSTR szSubKey, DWORD, LPWSTR szClass, DWORD dwOptions, REGSAM access,
                        struct SECURITY_ATTRIBUTES* pAttributes, PHKEY phResult, LPDWORD pDisposition);
LSTATUS RegQueryValueExW(HKEY hKey, LPCWSTR szValue, LPDWORD, LPDWORD pType, BYTE* pData, LPDWORD pSize);
LSTATUS RegSetValueExW(HKEY hKey, LPCWSTR szValue, DWORD, DWORD nType, const BYTE* pData, DWORD nSize);
LSTATUS RegGetValueW(HKEY hKey, LPCWSTR szSubKey, LPCWSTR szValue, DWORD dwFlags, LPDWORD pType, PVOID pData,
                     LPDWORD pSize);
LSTATUS RegCloseKey(HKEY hKey);
LSTATUS RegDeleteKeyW(HKEY hKey, LPCWSTR szSubKey);

void OutputDebugStringW(LPCWSTR szText);
DWORD GetLongPathNameW(LPCWSTR szShort, LPWSTR szLong, DWORD nSize);
DWORD GetTempPathW(DWORD nSize, LPWSTR szPath);

#define FORMAT_MESSAGE_IGNORE_INSERTS 0x200U
#define FORMAT_MESSAGE_FROM_SYSTEM 0x1000U
// One sentence serves for all errors.
DWORD FormatMessageW(DWORD dwFlags, LPCVOID pSource, DWORD nError, DWORD nLanguage, LPWSTR szBuffer, DWORD nSize,
                     void* pInserts);

using HLOCAL = void*;
HLOCAL LocalFree(HLOCAL pMemory);
