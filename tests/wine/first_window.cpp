// first_window.exe: makes one window. The exit code is 0 when the system allowed it, 1 when it refused.
#include "foundation/windows_headers.h"

int main() {
    const HWND window = CreateWindowExW(/*dwExStyle=*/0, L"STATIC", /*lpWindowName=*/nullptr, /*dwStyle=*/0, 0, 0, 0, 0,
                                        HWND_MESSAGE, /*hMenu=*/nullptr, /*hInstance=*/nullptr, /*lpParam=*/nullptr);
    return window == nullptr ? 1 : 0;
}
