#include "host/background_threads.h"

#include "foundation/log.h"
#include "host/helper_host.h"
#include "host/remote_config.h"
#include "host/watchdogs.h"
#include "support/http_transfer.h"

const HostThreads kHostThreads = {&HangWatcherThreadFunc, &MonCPUUsageThreadFunc, &ConfInfoThreadFunc};

DWORD CommzoltHelperS::StartHeld(LPTHREAD_START_ROUTINE procedure, void* argument) {
    CKernelHandle thread(CreateThread(/*attributes=*/nullptr, /*dwStackSize=*/0, procedure, argument, CREATE_SUSPENDED,
                                      /*lpThreadId=*/nullptr));
    if (!thread) {
        return GetLastError();
    }
    m_vecHeldThreads.push_back(std::move(thread));
    return ERROR_SUCCESS;
}

void CommzoltHelperS::ReleaseThreads() {
    if (m_vecHeldThreads.empty()) {
        return;
    }
    for (const CKernelHandle& thread : m_vecHeldThreads) {
        ResumeThread(thread.get());
    }
    m_vecHeldThreads.clear();
    GetSharedHttpTransfer()->StartWorker();
}

void CommzoltHelperS::InitHangWatcherThread() {
    NXL_LOG(L"[%s(%d)] InitHangWatcherThread begin");
    if (const DWORD error = StartHeld(m_threads.pfnHangWatcher, this); error != ERROR_SUCCESS) {
        NXL_LOG(L"[%s(%d)] Thread create falied, error %d", error);
    } else {
        NXL_LOG(L"[%s(%d)] Thread create success");
    }
    NXL_LOG(L"[%s(%d)] InitHangWatcherThread end");
}

void CommzoltHelperS::InitMonCPUUsageThread() {
    NXL_LOG(L"[%s(%d)] InitMonCPUUsageThread begin");
    if (const DWORD error = StartHeld(m_threads.pfnMonCPUUsage, nullptr); error != ERROR_SUCCESS) {
        NXL_LOG(L"[%s(%d)] Thread create falied, error %d", error);
    } else {
        NXL_LOG(L"[%s(%d)] Thread create success");
    }
    NXL_LOG(L"[%s(%d)] InitMonCPUUsageThread end");
}

void CommzoltHelperS::InitConfInfoThread() {
    NXL_LOG(L"[%s(%d)] InitConfInfoThread begin");
    if (const DWORD error = StartHeld(m_threads.pfnConfInfo, this); error != ERROR_SUCCESS) {
        NXL_LOG(L"[%s(%d)] InitConfInfoThread create falied, error %d", error);
    } else {
        NXL_LOG(L"[%s(%d)] InitConfInfoThread create success");
    }
    // Kept: the end line carries the name of another thread; readers of logs know it by that.
    // HelperHostTest.FirstInitStartsTheThreadsInOrder holds it.
    NXL_LOG(L"[%s(%d)] InitHangWatcherThread end");
}
