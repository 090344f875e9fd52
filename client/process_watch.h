// Tells when a process has ended.
#pragma once

#include <functional>
#include <utility>

#include "foundation/windows_headers.h"

// Watches one process at a time. Not locked: the calls come one after the other.
class CProcessWatch {
  public:
    // ended runs on a thread of the system's pool, once for a process that ends while it is watched.
    explicit CProcessWatch(std::function<void()> ended) : m_ended(std::move(ended)) {}
    ~CProcessWatch() { Stop(); }
    CProcessWatch(const CProcessWatch&) = delete;
    CProcessWatch& operator=(const CProcessWatch&) = delete;

    // The process's handle stays open until Stop. False with the reason in GetLastError.
    bool Begin(HANDLE process) {
        Stop();
        if (RegisterWaitForSingleObject(&m_hWait, process, Ended, this, INFINITE, WT_EXECUTEONLYONCE) == FALSE) {
            m_hWait = nullptr;
            return false;
        }
        return true;
    }
    // Waits for a call of ended that is under way.
    void Stop() {
        if (m_hWait != nullptr) {
            UnregisterWaitEx(m_hWait, INVALID_HANDLE_VALUE);
            m_hWait = nullptr;
        }
    }

  private:
    static void CALLBACK Ended(void* self, BOOLEAN /*timedOut*/) { static_cast<CProcessWatch*>(self)->m_ended(); }

    const std::function<void()> m_ended;
    HANDLE m_hWait = nullptr;
};
