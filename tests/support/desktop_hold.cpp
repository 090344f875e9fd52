#include "tests/support/desktop_hold.h"

#include "foundation/windows_headers.h"

void HoldDesktop() {
    // Never destroyed: it lives as long as the process.
    static const HWND s_hWindow =
        CreateWindowExW(/*dwExStyle=*/0, L"STATIC", /*lpWindowName=*/nullptr, /*dwStyle=*/0, 0, 0, 0, 0, HWND_MESSAGE,
                        /*hMenu=*/nullptr, /*hInstance=*/nullptr, /*lpParam=*/nullptr);
    (void)s_hWindow;
}
