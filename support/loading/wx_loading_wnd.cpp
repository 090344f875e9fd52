#include "support/loading/wx_loading_wnd.h"

#include <array>

#include "foundation/log.h"
#include "foundation/wide_format.h"
#include "support/loading/loading_layout.h"

namespace {

constexpr DWORD kExtendedStyle = WS_EX_LAYERED | WS_EX_TOOLWINDOW | WS_EX_TOPMOST;

// The data of the window's class. Its address makes the automatic name, so there is one for the whole process.
struct ClassRecord {
    WNDCLASSEXW wc{};
    std::array<wchar_t, 32> name{};
};

class CScreenDc {
  public:
    CScreenDc() = default;
    ~CScreenDc() {
        if (m_hDc != nullptr) {
            ReleaseDC(nullptr, m_hDc);
        }
    }
    CScreenDc(const CScreenDc&) = delete;
    CScreenDc& operator=(const CScreenDc&) = delete;
    HDC Get() const { return m_hDc; }

  private:
    HDC m_hDc = GetDC(nullptr);
};

}  // namespace

int SystemDpi() {
    const CScreenDc screen;
    return screen.Get() != nullptr ? GetDeviceCaps(screen.Get(), LOGPIXELSX) : kUnscaledDpi;
}

CWxLoadingWnd::CWxLoadingWnd(HMODULE pictures) : m_hPictures(pictures) {}

CWxLoadingWnd::~CWxLoadingWnd() {
    if (m_hWnd != nullptr) {
        DestroyWindow(m_hWnd);
    }
}

ATOM CWxLoadingWnd::RegisterWindowClass() {
    static ClassRecord record;
    static const ATOM atom = [] {
        FormatWide(record.name.data(), record.name.size(), L"ATL:%p", static_cast<void*>(&record));
        record.wc.cbSize = sizeof(record.wc);
        record.wc.style = CS_VREDRAW | CS_HREDRAW | CS_DBLCLKS;
        record.wc.lpfnWndProc = &StartWindowProc;
        record.wc.hInstance = GetModuleHandleW(nullptr);
        record.wc.hCursor = LoadCursorW(nullptr, IDC_ARROW);
        record.wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
        record.wc.lpszClassName = record.name.data();
        return RegisterClassExW(&record.wc);
    }();
    return atom;
}

HWND CWxLoadingWnd::Create() {
    const ATOM atom = RegisterWindowClass();
    if (atom == 0) {
        return nullptr;
    }
    CreateWindowExW(kExtendedStyle, MAKEINTATOM(atom), /*lpWindowName=*/nullptr, WS_POPUP, CW_USEDEFAULT, CW_USEDEFAULT,
                    CW_USEDEFAULT, CW_USEDEFAULT, /*hWndParent=*/nullptr, /*hMenu=*/nullptr, GetModuleHandleW(nullptr),
                    /*lpParam=*/this);
    return m_hWnd;
}

// The procedure of the class: it handles a message itself until the window knows its object.
LRESULT CALLBACK CWxLoadingWnd::StartWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept {
    if (message != WM_NCCREATE) {
        return DefWindowProcW(window, message, wParam, lParam);
    }
    auto* const self = static_cast<CWxLoadingWnd*>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams);
    self->m_hWnd = window;
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
    const WNDPROC procedure = self->GetWindowProc();
    SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(procedure));
    return procedure(window, message, wParam, lParam);
}

WNDPROC CWxLoadingWnd::GetWindowProc() {
    return &WindowProc;
}

// A failure inside ends the process here: it must not travel through the system's code that called us.
LRESULT CALLBACK CWxLoadingWnd::WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept {
    auto* const self = reinterpret_cast<CWxLoadingWnd*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    LRESULT result = 0;
    if (!self->ProcessWindowMessage(window, message, wParam, lParam, result)) {
        result = DefWindowProcW(window, message, wParam, lParam);
    }
    if (message == WM_NCDESTROY) {
        self->m_hWnd = nullptr;
        self->OnFinalMessage(window);
    }
    return result;
}

BOOL CWxLoadingWnd::ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM /*lParam*/, LRESULT& result) {
    const BOOL bSaved = m_bMsgHandled;
    const BOOL bHandled = Dispatch(window, message, wParam, result);
    m_bMsgHandled = bSaved;
    return bHandled;
}

BOOL CWxLoadingWnd::Dispatch(HWND /*window*/, UINT message, WPARAM wParam, LRESULT& result) {
    result = 0;
    m_bMsgHandled = TRUE;
    switch (message) {
        case WM_CREATE:
            OnCreate();
            break;
        case WM_CLOSE:
            OnClose();
            break;
        case WM_DESTROY:
            OnDestroy();
            break;
        case WM_PAINT:
            OnPaint();
            break;
        case WM_TIMER:
            OnTimer(wParam);
            break;
        case WM_SHOWWINDOW:
            break;
        case WM_ERASEBKGND:
            result = 1;  // nothing is ever drawn on the window itself
            break;
        default:
            m_bMsgHandled = FALSE;
            break;
    }
    return m_bMsgHandled;
}

