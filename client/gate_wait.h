#pragma once

#include "foundation/windows_headers.h"

// How long a sender waits for the gate of a pipe before it writes without it.
inline constexpr DWORD kGateWaitMs = 1000;
