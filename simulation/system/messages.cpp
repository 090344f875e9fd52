// Windows, messages and timers.
#include "simulation/system/call.h"

using namespace simulation;

namespace {

constexpr UINT kShortestPeriodMs = 10;

// A call of a procedure of the product, on the thread of its window: its code is under the scheduler again.
LRESULT CallProcedure(const WNDPROC pfnProcedure, const MSG& message) {
    const CScheduler::COutside outside(*g_pScheduler);
    return pfnProcedure(message.hwnd, message.message, message.wParam, message.lParam);
}

// Gives the thread's procedures the messages that others have sent, while it looks for a message.
void DeliverSent(CCall& call) {
    MessageQueue& queue = call.Machine().m_desktop.QueueOf(call.Task());
    while (!queue.sent.empty()) {
        const std::shared_ptr<SentMessage> pSent = queue.sent.front();
        queue.sent.pop_front();
        HappensAfter(pSent.get());
        const CWindow* const pWindow = call.Machine().m_desktop.Find(pSent->message.hwnd);
        CDesktop::Answer(*pSent, CallProcedure(pWindow->windowClass.pfnProcedure, pSent->message));
    }
}

CWindow* FindWindowOf(CCall& call, HWND hWindow) {
    CWindow* const pWindow = call.Machine().m_desktop.Find(hWindow);
    if (pWindow == nullptr) {
        call.Fail(ERROR_INVALID_WINDOW_HANDLE);
    }
    return pWindow;
}

// The answer of the window's procedure; false with the reason in the last error.
bool SendWithin(CCall& call, const MSG& message, Nanoseconds nDeadline, bool bTakesOthers, LRESULT& nResult) {
    CWindow* const pWindow = FindWindowOf(call, message.hwnd);
    if (pWindow == nullptr) {
        return false;
    }
    if (pWindow->pOwner == &call.Task()) {
        nResult = CallProcedure(pWindow->windowClass.pfnProcedure, message);
        return true;
    }
    const auto pSent = std::make_shared<SentMessage>();
    pSent->message = message;
    CDesktop& desktop = call.Machine().m_desktop;
    desktop.Send(*pWindow->pOwner, pSent);
    MessageQueue& own = desktop.QueueOf(call.Task());
    while (!pSent->bAnswered && !pSent->bLost) {
        std::vector<CWaitList*> lists{&pSent->sender};
        if (bTakesOthers) {
            DeliverSent(call);
            lists.push_back(&own.waiters);
        }
        if (pSent->bAnswered || pSent->bLost) {
            break;
        }
        if (!g_pScheduler->Park(lists, nDeadline, "the answer to a message")) {
            call.Fail(ERROR_TIMEOUT);
            return false;
        }
    }
    if (pSent->bLost) {
        call.Fail(ERROR_INVALID_WINDOW_HANDLE);
        return false;
    }
    HappensAfter(pSent.get());
    nResult = pSent->nResult;
    return true;
}

}  // namespace

ATOM RegisterClassExW(const WNDCLASSEXW* pClass) {
    CCall call("RegisterClassExW");
    call.Note(pClass->lpszClassName);
    if (call.Fault({ERROR_NOT_ENOUGH_MEMORY}) != 0) {
        return 0;
    }
    if (!call.Machine().m_desktop.AddClass(call.Task().m_nProcess, {pClass->lpszClassName, pClass->lpfnWndProc})) {
        call.Fail(ERROR_CLASS_ALREADY_EXISTS);
        return 0;
    }
    constexpr ATOM kAnyAtom = 0xC000;
    return kAnyAtom;
}

BOOL UnregisterClassW(LPCWSTR szClass, HINSTANCE) {
    CCall call("UnregisterClassW");
    return call.Machine().m_desktop.RemoveClass(call.Task().m_nProcess, szClass)
               ? TRUE
               : call.Fail(ERROR_CLASS_DOES_NOT_EXIST);
}

