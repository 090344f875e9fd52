#include "client/mark_turn.h"

#include <set>
#include <utility>

#include "client/native_lock.h"
#include "foundation/thread_annotations.h"

namespace {

struct Marks {
    CNativeLock lock;
    CNativeCondition changed;
    std::set<std::wstring> taken NXL_GUARDED_BY(lock);
};

// Made when the library is loaded and never destroyed: at the end of the process threads may be anywhere.
Marks* const g_pMarks = new Marks;

}  // namespace

CMarkTurn::CMarkTurn(std::wstring strMark, const CDeadline& deadline, const std::atomic<bool>& closed)
    : m_strMark(std::move(strMark)) {
    CNativeHold lock(g_pMarks->lock);
    while (!closed && g_pMarks->taken.count(m_strMark) != 0 && !deadline.Passed()) {
        g_pMarks->changed.Wait(lock, deadline.RemainingMs());
    }
    if (closed) {
        m_result = CallerResult::Closed;
    } else if (!g_pMarks->taken.insert(m_strMark).second) {
        m_result = CallerResult::Timeout;
    }
}

CMarkTurn::~CMarkTurn() {
    if (m_result == CallerResult::Ok) {
        {
            const CNativeGuard lock(g_pMarks->lock);
            g_pMarks->taken.erase(m_strMark);
        }
        g_pMarks->changed.NotifyAll();
    }
}

void CMarkTurn::Wake() {
    {
        // A waiter that has looked but does not wait yet has the lock.
        const CNativeGuard lock(g_pMarks->lock);
    }
    g_pMarks->changed.NotifyAll();
}
