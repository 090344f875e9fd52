// Windows, their messages and their timers.
#pragma once

#include <deque>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulation/include/winapi/messages.h"
#include "simulation/kernel/task.h"

namespace simulation {

// Times and places are not imitated.
inline MSG MakeMessage(HWND hWindow, UINT nMessage, WPARAM wParam, LPARAM lParam) {
    return {hWindow, nMessage, wParam, lParam, 0, {0, 0}};
}

struct WindowClass {
    std::wstring strName;
    WNDPROC pfnProcedure;
};

struct CWindow {
    HWND hWindow;
    CTask* pOwner;  // weak; the thread that made it
    WindowClass windowClass;
    std::wstring strTitle;
    bool bMessageOnly;
    bool bDestroying = false;
};

// A message whose sender waits for the answer, or no longer does.
struct SentMessage {
    MSG message;
    LRESULT nResult = 0;
    bool bAnswered = false;
    bool bLost = false;  // its window or the thread of its window has gone
    CWaitList sender;
};

// The messages of one thread.
struct MessageQueue {
    std::deque<std::shared_ptr<SentMessage>> sent;
    std::list<MSG> posted;
    std::optional<int> quit;
    bool bEnded = false;  // with its thread
    CWaitList waiters;
};

struct Timer {
    HWND hWindow;
    CTask* pOwner;  // weak; the thread of the window
    UINT_PTR nId;
    Nanoseconds nPeriod;
    Nanoseconds nNext;
};

// All windows of the machine. Messages are given to the product's procedures by simulation/system/messages.cpp.
class CDesktop {
  public:
    // False when the process has a class of this name. Names without regard to case.
    bool AddClass(std::uint32_t nProcess, WindowClass windowClass);
    bool RemoveClass(std::uint32_t nProcess, const std::wstring& strName);
    const WindowClass* FindClass(std::uint32_t nProcess, const std::wstring& strName) const;

    HWND Add(CTask& owner, const WindowClass& windowClass, const std::wstring& strTitle, bool bMessageOnly);
    // Null for a value that means nothing.
    CWindow* Find(HWND hWindow);
    // Null for szClass or szTitle: any.
    HWND Find(bool bMessageOnly, LPCWSTR szClass, LPCWSTR szTitle) const;
    // Its timers and messages go with it.
    void Remove(HWND hWindow);

    // The queue of a thread is made when it first needs one.
    MessageQueue& QueueOf(const CTask& task) { return m_queues[task.m_nId]; }
    MessageQueue* FindQueue(std::uint32_t nThread);
    void Post(const CTask& receiver, const MSG& message);
    void Send(const CTask& receiver, const std::shared_ptr<SentMessage>& pSent);
    static void Answer(SentMessage& sent, LRESULT nResult);

    // A timer of this window and id begins again.
    void SetTimer(CWindow& window, UINT_PTR nId, Nanoseconds nPeriod);
    bool KillTimer(HWND hWindow, UINT_PTR nId);
    // When the next timer of the thread is due.
    Nanoseconds NextTimer(const CTask& task) const;

    // The next message of the thread between these two numbers, both 0 for any: what was posted, then the quit, then a
    // timer that is due.
    std::optional<MSG> Take(const CTask& task, UINT nFirst, UINT nLast, bool bRemove);

    void ThreadEnded(const CTask& task);

  private:
    static void Lose(SentMessage& sent);

    std::map<std::pair<std::uint32_t, std::wstring>, WindowClass> m_classes;
    std::map<HWND, CWindow> m_windows;
    std::map<std::uint32_t, MessageQueue> m_queues;
    std::list<Timer> m_timers;
    std::uintptr_t m_nNextWindow = 0x10010;
};

}  // namespace simulation
