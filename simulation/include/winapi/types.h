// The types of the system's interface, with the widths they have there. A wide character has the width it has here.
#pragma once

#include <cstddef>
#include <cstdint>

using BOOL = int;
using BYTE = unsigned char;
using UCHAR = unsigned char;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using DWORD_PTR = std::uintptr_t;
using ULONG_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using UINT_PTR = std::uintptr_t;
using INT = int;
using UINT = unsigned;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using LONGLONG = long long;
using LONG64 = long long;
using ULONGLONG = unsigned long long;
using SIZE_T = std::size_t;
using CHAR = char;
using WCHAR = wchar_t;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = wchar_t*;
using LPCWSTR = const wchar_t*;
using PVOID = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using LPDWORD = DWORD*;
using PDWORD = DWORD*;
using LPBOOL = BOOL*;
using PULONG = ULONG*;
using LSTATUS = LONG;
using HRESULT = LONG;

using HANDLE = void*;
using HMODULE = struct HINSTANCE__*;
using HINSTANCE = HMODULE;
using HKEY = struct HKEY__*;
using HWND = struct HWND__*;
using FARPROC = std::intptr_t (*)();

// One calling convention serves all.
#define WINAPI
#define CALLBACK
#define APIENTRY
#define NTAPI
#define __stdcall
#define __cdecl

#define TRUE 1
#define FALSE 0
#define MAX_PATH 260
