// What a second start for the same mark does.
#pragma once

#include <string>

#include "foundation/windows_headers.h"

// Hands the command line to the running helper of its mark, through that helper's pipe, and waits briefly for it to be
// taken. Main thread of the second process, which ends right afterwards in any case: the caller of the process
// learns nothing, the log everything. Takes two seconds at least.
//
// A /type: that is not a number throws an exception that nothing catches: the process ends.
void ExistzoltExcute(const std::wstring& commandLine);

// The wait for the reply; tests put one in its place that records the times.
inline DWORD(WINAPI* g_pfnForwarderWait)(HANDLE handle, DWORD milliseconds) = &WaitForSingleObject;