HWND CreateWindowExW(DWORD, LPCWSTR szClass, LPCWSTR szTitle, DWORD, int, int, int, int, HWND hParent, HMENU, HINSTANCE,
                     LPVOID) {
    CCall call("CreateWindowExW");
    call.Note(szClass);
    if (call.Fault({ERROR_NOT_ENOUGH_MEMORY}) != 0) {
        return nullptr;
    }
    CDesktop& desktop = call.Machine().m_desktop;
    const WindowClass* const pClass = desktop.FindClass(call.Task().m_nProcess, szClass);
    if (pClass == nullptr) {
        call.Fail(ERROR_CANNOT_FIND_WND_CLASS);
        return nullptr;
    }
    desktop.QueueOf(call.Task());
    const HWND hWindow = desktop.Add(call.Task(), *pClass, szTitle != nullptr ? szTitle : L"", hParent == HWND_MESSAGE);
    if (CallProcedure(pClass->pfnProcedure, MakeMessage(hWindow, WM_CREATE, 0, 0)) == -1) {
        desktop.Remove(hWindow);
        return nullptr;
    }
    return hWindow;
}

BOOL DestroyWindow(HWND hWindow) {
    CCall call("DestroyWindow", Number(hWindow));
    CWindow* const pWindow = FindWindowOf(call, hWindow);
    if (pWindow == nullptr) {
        return FALSE;
    }
    if (pWindow->pOwner != &call.Task()) {
        return call.Fail(ERROR_ACCESS_DENIED);
    }
    if (!pWindow->bDestroying) {
        pWindow->bDestroying = true;
        CallProcedure(pWindow->windowClass.pfnProcedure, MakeMessage(hWindow, WM_DESTROY, 0, 0));
        call.Machine().m_desktop.Remove(hWindow);
    }
    return TRUE;
}

BOOL IsWindow(HWND hWindow) {
    CCall call("IsWindow", Number(hWindow));
    return FindWindowOf(call, hWindow) != nullptr ? TRUE : FALSE;
}

BOOL ShowWindow(HWND, int) {
    return FALSE;
}

BOOL UpdateWindow(HWND) {
    return TRUE;
}

HWND GetDesktopWindow() {
    return nullptr;
}

HWND FindWindowW(LPCWSTR szClass, LPCWSTR szTitle) {
    CCall call("FindWindowW");
    call.Note(szClass != nullptr ? szClass : szTitle != nullptr ? szTitle : L"");
    const HWND hFound = call.Machine().m_desktop.Find(/*bMessageOnly=*/false, szClass, szTitle);
    if (hFound == nullptr) {
        call.Fail(ERROR_FILE_NOT_FOUND);
    }
    return hFound;
}

HWND FindWindowExW(HWND hParent, HWND, LPCWSTR szClass, LPCWSTR szTitle) {
    CCall call("FindWindowExW");
    return call.Machine().m_desktop.Find(hParent == HWND_MESSAGE, szClass, szTitle);
}

LRESULT DefWindowProcW(HWND hWindow, UINT nMessage, WPARAM, LPARAM) {
    if (nMessage == WM_CLOSE) {
        DestroyWindow(hWindow);
    }
    return 0;
}

BOOL GetMessageW(MSG* pMessage, HWND, UINT nFirst, UINT nLast) {
    CCall call("GetMessageW");
    CDesktop& desktop = call.Machine().m_desktop;
    MessageQueue& queue = desktop.QueueOf(call.Task());
    for (;;) {
        DeliverSent(call);
        if (const std::optional<MSG> found = desktop.Take(call.Task(), nFirst, nLast, /*bRemove=*/true)) {
            *pMessage = *found;
            return found->message != WM_QUIT ? TRUE : FALSE;
        }
        g_pScheduler->Park({&queue.waiters}, desktop.NextTimer(call.Task()), "a message");
    }
}

BOOL PeekMessageW(MSG* pMessage, HWND, UINT nFirst, UINT nLast, UINT nRemove) {
    CCall call("PeekMessageW");
    DeliverSent(call);
    if ((nRemove & PM_QS_SENDMESSAGE) != 0) {
        return FALSE;
    }
    const std::optional<MSG> found =
        call.Machine().m_desktop.Take(call.Task(), nFirst, nLast, (nRemove & PM_REMOVE) != 0);
    if (!found) {
        return FALSE;
    }
    *pMessage = *found;
    return TRUE;
}

BOOL TranslateMessage(const MSG*) {
    return FALSE;
}

