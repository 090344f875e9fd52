#include "support/loading/loading_window.h"

#include "foundation/text_helpers.h"
#include "support/loading/loading_layout.h"
#include "support/loading/wx_loading_wnd.h"

namespace {

// Windows that others send to this one, a close above all, end inside PeekMessageW without a message for this loop; so
// it never blocks in the queue, and asks after every message.
void RunMessages(const CWxLoadingWnd& window) {
    constexpr DWORD kPauseMs = 10;
    while (IsWindow(window.Window())) {
        MSG message;
        if (PeekMessageW(&message, /*hWnd=*/nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        } else {
            Sleep(kPauseMs);
        }
    }
}

}  // namespace

void ShowLoadingWindow(const LoadingWindowRequest& request) {
    CWxLoadingWnd window;
    window.Create();
    ShowLoadingWindow(window, request);
}

void ShowLoadingWindow(CWxLoadingWnd& window, const LoadingWindowRequest& request) {
    if (IsWindowVisible(window.Window())) {
        return;
    }
    window.SetAppText(Utf8ToUtf16(request.name));
    window.SetAppName();
    window.SetAppWndName(Utf8ToUtf16(request.wndname));
    window.ClearAppIcon();
    window.DownAppIcon(Utf8ToUtf16(request.iconUrl));
    window.SetTimeOut(request.timeOut);
    window.Resize();
    window.CenterWindow();
    ShowWindow(window.Window(), SW_SHOWNOACTIVATE);
    window.PaintLayered();
    window.StartTimers();
    RunMessages(window);
}
