// The loading window itself: its messages, its pictures, and how it is painted.
#pragma once

#include "support/picture/gdiplus_objects.h"

#include <cstdint>
#include <string>

// Resources of type PNG.
inline constexpr WORD kLoadingIconResource = 131;        // 96 by 96 pixels
inline constexpr WORD kLoadingBackgroundResource = 132;  // 360 by 360 pixels

// A layered popup without a frame, painted through an off-screen bitmap alone, on top, without a task-bar button, never
// active. One thread makes it, calls every operation and runs its messages. The window is gone with the object.
class CWxLoadingWnd {
  public:
    // pictures: the module whose resources the window shows; weak.
    explicit CWxLoadingWnd(HMODULE pictures = GetModuleHandleW(nullptr));

    // Every message of the window comes through here. Non-zero when it has been handled, with its result in result.
    virtual BOOL ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result);
    virtual ~CWxLoadingWnd();
    // The procedure that the window gets with its first message.
    virtual WNDPROC GetWindowProc();
    // The last call for a window; nothing is left to do.
    virtual void OnFinalMessage(HWND window);
    // Empty: the class is registered under an automatic name instead.
    virtual const wchar_t* GetWndClassName();
    CWxLoadingWnd(const CWxLoadingWnd&) = delete;
    CWxLoadingWnd& operator=(const CWxLoadingWnd&) = delete;

    // Makes the window, hidden and without size; null when it cannot be made or lacks one of its pictures.
    HWND Create();
    // The window, null when there is none (any more).
    HWND Window() const { return m_hWnd; }

    void SetAppText(const std::wstring& strAppText);
    // The text names the icon's file too.
    void SetAppName();
    void SetAppWndName(const std::wstring& strAppWndName);
    void SetTimeOut(std::uint32_t dwTimeOut);
    std::uint32_t TimeOut() const { return m_dwTimeOut; }

    // Fetches the icon to NxlIconCache in the temporary folder and shows it; blocks for the whole transfer, which runs
    // on another thread while this one takes the messages that are sent to its windows. An earlier file of that name is
    // deleted first, so that it cannot pass for this one. On a failure the icon stays as it is.
    void DownAppIcon(const std::wstring& strAppIconUrl);
    // Shows the picture in a file, unless there is an icon already. What is not a picture leaves the default one.
    void SetAppIcon(const std::wstring& strAppIconPath);
    void ClearAppIcon() { m_pAppIcon.reset(); }

    // Gives the window its size at the system's DPI.
    void Resize();
    // Moves the window to the middle of its monitor's work area.
    void CenterWindow();
    // From now on the window closes at its timeout, or when the awaited window is there.
    void StartTimers();
    // Draws everything and puts it on the screen. What cannot be drawn is left out.
    void PaintLayered();

  private:
    static LRESULT CALLBACK StartWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept;
    static LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept;
    static ATOM RegisterWindowClass();

    BOOL Dispatch(HWND window, UINT message, WPARAM wParam, LRESULT& result);
    void OnCreate();
    void OnClose();
    void OnDestroy();
    void OnPaint();
    void OnTimer(UINT_PTR timerId);
    void CloseByTimer(UINT_PTR timerId);
    void DrawPictures(Gdiplus::GpGraphics* graphics, const RECT& client, int dpi) const;
    void DrawTexts(Gdiplus::GpGraphics* graphics, const RECT& client, int dpi) const;

    HMODULE m_hPictures;  // weak
    HWND m_hWnd = nullptr;
    BOOL m_bMsgHandled = FALSE;
    std::wstring m_strAppText;
    std::wstring m_strAppIconUrl;
    std::wstring m_strAppWndName;
    std::wstring m_strAppName = L"tmpIcon.png";  // stem of the icon's file name
    CImage m_pBackground;
    CImage m_pDefaultIcon;
    CImage m_pAppIcon;
    std::uint32_t m_dwTimeOut = 2000;  // milliseconds
    std::wstring m_strClassNmae;
};

// The system's DPI, 96 when it cannot be asked.
int SystemDpi();

// The HttpTransferCallback of the icon's download: HttpDownloadFile with log lines of its own.
std::uint32_t HttpDownload(std::uint32_t status, const void* data, std::uint32_t size, void* context);
