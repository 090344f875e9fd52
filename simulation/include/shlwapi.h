// Helpers for paths, values and texts, exported by the simulated shlwapi.dll.
#pragma once

#include "simulation/include/winapi/types.h"

BOOL PathAppendW(LPWSTR szPath, LPCWSTR szMore);
BOOL PathCanonicalizeW(LPWSTR szResult, LPCWSTR szPath);
BOOL PathFileExistsW(LPCWSTR szPath);
BOOL PathIsPrefixW(LPCWSTR szPrefix, LPCWSTR szPath);
LPWSTR PathRemoveBackslashW(LPWSTR szPath);
LSTATUS SHGetValueW(HKEY hKey, LPCWSTR szSubKey, LPCWSTR szValue, DWORD* pType, void* pData, DWORD* pSize);
LSTATUS SHSetValueW(HKEY hKey, LPCWSTR szSubKey, LPCWSTR szValue, DWORD nType, LPCVOID pData, DWORD nSize);
LPWSTR StrDupW(LPCWSTR szText);

// A signature only: pictures are not simulated, and the simulated library does not export it.
struct IStream;
IStream* SHCreateMemStream(const BYTE* pBytes, UINT nSize);
