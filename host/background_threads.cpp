#include "host/background_threads.h"

#include "foundation/log.h"
#include "host/helper_host.h"
#include "host/remote_config.h"
#include "host/watchdogs.h"

namespace {

// Starts a thread that nobody will wait for. 0, or the system's error.
DWORD StartDetached(LPTHREAD_START_ROUTINE procedure, void* argument) {
    const CKernelHandle thread(CreateThread(/*attributes=*/nullptr, /*dwStackSize=*/0, procedure, argument,
                                            /*dwCreationFlags=*/0, /*lpThreadId=*/nullptr));
    return thread ? ERROR_SUCCESS : GetLastError();
}

}  // namespace

const HostThreads kHostThreads = {&HangWatcherThreadFunc, &MonCPUUsageThreadFunc, &ConfInfoThreadFunc};

void CommzoltHelperS::InitHangWatcherThread() {
    NXL_LOG(L"[%s(%d)] InitHangWatcherThread begin");
    if (const DWORD error = StartDetached(m_threads.pfnHangWatcher, this); error != ERROR_SUCCESS) {
        NXL_LOG(L"[%s(%d)] Thread create falied, error %d", error);
    } else {
        NXL_LOG(L"[%s(%d)] Thread create success");
    }
    NXL_LOG(L"[%s(%d)] InitHangWatcherThread end");
}

void CommzoltHelperS::InitMonCPUUsageThread() {
    NXL_LOG(L"[%s(%d)] InitMonCPUUsageThread begin");
    if (const DWORD error = StartDetached(m_threads.pfnMonCPUUsage, nullptr); error != ERROR_SUCCESS) {
        NXL_LOG(L"[%s(%d)] Thread create falied, error %d", error);
    } else {
        NXL_LOG(L"[%s(%d)] Thread create success");
    }
    NXL_LOG(L"[%s(%d)] InitMonCPUUsageThread end");
}

void CommzoltHelperS::InitConfInfoThread() {
    NXL_LOG(L"[%s(%d)] InitConfInfoThread begin");
    if (const DWORD error = StartDetached(m_threads.pfnConfInfo, this); error != ERROR_SUCCESS) {
        NXL_LOG(L"[%s(%d)] InitConfInfoThread create falied, error %d", error);
    } else {
        NXL_LOG(L"[%s(%d)] InitConfInfoThread create success");
    }
    // Kept: the end line carries the name of another thread; readers of logs know it by that.
    // HelperHostTest.FirstInitStartsTheThreadsInOrder holds it.
    NXL_LOG(L"[%s(%d)] InitHangWatcherThread end");
}
