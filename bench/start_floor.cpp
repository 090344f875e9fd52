// The least a program can do that serves the same purpose: a message-only window, and a word to its caller's pipe.
// start_floor PIPE
#include "foundation/windows_headers.h"

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR pipe, int) {
    WNDCLASSEXW record = {};
    record.cbSize = sizeof(record);
    record.lpfnWndProc = &DefWindowProcW;
    record.lpszClassName = L"NexletStartFloor";
    RegisterClassExW(&record);
    CreateWindowExW(0, record.lpszClassName, nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    const HANDLE file = CreateFileW(pipe, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    DWORD written = 0;
    WriteFile(file, "ready...", 8, &written, nullptr);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        DispatchMessageW(&message);
    }
    return 0;
}
