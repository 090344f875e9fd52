// The calls into the window system whose numbers cannot be seen from outside. Tests put their own in their place.
#pragma once

#include "foundation/windows_headers.h"

struct WindowCalls {
    UINT_PTR(WINAPI* pfnSetTimer)(HWND window, UINT_PTR id, UINT periodMs, TIMERPROC procedure);
    BOOL(WINAPI* pfnKillTimer)(HWND window, UINT_PTR id);
    LRESULT(WINAPI* pfnSendMessageTimeout)
    (HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT flags, UINT timeoutMs, PDWORD_PTR result);
};

// The platform's, or those of a test. Any thread.
const WindowCalls& GetWindowCalls();

// For tests: calls must stay until null gives the platform's back. While no other thread makes such a call.
void OverrideWindowCalls(const WindowCalls* calls);
