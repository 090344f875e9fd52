// A stand-in for another product's process: copied under that product's name it runs, and shows windows, until told to
// stop.
//
//   stand_in [--stop EVENT] [--ready EVENT] [--parent PID] [--window CLASS TITLE]... [anything else is ignored]
//
// It ends when the stop event is set or the parent process ends. ready is set once everything asked for stands.
#include <windows.h>

#include <shellapi.h>

#include <string>
#include <vector>

namespace {

struct WindowWish {
    std::wstring className;
    std::wstring title;
};

bool Show(const WindowWish& wish) {
    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = DefWindowProcW;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = wish.className.c_str();
    if (RegisterClassExW(&windowClass) == 0 && GetLastError() != ERROR_CLASS_ALREADY_EXISTS) {
        return false;
    }
    HWND window = CreateWindowExW(0, wish.className.c_str(), wish.title.c_str(), WS_POPUP, 0, 0, 1, 1, nullptr, nullptr,
                                  windowClass.hInstance, nullptr);
    // Without a desktop a window of messages alone is all there can be; it is found by class and title all the same.
    if (window == nullptr) {
        window = CreateWindowExW(0, wish.className.c_str(), wish.title.c_str(), 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                 windowClass.hInstance, nullptr);
    }
    return window != nullptr;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
    std::vector<HANDLE> ends;
    std::wstring ready;
    std::vector<WindowWish> windows;
    int count = 0;
    wchar_t** words = CommandLineToArgvW(GetCommandLineW(), &count);
    if (words == nullptr) {
        return 1;
    }
    for (int i = 1; i < count; ++i) {
        const std::wstring word = words[i];
        if (word == L"--stop" && i + 1 < count) {
            ends.push_back(OpenEventW(SYNCHRONIZE, FALSE, words[++i]));
        } else if (word == L"--parent" && i + 1 < count) {
            ends.push_back(OpenProcess(SYNCHRONIZE, FALSE, std::stoul(words[++i])));
        } else if (word == L"--ready" && i + 1 < count) {
            ready = words[++i];
        } else if (word == L"--window" && i + 2 < count) {
            windows.push_back({words[i + 1], words[i + 2]});
            i += 2;
        }
    }
    LocalFree(words);
    for (const HANDLE end : ends) {
        if (end == nullptr) {
            return 2;
        }
    }
    // Nobody could ever stop it.
    if (ends.empty()) {
        return 3;
    }
    for (const WindowWish& wish : windows) {
        if (!Show(wish)) {
            return 4;
        }
    }
    if (!ready.empty()) {
        const HANDLE event = OpenEventW(EVENT_MODIFY_STATE, FALSE, ready.c_str());
        if (event == nullptr) {
            return 5;
        }
        SetEvent(event);
        CloseHandle(event);
    }
    const DWORD handles = static_cast<DWORD>(ends.size());
    while (MsgWaitForMultipleObjects(handles, ends.data(), FALSE, INFINITE, QS_ALLINPUT) == WAIT_OBJECT_0 + handles) {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            DispatchMessageW(&message);
        }
    }
    return 0;
}
