#include "simulation/kernel/desktop.h"

#include <algorithm>
#include <cwctype>

#include "simulation/kernel/scheduler.h"

namespace simulation {
namespace {

constexpr std::uintptr_t kWindowStep = 2;

std::wstring Folded(std::wstring strText) {
    for (wchar_t& letter : strText) {
        letter = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(letter)));
    }
    return strText;
}

bool IsBetween(UINT nMessage, UINT nFirst, UINT nLast) {
    return (nFirst == 0 && nLast == 0) || (nFirst <= nMessage && nMessage <= nLast);
}

}  // namespace

bool CDesktop::AddClass(std::uint32_t nProcess, WindowClass windowClass) {
    return m_classes.emplace(std::pair(nProcess, Folded(windowClass.strName)), std::move(windowClass)).second;
}

bool CDesktop::RemoveClass(std::uint32_t nProcess, const std::wstring& strName) {
    return m_classes.erase({nProcess, Folded(strName)}) != 0;
}

const WindowClass* CDesktop::FindClass(std::uint32_t nProcess, const std::wstring& strName) const {
    const auto found = m_classes.find({nProcess, Folded(strName)});
    return found != m_classes.end() ? &found->second : nullptr;
}

HWND CDesktop::Add(CTask& owner, const WindowClass& windowClass, const std::wstring& strTitle, bool bMessageOnly) {
    const auto hWindow = reinterpret_cast<HWND>(m_nNextWindow);
    m_nNextWindow += kWindowStep;
    m_windows.emplace(hWindow, CWindow{hWindow, &owner, windowClass, strTitle, bMessageOnly});
    return hWindow;
}

CWindow* CDesktop::Find(HWND hWindow) {
    const auto found = m_windows.find(hWindow);
    return found != m_windows.end() ? &found->second : nullptr;
}

HWND CDesktop::Find(bool bMessageOnly, LPCWSTR szClass, LPCWSTR szTitle) const {
    for (const auto& [hWindow, window] : m_windows) {
        if (window.bMessageOnly == bMessageOnly &&
            (szClass == nullptr || Folded(window.windowClass.strName) == Folded(szClass)) &&
            (szTitle == nullptr || Folded(window.strTitle) == Folded(szTitle))) {
            return hWindow;
        }
    }
    return nullptr;
}

void CDesktop::Remove(HWND hWindow) {
    const CWindow* const pWindow = Find(hWindow);
    if (pWindow == nullptr) {
        return;
    }
    std::erase_if(m_timers, [&](const Timer& timer) { return timer.hWindow == hWindow; });
    MessageQueue& queue = QueueOf(*pWindow->pOwner);
    std::erase_if(queue.posted, [&](const MSG& message) { return message.hwnd == hWindow; });
    for (const std::shared_ptr<SentMessage>& pSent : queue.sent) {
        if (pSent->message.hwnd == hWindow) {
            Lose(*pSent);
        }
    }
    std::erase_if(queue.sent, [](const std::shared_ptr<SentMessage>& pSent) { return pSent->bLost; });
    m_windows.erase(hWindow);
}

MessageQueue* CDesktop::FindQueue(std::uint32_t nThread) {
    const auto found = m_queues.find(nThread);
    return found != m_queues.end() && !found->second.bEnded ? &found->second : nullptr;
}

void CDesktop::Post(const CTask& receiver, const MSG& message) {
    MessageQueue& queue = QueueOf(receiver);
    queue.posted.push_back(message);
    HappensBefore(&queue.posted.back());
    g_pScheduler->WakeAll(queue.waiters);
}

void CDesktop::Send(const CTask& receiver, const std::shared_ptr<SentMessage>& pSent) {
    MessageQueue& queue = QueueOf(receiver);
    HappensBefore(pSent.get());
    queue.sent.push_back(pSent);
    g_pScheduler->WakeAll(queue.waiters);
}

void CDesktop::Answer(SentMessage& sent, LRESULT nResult) {
    HappensBefore(&sent);
    sent.nResult = nResult;
    sent.bAnswered = true;
    g_pScheduler->WakeAll(sent.sender);
}

void CDesktop::Lose(SentMessage& sent) {
    sent.bLost = true;
    g_pScheduler->WakeAll(sent.sender);
}

void CDesktop::SetTimer(CWindow& window, UINT_PTR nId, Nanoseconds nPeriod) {
    KillTimer(window.hWindow, nId);
    m_timers.push_back({window.hWindow, window.pOwner, nId, nPeriod, g_pScheduler->Now() + nPeriod});
    HappensBefore(&m_timers.back());
    // The thread may wait for a message until the timer that was next.
    g_pScheduler->WakeAll(QueueOf(*window.pOwner).waiters);
}

bool CDesktop::KillTimer(HWND hWindow, UINT_PTR nId) {
    return std::erase_if(m_timers, [&](const Timer& timer) { return timer.hWindow == hWindow && timer.nId == nId; }) !=
           0;
}

Nanoseconds CDesktop::NextTimer(const CTask& task) const {
    Nanoseconds nNext = kNever;
    for (const Timer& timer : m_timers) {
        if (timer.pOwner == &task) {
            nNext = std::min(nNext, timer.nNext);
        }
    }
    return nNext;
}

std::optional<MSG> CDesktop::Take(const CTask& task, UINT nFirst, UINT nLast, bool bRemove) {
    MessageQueue& queue = QueueOf(task);
    for (auto message = queue.posted.begin(); message != queue.posted.end(); ++message) {
        if (IsBetween(message->message, nFirst, nLast)) {
            HappensAfter(&*message);
            const MSG found = *message;
            if (bRemove) {
                queue.posted.erase(message);
            }
            return found;
        }
    }
    // A thread that looks for a quit finds it whatever else it looks for.
    if (queue.quit) {
        const MSG found = MakeMessage(nullptr, WM_QUIT, static_cast<WPARAM>(*queue.quit), 0);
        if (bRemove) {
            queue.quit.reset();
        }
        return found;
    }
    if (IsBetween(WM_TIMER, nFirst, nLast)) {
        Timer* pDue = nullptr;
        for (Timer& timer : m_timers) {
            if (timer.pOwner == &task && timer.nNext <= g_pScheduler->Now() &&
                (pDue == nullptr || timer.nNext < pDue->nNext)) {
                pDue = &timer;
            }
        }
        if (pDue != nullptr) {
            HappensAfter(pDue);
            if (bRemove) {
                // Ends that have passed while nobody looked are one message.
                pDue->nNext = g_pScheduler->Now() + pDue->nPeriod;
            }
            return MakeMessage(pDue->hWindow, WM_TIMER, pDue->nId, 0);
        }
    }
    return std::nullopt;
}

void CDesktop::ThreadEnded(const CTask& task) {
    if (FindQueue(task.m_nId) == nullptr) {
        return;
    }
    std::vector<HWND> own;
    for (const auto& [hWindow, window] : m_windows) {
        if (window.pOwner == &task) {
            own.push_back(hWindow);
        }
    }
    for (const HWND hWindow : own) {
        Remove(hWindow);
    }
    MessageQueue& queue = QueueOf(task);
    for (const std::shared_ptr<SentMessage>& pSent : queue.sent) {
        Lose(*pSent);
    }
    queue.sent.clear();
    queue.posted.clear();
    queue.bEnded = true;
}

}  // namespace simulation
