// Windows without a picture, messages and timers.
#pragma once

#include "simulation/include/winapi/types.h"

using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;
using LRESULT = std::intptr_t;
using ATOM = WORD;
using HMENU = struct HMENU__*;
using HICON = struct HICON__*;
using HCURSOR = HICON;
using HBRUSH = struct HBRUSH__*;
using WNDPROC = LRESULT(CALLBACK*)(HWND hWindow, UINT nMessage, WPARAM wParam, LPARAM lParam);
using TIMERPROC = void(CALLBACK*)(HWND hWindow, UINT nMessage, UINT_PTR nId, DWORD dwTime);
using PDWORD_PTR = DWORD_PTR*;

#define WM_NULL 0x0000U
#define WM_CREATE 0x0001U
#define WM_DESTROY 0x0002U
#define WM_CLOSE 0x0010U
#define WM_QUIT 0x0012U
#define WM_COPYDATA 0x004AU
#define WM_TIMER 0x0113U
#define WM_USER 0x0400U
#define WM_APP 0x8000U
#define HWND_MESSAGE (reinterpret_cast<HWND>(static_cast<std::intptr_t>(-3)))
#define PM_NOREMOVE 0U
#define PM_REMOVE 1U
#define PM_QS_SENDMESSAGE (0x40U << 16)  // what was sent is delivered, and no other message is looked for
#define SMTO_NORMAL 0U
#define SMTO_BLOCK 1U
#define SMTO_ABORTIFHUNG 2U
#define SW_SHOW 5

struct POINT {
    LONG x;
    LONG y;
};
struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    POINT pt;
};
struct WNDCLASSEXW {
    UINT cbSize;
    UINT style;
    WNDPROC lpfnWndProc;
    int cbClsExtra;
    int cbWndExtra;
    HINSTANCE hInstance;
    HICON hIcon;
    HCURSOR hCursor;
    HBRUSH hbrBackground;
    LPCWSTR lpszMenuName;
    LPCWSTR lpszClassName;
    HICON hIconSm;
};
struct COPYDATASTRUCT {
    ULONG_PTR dwData;
    DWORD cbData;
    PVOID lpData;
};

ATOM RegisterClassExW(const WNDCLASSEXW* pClass);
BOOL UnregisterClassW(LPCWSTR szClass, HINSTANCE hInstance);
HWND CreateWindowExW(DWORD dwExStyle, LPCWSTR szClass, LPCWSTR szTitle, DWORD dwStyle, int x, int y, int nWidth,
                     int nHeight, HWND hParent, HMENU hMenu, HINSTANCE hInstance, LPVOID pParameter);
BOOL DestroyWindow(HWND hWindow);
BOOL IsWindow(HWND hWindow);
BOOL ShowWindow(HWND hWindow, int nCommand);
BOOL UpdateWindow(HWND hWindow);
HWND GetDesktopWindow();
HWND FindWindowW(LPCWSTR szClass, LPCWSTR szTitle);
HWND FindWindowExW(HWND hParent, HWND hAfter, LPCWSTR szClass, LPCWSTR szTitle);
LRESULT DefWindowProcW(HWND hWindow, UINT nMessage, WPARAM wParam, LPARAM lParam);

BOOL GetMessageW(MSG* pMessage, HWND hWindow, UINT nFirst, UINT nLast);
BOOL PeekMessageW(MSG* pMessage, HWND hWindow, UINT nFirst, UINT nLast, UINT nRemove);
BOOL TranslateMessage(const MSG* pMessage);
LRESULT DispatchMessageW(const MSG* pMessage);
BOOL PostMessageW(HWND hWindow, UINT nMessage, WPARAM wParam, LPARAM lParam);
BOOL PostThreadMessageW(DWORD nThread, UINT nMessage, WPARAM wParam, LPARAM lParam);
void PostQuitMessage(int nExitCode);
LRESULT SendMessageW(HWND hWindow, UINT nMessage, WPARAM wParam, LPARAM lParam);
LRESULT SendMessageTimeoutW(HWND hWindow, UINT nMessage, WPARAM wParam, LPARAM lParam, UINT nFlags, UINT nTimeoutMs,
                            PDWORD_PTR pResult);

UINT_PTR SetTimer(HWND hWindow, UINT_PTR nId, UINT nPeriodMs, TIMERPROC pfnProcedure);
BOOL KillTimer(HWND hWindow, UINT_PTR nId);
