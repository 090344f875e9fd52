#include "simulation/system/lock_order.h"

#include <algorithm>
#include <map>
#include <set>

#include "simulation/kernel/scheduler.h"

namespace simulation {
namespace {

// For each lock those that were taken while it was held. Locks made outside of a run are among them, so this outlives
// runs.
std::map<const void*, std::set<const void*>>& Inner() {
    static auto& inner = *new std::map<const void*, std::set<const void*>>;
    return inner;
}

bool Leads(const void* pFrom, const void* pTo, std::set<const void*>& seen) {
    if (pFrom == pTo) {
        return true;
    }
    if (!seen.insert(pFrom).second) {
        return false;
    }
    const auto found = Inner().find(pFrom);
    return found != Inner().end() && std::any_of(found->second.begin(), found->second.end(),
                                                 [&](const void* pNext) { return Leads(pNext, pTo, seen); });
}

}  // namespace

void LockTaken(CTask& task, const void* pLock) {
    for (const void* const pHeld : task.m_vecHeld) {
        if (Inner()[pHeld].insert(pLock).second) {
            std::set<const void*> seen;
            if (Leads(pLock, pHeld, seen)) {
                g_pScheduler->Fail("locks are taken in two orders, one way here and the other way before");
            }
        }
    }
    task.m_vecHeld.push_back(pLock);
}

void LockReleased(CTask& task, const void* pLock) {
    const auto found = std::find(task.m_vecHeld.rbegin(), task.m_vecHeld.rend(), pLock);
    if (found != task.m_vecHeld.rend()) {
        task.m_vecHeld.erase(std::next(found).base());
    }
}

void LockGone(const void* pLock) {
    Inner().erase(pLock);
    for (auto& [pOuter, inner] : Inner()) {
        inner.erase(pLock);
    }
}

}  // namespace simulation
