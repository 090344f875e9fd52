// The threads that run beside the main one for the rest of the process. They are not waited for at its end.
#pragma once

#include "foundation/windows_headers.h"

#include <memory>

#include "foundation/handle.h"

// Their procedures, and what starts them; tests give their own. The first and the last procedure get the host as
// argument, the second null.
struct HostThreads {
    LPTHREAD_START_ROUTINE pfnHangWatcher;
    LPTHREAD_START_ROUTINE pfnMonCPUUsage;
    LPTHREAD_START_ROUTINE pfnConfInfo;
    // Starts a thread: CreateThread with its defaults. Null, with the reason in GetLastError.
    HANDLE (*pfnStart)(LPTHREAD_START_ROUTINE procedure, void* argument, DWORD flags);
    // Called on the hang watcher's thread when the start takes longer than nStartLimitMs: ends the process.
    void (*pfnStartHangs)();
    DWORD nStartLimitMs;
};

extern const HostThreads kHostThreads;

// The hang watcher's thread before there is a window to probe: it runs already, so that nothing in the system can keep
// it from running later, and waits for the start to progress.
class CHangWatcherStart {
  public:
    // Starts the thread. threads must stay.
    CHangWatcherStart(const HostThreads& threads, void* host);

    // ERROR_SUCCESS, or why there is no thread.
    DWORD Error() const { return m_nError; }
    // Waits until the thread runs. Without one it returns at once.
    void WaitUntilItRuns() const;
    // The start has progressed: the thread enters its procedure.
    void Release() const;

  private:
    struct Shared;

    static DWORD WINAPI WatchTheStart(void* shared);

    const std::shared_ptr<const Shared> m_pShared;
    CKernelHandle m_hThread;
    DWORD m_nError = ERROR_SUCCESS;
};
