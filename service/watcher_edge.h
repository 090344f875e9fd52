// The real surroundings of an instance's watcher threads, and the stop that reaches every one of them.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "foundation/handle.h"
#include "foundation/thread.h"
#include "service/watcher_threads.h"

// Shared by an instance and all its watcher threads.
class CWatcherEdge final : public IWatcherEdge {
  public:
    // Wakes every thread that waits. Does not wait for them.
    void RequestStop();

    bool StopRequested() const override { return m_bStop.load(); }
    bool Wait(std::uint32_t nMilliseconds) override;
    bool DoesNamedPipeExist(const std::wstring& strPipeName) override;
    void Fetch(const std::wstring& strUrl) override;

  private:
    std::atomic<bool> m_bStop{false};  // written with m_lock held
    // The system's own, since a condition waits with no other kind: a CLock has none.
    SRWLOCK m_lock = SRWLOCK_INIT;
    CONDITION_VARIABLE m_stopped = CONDITION_VARIABLE_INIT;
};

// What instances start their watcher threads with; tests put a start that fails in its place.
inline CKernelHandle (*g_pfnLaunchWatcher)(std::function<unsigned()> work, bool bHeld) = &LaunchThread;