LRESULT DispatchMessageW(const MSG* pMessage) {
    CCall call("DispatchMessageW", pMessage->message, pMessage->wParam);
    const CWindow* const pWindow = call.Machine().m_desktop.Find(pMessage->hwnd);
    return pWindow != nullptr ? CallProcedure(pWindow->windowClass.pfnProcedure, *pMessage) : 0;
}

BOOL PostMessageW(HWND hWindow, UINT nMessage, WPARAM wParam, LPARAM lParam) {
    CCall call("PostMessageW", Number(hWindow), nMessage);
    const CWindow* const pWindow = FindWindowOf(call, hWindow);
    if (pWindow == nullptr || call.Fault({ERROR_NOT_ENOUGH_QUOTA}) != 0) {
        return FALSE;
    }
    call.Machine().m_desktop.Post(*pWindow->pOwner, MakeMessage(hWindow, nMessage, wParam, lParam));
    return TRUE;
}

BOOL PostThreadMessageW(DWORD nThread, UINT nMessage, WPARAM wParam, LPARAM lParam) {
    CCall call("PostThreadMessageW", nThread, nMessage);
    CDesktop& desktop = call.Machine().m_desktop;
    if (desktop.FindQueue(nThread) == nullptr) {
        return call.Fail(ERROR_INVALID_THREAD_ID);
    }
    if (call.Fault({ERROR_NOT_ENOUGH_QUOTA}) != 0) {
        return FALSE;
    }
    desktop.Post(*g_pScheduler->Tasks()[nThread - 1], MakeMessage(nullptr, nMessage, wParam, lParam));
    return TRUE;
}

void PostQuitMessage(int nExitCode) {
    CCall call("PostQuitMessage");
    MessageQueue& queue = call.Machine().m_desktop.QueueOf(call.Task());
    queue.quit = nExitCode;
}

LRESULT SendMessageW(HWND hWindow, UINT nMessage, WPARAM wParam, LPARAM lParam) {
    CCall call("SendMessageW", Number(hWindow), nMessage);
    LRESULT nResult = 0;
    SendWithin(call, MakeMessage(hWindow, nMessage, wParam, lParam), kNever, /*bTakesOthers=*/true, nResult);
    return nResult;
}

LRESULT SendMessageTimeoutW(HWND hWindow, UINT nMessage, WPARAM wParam, LPARAM lParam, UINT nFlags, UINT nTimeoutMs,
                            PDWORD_PTR pResult) {
    CCall call("SendMessageTimeoutW", Number(hWindow), nMessage);
    LRESULT nResult = 0;
    if (!SendWithin(call, MakeMessage(hWindow, nMessage, wParam, lParam), g_pScheduler->Deadline(nTimeoutMs),
                    (nFlags & SMTO_BLOCK) == 0, nResult)) {
        return 0;
    }
    *pResult = static_cast<DWORD_PTR>(nResult);
    return 1;
}

// One without a procedure and with a window, as the product's.
UINT_PTR SetTimer(HWND hWindow, UINT_PTR nId, UINT nPeriodMs, TIMERPROC) {
    CCall call("SetTimer", nId, nPeriodMs);
    CWindow* const pWindow = FindWindowOf(call, hWindow);
    if (pWindow == nullptr || call.Fault({ERROR_NOT_ENOUGH_MEMORY}) != 0) {
        return 0;
    }
    if (pWindow->pOwner != &call.Task() && !call.Machine().m_flavour.bForeignTimers) {
        call.Fail(ERROR_ACCESS_DENIED);
        return 0;
    }
    call.Machine().m_desktop.SetTimer(*pWindow, nId, std::max(nPeriodMs, kShortestPeriodMs) * kMillisecond);
    return nId;
}

BOOL KillTimer(HWND hWindow, UINT_PTR nId) {
    CCall call("KillTimer", nId);
    const CWindow* const pWindow = FindWindowOf(call, hWindow);
    if (pWindow == nullptr) {
        return FALSE;
    }
    if (pWindow->pOwner != &call.Task() && !call.Machine().m_flavour.bForeignTimers) {
        return call.Fail(ERROR_ACCESS_DENIED);
    }
    return call.Machine().m_desktop.KillTimer(hWindow, nId) ? TRUE : call.Fail(ERROR_INVALID_PARAMETER);
}
