#include "host/message_window.h"

#include "foundation/log.h"
#include "host/helper_host.h"
#include "host/window_calls.h"

std::atomic<HWND> g_hWnd{nullptr};
std::atomic<HWND> g_hMsgWnd{nullptr};
std::atomic<UINT_PTR> g_nExitTimerId{0};
std::atomic<UINT_PTR> g_nCheckTimerId{0};
std::atomic<UINT_PTR> g_nStatusTimerId{0};

namespace {

// The class name lives as long as the process, like the class itself.
std::wstring g_strWndClass;
std::atomic<CommzoltHelperS*> g_pWindowHost{nullptr};

void ArmOnce(std::atomic<UINT_PTR>& stored, HWND window, UINT_PTR id, UINT periodMs) {
    if (stored.load() == 0) {
        stored.store(GetWindowCalls().pfnSetTimer(window, id, periodMs, nullptr));
    }
}

}  // namespace

void CreateMessageWindow(CommzoltHelperS* host, const std::wstring& windowClass) {
    g_pWindowHost.store(host);
    g_strWndClass = windowClass;

    WNDCLASSEXW record = {};
    record.cbSize = sizeof(record);
    record.lpfnWndProc = &WindowProc;
    record.lpszClassName = g_strWndClass.c_str();
    RegisterClassExW(&record);
    const HWND window =
        CreateWindowExW(/*dwExStyle=*/0, g_strWndClass.c_str(), /*lpWindowName=*/nullptr, /*dwStyle=*/0, 0, 0, 0, 0,
                        HWND_MESSAGE, /*hMenu=*/nullptr, /*hInstance=*/nullptr, /*lpParam=*/nullptr);
    g_hMsgWnd.store(window);
    ShowWindow(window, SW_SHOW);
    UpdateWindow(window);
}

// A failure inside ends the process here: it must not travel through the system's code that called us.
LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept {
    NXL_LOG(L"[%s(%d)] enter WindowProc");
    g_hWnd.store(window);
    switch (message) {
        case WM_CREATE:
            NXL_LOG(L"[%s(%d)] create timer");
            ArmOnce(g_nExitTimerId, window, TIMER_ID_CHECK_TIMEOUT, kCheckTimeoutMs);
            ArmOnce(g_nCheckTimerId, window, TIMER_ID_CHECK_EXIT, kCheckExitMs);
            return 0;
        case WM_DESTROY:
            PostQuitMessage(0);
            return 0;
        case WM_COPYDATA:
            // Nothing is read from a window message: requests come by pipe alone.
            return 0;
        case WM_TIMER:
            if (CommzoltHelperS* host = g_pWindowHost.load()) {
                host->OnTimer(window, wParam);
            }
            return 0;
        default:
            return DefWindowProcW(window, message, wParam, lParam);
    }
}
