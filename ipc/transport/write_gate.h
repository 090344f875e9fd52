// The write gate: an event that two processes which write to one pipe close before a message and open after it.
#pragma once

#include "foundation/windows_headers.h"

// How long a sender waits for the write gate.
inline constexpr DWORD kGateWaitMs = 1000;

// Waits up to kGateWaitMs until the gate, an event with all access, is open, and closes it, also when it never was. Any
// thread.
void CloseGate(HANDLE hGate);
