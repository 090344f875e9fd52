// The small window that is on the screen while the WeChat client brings up a mini-program.
//
// It has no frame and no task-bar button, stays on top, never takes the focus, and closes by itself: when a window with
// the awaited title appears, or when its time is up.
#pragma once

#include "foundation/windows_headers.h"

#include <cstdint>
#include <string>

// The request for a window; texts in UTF-8.
struct LoadingWindowRequest {
    std::string name;              // of the application, shown in the title line and part of the icon's file name
    std::string wndname;           // title of the window that is awaited
    std::string iconUrl;           // http or https; anything else leaves the icon that comes with the program
    std::uint32_t timeOut = 2000;  // milliseconds the window stays at most, counted from the moment it is on the screen
};

// Fetches the icon, shows the window, and runs its messages on the calling thread until it has gone. Nothing is on the
// screen while the icon is fetched, which may take the transfer's whole timeout and leaves the process-wide
// g_nHttpTimeoutMs at 5000. Returns at once, after the fetch, when the window cannot be made.
void ShowLoadingWindow(const LoadingWindowRequest& request);

class CWxLoadingWnd;
// The same for a window that was made; a visible one is left alone. The window is gone at the end, the object is not.
void ShowLoadingWindow(CWxLoadingWnd& window, const LoadingWindowRequest& request);
