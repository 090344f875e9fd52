// The registry access numbers of the probes, named by the view they really open. Only HKEY_LOCAL_MACHINE has two views
// of its own; the keys used under HKEY_CURRENT_USER are one for both.
#pragma once

#include "foundation/windows_headers.h"

inline constexpr REGSAM kRead32BitView = KEY_READ | KEY_WOW64_32KEY;
inline constexpr REGSAM kRead64BitView = KEY_READ | KEY_WOW64_64KEY;
inline constexpr REGSAM kWrite32BitView = KEY_WRITE | KEY_WOW64_32KEY;

static_assert(kRead32BitView == 0x20219 && kRead64BitView == 0x20119 && kWrite32BitView == 0x20206);
