// The least an idle program can hold that looks like the helper from outside: a message-only window, a connection to
// its caller's pipe, and threads that wait. idle_floor PIPE THREADS [rounds]
// With "rounds" one of the threads asks the window every second whether it lives, and another one takes the list of
// processes and the processors' times, twice, every ten seconds: what the helper's watchdogs ask of the system.
#include "foundation/windows_headers.h"

#include <cstdlib>
#include <cwchar>
#include <vector>

#include <imm.h>

#include "foundation/late_library.h"

namespace {

using Query = LONG(WINAPI*)(ULONG, void*, ULONG, ULONG*);

DWORD WINAPI WaitForEver(void*) {
    Sleep(INFINITE);
    return 0;
}

DWORD WINAPI ProbeWindow(void* window) {
    for (;;) {
        DWORD_PTR result = 0;
        SendMessageTimeoutW(static_cast<HWND>(window), WM_NULL, 0, 0, SMTO_BLOCK, 15000, &result);
        Sleep(1000);
    }
}

DWORD WINAPI SampleSystem(void*) {
    Query query = nullptr;
    ResolveFunction(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation", query);
    for (;;) {
        Sleep(10000);
        std::vector<char> list(65536);
        for (int i = 0; i < 2; ++i) {
            while (query(5, list.data(), static_cast<ULONG>(list.size()), nullptr) < 0 && list.size() < 1 << 24) {
                list.resize(list.size() * 2);
            }
            char processors[64 * 48];
            query(8, processors, sizeof processors, nullptr);
            Sleep(i == 0 ? 1000 : 0);
        }
    }
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int) {
    if (__argc < 3) {
        return 1;
    }
    const bool rounds = __argc > 3;
    ImmDisableIME(0);
    WNDCLASSEXW record = {};
    record.cbSize = sizeof(record);
    record.lpfnWndProc = &DefWindowProcW;
    record.lpszClassName = L"NexletIdleFloor";
    RegisterClassExW(&record);
    const HWND window =
        CreateWindowExW(0, record.lpszClassName, nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    // The main thread is one of them.
    for (int i = 1; i < _wtoi(__wargv[2]); ++i) {
        const LPTHREAD_START_ROUTINE work = rounds && i == 1   ? &ProbeWindow
                                            : rounds && i == 2 ? &SampleSystem
                                                               : &WaitForEver;
        CreateThread(nullptr, 0, work, window, 0, nullptr);
    }
    const HANDLE file = CreateFileW(__wargv[1], GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    DWORD written = 0;
    WriteFile(file, "ready...", 8, &written, nullptr);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        DispatchMessageW(&message);
    }
    return 0;
}
