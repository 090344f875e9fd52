// Lets one thread at a time through, each waiting for its turn no longer than it may, until it is closed for all.
#pragma once

#include "client/caller_result.h"
#include "client/deadline.h"
#include "client/native_lock.h"
#include "foundation/thread_annotations.h"

class CTurn {
  public:
    // Ok: the turn is the caller's until Leave. Timeout or Closed: it is not.
    CallerResult Take(const CDeadline& deadline) {
        CNativeHold lock(m_lock);
        while (!m_bClosed && m_bTaken && !deadline.Passed()) {
            m_changed.Wait(lock, deadline.RemainingMs());
        }
        if (m_bClosed) {
            return CallerResult::Closed;
        }
        if (m_bTaken) {
            return CallerResult::Timeout;
        }
        m_bTaken = true;
        return CallerResult::Ok;
    }

    void Leave() {
        {
            const CNativeGuard lock(m_lock);
            m_bTaken = false;
        }
        m_changed.NotifyAll();
    }

    // Nobody gets a turn any more.
    void Close() {
        {
            const CNativeGuard lock(m_lock);
            m_bClosed = true;
        }
        m_changed.NotifyAll();
    }

    // Close, and wait until the thread that has the turn has left.
    void CloseAndWait() {
        Close();
        CNativeHold lock(m_lock);
        while (m_bTaken) {
            m_changed.Wait(lock, INFINITE);
        }
    }

  private:
    CNativeLock m_lock;
    CNativeCondition m_changed;
    bool m_bTaken NXL_GUARDED_BY(m_lock) = false;
    bool m_bClosed NXL_GUARDED_BY(m_lock) = false;
};

// A turn for the length of a scope.
class CTurnScope {
  public:
    CTurnScope(CTurn& turn, const CDeadline& deadline) : m_turn(turn), m_result(turn.Take(deadline)) {}
    ~CTurnScope() {
        if (m_result == CallerResult::Ok) {
            m_turn.Leave();
        }
    }
    CTurnScope(const CTurnScope&) = delete;
    CTurnScope& operator=(const CTurnScope&) = delete;

    CallerResult Result() const { return m_result; }

  private:
    CTurn& m_turn;
    const CallerResult m_result;
};
