// How a status reaches the registry.
#pragma once

#include "foundation/windows_headers.h"

// What opens the status key, once for each value; tests put one that fails in its place.
inline decltype(&RegCreateKeyExW) g_pfnCreateStatusKey = &RegCreateKeyExW;
