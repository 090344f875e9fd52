// The registry key of the probes and their access numbers, named by the view they really open. Only HKEY_LOCAL_MACHINE
// has two views of its own; the keys used under HKEY_CURRENT_USER are one for both.
#pragma once

#include "foundation/windows_headers.h"

// The record of the status probe and of the logins, below HKEY_CURRENT_USER; subkeys are appended to the literal.
#define NXL_STATUS_KEY L"SOFTWARE\\OvrinSe\\MiniWxProgram"

inline constexpr REGSAM kRead32BitView = KEY_READ | KEY_WOW64_32KEY;
inline constexpr REGSAM kRead64BitView = KEY_READ | KEY_WOW64_64KEY;
inline constexpr REGSAM kWrite32BitView = KEY_WRITE | KEY_WOW64_32KEY;

static_assert(kRead32BitView == 0x20219 && kRead64BitView == 0x20119 && kWrite32BitView == 0x20206);
