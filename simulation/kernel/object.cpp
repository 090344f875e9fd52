#include "simulation/kernel/object.h"

#include "simulation/kernel/scheduler.h"

namespace simulation {
namespace {

constexpr std::uint32_t kAbandoned = 0x80;
constexpr std::uint32_t kTimeout = 258;

// Ends the wait if it can end now.
bool TrySatisfy(CTask& task, const ObjectWait& wait) {
    if (wait.bAll) {
        for (const ObjectPointer& pObject : wait.objects) {
            if (!pObject->IsSignalled(task)) {
                return false;
            }
        }
        bool bAbandoned = false;
        for (const ObjectPointer& pObject : wait.objects) {
            bAbandoned = pObject->Take(task) || bAbandoned;
        }
        *wait.pResult = bAbandoned ? kAbandoned : 0;
        return true;
    }
    for (std::size_t i = 0; i < wait.objects.size(); ++i) {
        if (wait.objects[i]->IsSignalled(task)) {
            *wait.pResult = static_cast<std::uint32_t>(i) + (wait.objects[i]->Take(task) ? kAbandoned : 0);
            return true;
        }
    }
    return false;
}

// What was done before the objects were signalled comes before what the thread does after its wait.
void FollowSignals(const ObjectWait& wait) {
    for (std::size_t i = 0; i < wait.objects.size(); ++i) {
        if (wait.bAll || i == (*wait.pResult & ~kAbandoned)) {
            HappensAfter(wait.objects[i].get());
        }
    }
}

}  // namespace

void CObject::Signal() {
    // In the order in which they came. Waits that end leave the list.
    const ObjectPointer pKept = shared_from_this();
    for (std::size_t i = 0; i < m_waiters.size();) {
        CTask& task = *m_waiters[i];
        if (task.m_pObjectWait != nullptr && TrySatisfy(task, *task.m_pObjectWait)) {
            task.m_pObjectWait = nullptr;
            g_pScheduler->Wake(task);
        } else {
            ++i;
        }
    }
}

std::uint32_t WaitForObjects(const std::vector<ObjectPointer>& objects, bool bAll, Nanoseconds nDeadline) {
    CScheduler& scheduler = *g_pScheduler;
    CTask& task = scheduler.Current();
    std::uint32_t nResult = kTimeout;
    const ObjectWait wait{objects, bAll, &nResult};
    if (TrySatisfy(task, wait)) {
        FollowSignals(wait);
        return nResult;
    }
    if (nDeadline <= scheduler.Now()) {
        scheduler.Yield();
        return kTimeout;
    }
    std::vector<CWaitList*> lists;
    for (const ObjectPointer& pObject : objects) {
        lists.push_back(&pObject->m_waiters);
    }
    task.m_pObjectWait = &wait;
    const bool bWoken = scheduler.Park(lists, nDeadline, objects.front()->Kind());
    task.m_pObjectWait = nullptr;
    if (bWoken) {
        FollowSignals(wait);
    }
    return bWoken ? nResult : kTimeout;
}

bool CMutex::Take(CTask& task) {
    m_pOwner = &task;
    ++m_nDepth;
    const bool bAbandoned = m_bAbandoned;
    m_bAbandoned = false;
    return bAbandoned;
}

bool CMutex::Release(CTask& task) {
    if (m_pOwner != &task) {
        return false;
    }
    if (--m_nDepth == 0) {
        HappensBefore(this);
        m_pOwner = nullptr;
        Signal();
    }
    return true;
}

void CMutex::Abandon(const CTask& task) {
    if (m_pOwner == &task) {
        HappensBefore(this);
        m_pOwner = nullptr;
        m_nDepth = 0;
        m_bAbandoned = true;
        Signal();
    }
}

}  // namespace simulation
