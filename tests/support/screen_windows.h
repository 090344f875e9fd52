// Windows on the screen, as a user sees them.
#pragma once

#include "foundation/windows_headers.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

// Calls of EnumWindows and EnumThreadWindows that look for a loading window by its class.
inline BOOL CALLBACK TakeLoadingWindow(HWND window, LPARAM result) {
    wchar_t name[64] = {};
    GetClassNameW(window, name, 64);
    if (!std::wstring(name).starts_with(L"ATL:")) {
        return TRUE;
    }
    *reinterpret_cast<HWND*>(result) = window;
    return FALSE;
}

// The loading window of a thread, null when there is none.
inline HWND LoadingWindowOf(DWORD threadId) {
    HWND found = nullptr;
    EnumThreadWindows(threadId, &TakeLoadingWindow, reinterpret_cast<LPARAM>(&found));
    return found;
}

// The first loading window of all processes, null when there is none.
inline HWND AnyLoadingWindow() {
    HWND found = nullptr;
    EnumWindows(&TakeLoadingWindow, reinterpret_cast<LPARAM>(&found));
    return found;
}

// A window of this thread's with a title; a visible one takes the focus.
class CTitledWindow {
  public:
    explicit CTitledWindow(const std::wstring& title, bool bVisible = false)
        : m_hWnd(CreateWindowExW(0, L"STATIC", title.c_str(), WS_OVERLAPPEDWINDOW | (bVisible ? WS_VISIBLE : 0), 0, 0,
                                 300, 200, nullptr, nullptr, nullptr, nullptr)) {
        EXPECT_NE(m_hWnd, nullptr);
    }
    ~CTitledWindow() { DestroyWindow(m_hWnd); }
    CTitledWindow(const CTitledWindow&) = delete;
    CTitledWindow& operator=(const CTitledWindow&) = delete;
    HWND Get() const { return m_hWnd; }

  private:
    HWND m_hWnd;
};

inline RECT RectOf(HWND window) {
    RECT rect{};
    EXPECT_TRUE(GetWindowRect(window, &rect));
    return rect;
}

// The colour on the screen, in a window's own coordinates: 0xRRGGBB.
inline std::uint32_t ColourOn(HWND window, int x, int y) {
    const RECT rect = RectOf(window);
    const HDC screen = GetDC(nullptr);
    const COLORREF colour = GetPixel(screen, rect.left + x, rect.top + y);
    ReleaseDC(nullptr, screen);
    return static_cast<std::uint32_t>(GetRValue(colour) << 16 | GetGValue(colour) << 8 | GetBValue(colour));
}
