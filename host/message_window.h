// The message-only window: it carries the timers, ends the loop, and answers the hang probe.
#pragma once

#include "foundation/windows_headers.h"

#include <atomic>
#include <string>

class CommzoltHelperS;

// Timers of the message window and their periods.
inline constexpr UINT_PTR TIMER_ID_CHECK_TIMEOUT = 272;
inline constexpr UINT_PTR TIMER_ID_CHECK_EXIT = 273;
inline constexpr UINT_PTR TIMER_ID_UPDATE_STATUS = 276;
inline constexpr UINT kCheckTimeoutMs = 660000;
inline constexpr UINT kCheckExitMs = 10000;
inline constexpr UINT kUpdateStatusMs = 300000;

// The window of the latest message; timers are armed on it. Written by the main thread, read by every thread.
extern std::atomic<HWND> g_hWnd;
// The window that was made; the hang watcher probes it. Null without a window.
extern std::atomic<HWND> g_hMsgWnd;
// What SetTimer gave for the three timers, 0 while not armed.
extern std::atomic<UINT_PTR> g_nExitTimerId;
extern std::atomic<UINT_PTR> g_nCheckTimerId;
extern std::atomic<UINT_PTR> g_nStatusTimerId;

// Registers the class and makes the window on the calling thread, which must run a message loop. host gets the timer
// messages and outlives the window. Failures are not reported: without a window there are no timers.
void CreateMessageWindow(CommzoltHelperS* host, const std::wstring& windowClass);

LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept;
