#include "host/background_threads.h"

#include <memory>

#include "foundation/log.h"
#include "host/helper_host.h"
#include "host/remote_config.h"
#include "host/watchdogs.h"
#include "support/http/http_transfer.h"

namespace {

HANDLE StartThread(LPTHREAD_START_ROUTINE procedure, void* argument, DWORD flags) {
    return CreateThread(/*attributes=*/nullptr, /*dwStackSize=*/0, procedure, argument, flags, /*lpThreadId=*/nullptr);
}

}  // namespace

const HostThreads kHostThreads = {&HangWatcherThreadFunc, &MonCPUUsageThreadFunc, &ConfInfoThreadFunc,
                                  &StartThread,           &EndHangingStart,       kProbeTimeoutMs};

struct CHangWatcherStart::Shared {
    const HostThreads& threads;
    void* pHost;
    CKernelHandle hRuns;
    CKernelHandle hGo;
};

CHangWatcherStart::CHangWatcherStart(const HostThreads& threads, void* host)
    : m_pShared(std::make_shared<const Shared>(Shared{
          threads, host, CKernelHandle(CreateEventW(nullptr, /*bManualReset=*/TRUE, /*bInitialState=*/FALSE, nullptr)),
          CKernelHandle(CreateEventW(nullptr, /*bManualReset=*/TRUE, /*bInitialState=*/FALSE, nullptr))})) {
    if (m_pShared->hRuns && m_pShared->hGo) {
        auto share = std::make_unique<std::shared_ptr<const Shared>>(m_pShared);
        m_hThread.reset(threads.pfnStart(&WatchTheStart, share.get(), /*flags=*/0));
        if (m_hThread) {
            (void)share.release();  // the thread has it now
            return;
        }
    }
    m_nError = GetLastError();
}

void CHangWatcherStart::WaitUntilItRuns() const {
    if (m_hThread) {
        WaitForSingleObject(m_pShared->hRuns.get(), INFINITE);
    }
}

void CHangWatcherStart::Release() const {
    SetEvent(m_pShared->hGo.get());
}

DWORD WINAPI CHangWatcherStart::WatchTheStart(void* shared) {
    const std::unique_ptr<std::shared_ptr<const Shared>> share(static_cast<std::shared_ptr<const Shared>*>(shared));
    const Shared& start = **share;
    SetEvent(start.hRuns.get());
    if (WaitForSingleObject(start.hGo.get(), start.threads.nStartLimitMs) == WAIT_TIMEOUT) {
        start.threads.pfnStartHangs();
        WaitForSingleObject(start.hGo.get(), INFINITE);
    }
    return start.threads.pfnHangWatcher(start.pHost);
}

void CommzoltHelperS::ReleaseThreads() {
    if (!m_bHoldsThreads) {
        return;
    }
    m_bHoldsThreads = false;
    if (m_hHeldThread) {
        ResumeThread(m_hHeldThread.get());
        m_hHeldThread.reset();
    }
    {
        const CAutoLock lock(&m_lockInstance);
        m_bHoldsWatches = false;
        for (const auto& [id, instance] : m_mWxExInstance) {
            instance->ReleaseWatch();
        }
    }
    GetSharedHttpTransfer()->StartWorker();
}

void CommzoltHelperS::InitHangWatcherThread(const CHangWatcherStart& start) {
    NXL_LOG(L"[%s(%d)] InitHangWatcherThread begin");
    if (start.Error() != ERROR_SUCCESS) {
        NXL_LOG(L"[%s(%d)] Thread create falied, error %d", start.Error());
    } else {
        start.Release();
        NXL_LOG(L"[%s(%d)] Thread create success");
    }
    NXL_LOG(L"[%s(%d)] InitHangWatcherThread end");
}

void CommzoltHelperS::InitMonCPUUsageThread() {
    NXL_LOG(L"[%s(%d)] InitMonCPUUsageThread begin");
    if (const CKernelHandle thread(m_threads.pfnStart(m_threads.pfnMonCPUUsage, /*argument=*/nullptr, /*flags=*/0));
        !thread) {
        NXL_LOG(L"[%s(%d)] Thread create falied, error %d", GetLastError());
    } else {
        NXL_LOG(L"[%s(%d)] Thread create success");
    }
    NXL_LOG(L"[%s(%d)] InitMonCPUUsageThread end");
}

void CommzoltHelperS::InitConfInfoThread() {
    NXL_LOG(L"[%s(%d)] InitConfInfoThread begin");
    m_hHeldThread.reset(m_threads.pfnStart(m_threads.pfnConfInfo, this, CREATE_SUSPENDED));
    if (!m_hHeldThread) {
        NXL_LOG(L"[%s(%d)] InitConfInfoThread create falied, error %d", GetLastError());
    } else {
        NXL_LOG(L"[%s(%d)] InitConfInfoThread create success");
    }
    // Kept: the end line carries the name of another thread; readers of logs know it by that.
    // HelperHostTest.FirstInitStartsTheThreadsInOrder holds it.
    NXL_LOG(L"[%s(%d)] InitHangWatcherThread end");
}