void CWxLoadingWnd::OnFinalMessage(HWND /*window*/) {}

// The name that the member was meant to hold, WXMINI_ZOLT_LOADING_WND with the ids of process and thread, never became
// the class's, and programs that look for the window by class know it by its automatic name.
// WxLoadingWnd.HasAnAutomaticClassName holds it.
const wchar_t* CWxLoadingWnd::GetWndClassName() {
    NXL_LOG(L"[%s(%d)] GetWndClassName m_strClassNmae :[%s]", m_strClassNmae.c_str());
    return m_strClassNmae.c_str();
}

void CWxLoadingWnd::SetAppText(const std::wstring& strAppText) {
    NXL_LOG(L"[%s(%d)] SetAppText strAppText :[%s]", strAppText.c_str());
    m_strAppText = strAppText;
}

void CWxLoadingWnd::SetAppName() {
    m_strAppName = m_strAppText;
    NXL_LOG(L"[%s(%d)] SetAppName strAppName :[%s]", m_strAppName.c_str());
}

void CWxLoadingWnd::SetAppWndName(const std::wstring& strAppWndName) {
    NXL_LOG(L"[%s(%d)] SetAppWndName strAppWndName :[%s]", strAppWndName.c_str());
    m_strAppWndName = strAppWndName;
}

void CWxLoadingWnd::SetTimeOut(std::uint32_t dwTimeOut) {
    NXL_LOG(L"[%s(%d)] SetTimeOut dwTimeOut :[%d]", dwTimeOut);
    m_dwTimeOut = dwTimeOut;
}

void CWxLoadingWnd::OnCreate() {
    NXL_LOG(L"[%s(%d)] OnCreate");
    m_pBackground = LoadPngResource(m_hPictures, kLoadingBackgroundResource);
    m_pDefaultIcon = LoadPngResource(m_hPictures, kLoadingIconResource);
    if (!m_pBackground || !m_pDefaultIcon) {
        DestroyWindow(m_hWnd);
    }
}

void CWxLoadingWnd::OnClose() {
    NXL_LOG(L"[%s(%d)] OnClose");
    DestroyWindow(m_hWnd);
}

void CWxLoadingWnd::OnDestroy() {
    m_pBackground.reset();
    m_pDefaultIcon.reset();
    m_pAppIcon.reset();
}

void CWxLoadingWnd::OnPaint() {
    PAINTSTRUCT paint;
    BeginPaint(m_hWnd, &paint);
    EndPaint(m_hWnd, &paint);
    PaintLayered();
}

void CWxLoadingWnd::OnTimer(UINT_PTR timerId) {
    const auto isAwaitedThere = [this] {
        return FindWindowW(/*lpClassName=*/nullptr, m_strAppWndName.c_str()) != nullptr;
    };
    switch (OnLoadingTimer(timerId, isAwaitedThere)) {
        case LoadingTimerAction::CloseAtTimeout:
            NXL_LOG(L"[%s(%d)] OnTimer TIMER_ID_DELYA_CLOSE");
            CloseByTimer(timerId);
            break;
        case LoadingTimerAction::CloseForAwaitedWindow:
            NXL_LOG(L"[%s(%d)] OnTimer TIMER_ID_CHECK_WXWND_SHOW success");
            CloseByTimer(timerId);
            break;
        case LoadingTimerAction::Stay:
            break;
    }
}

// The other timer ends with the window.
void CWxLoadingWnd::CloseByTimer(UINT_PTR timerId) {
    KillTimer(m_hWnd, timerId);
    ShowWindow(m_hWnd, SW_HIDE);
    PostMessageW(m_hWnd, WM_CLOSE, 0, 0);
}

void CWxLoadingWnd::StartTimers() {
    if (m_hWnd != nullptr) {  // without a window they would be the thread's own
        SetTimer(m_hWnd, TIMER_ID_DELYA_CLOSE, m_dwTimeOut, /*lpTimerFunc=*/nullptr);
        SetTimer(m_hWnd, TIMER_ID_CHECK_WXWND_SHOW, kCheckWxWndShowMs, /*lpTimerFunc=*/nullptr);
    }
}

void CWxLoadingWnd::Resize() {
    const int side = ScaleByDpi(kLoadingSide, SystemDpi());
    SetWindowPos(m_hWnd, /*hWndInsertAfter=*/nullptr, 0, 0, side, side, SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void CWxLoadingWnd::CenterWindow() {
    MONITORINFO monitor{};
    monitor.cbSize = sizeof(monitor);
    RECT window{};
    if (!GetMonitorInfoW(MonitorFromWindow(m_hWnd, MONITOR_DEFAULTTONEAREST), &monitor) ||
        !GetWindowRect(m_hWnd, &window)) {
        return;
    }
    const RECT& work = monitor.rcWork;
    const LoadingPlace place = CentreInWorkArea({work.left, work.top, work.right, work.bottom},
                                                window.right - window.left, window.bottom - window.top);
    SetWindowPos(m_hWnd, /*hWndInsertAfter=*/nullptr, place.x, place.y, 0, 0,
                 SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}
