#include "support/http/http_transfer.h"

#include <algorithm>
#include <cwchar>

#include "support/http/http_exchange.h"
#include "support/http/http_url.h"
#include "support/http/wininet_api.h"

namespace {

constexpr int kWorkerEndWaits = 15;
constexpr DWORD kWorkerEndWaitMs = 1000;
constexpr DWORD kTerminatedWorkerCode = 0xFFFFFFF6;

// Waits for the worker to leave the transfer it is in. One that waits for URLs sees no event and is terminated.
void EndWorker(HANDLE thread) {
    for (int waits = 0; waits < kWorkerEndWaits; ++waits) {
        if (WaitForSingleObject(thread, kWorkerEndWaitMs) != WAIT_TIMEOUT) {
            return;
        }
    }
    SuspendThread(thread);
    TerminateThread(thread, kTerminatedWorkerCode);
}

}  // namespace

COvHttpTransfer::COvHttpTransfer()
    : m_hStopEvent(CreateEventW(nullptr, /*bManualReset=*/FALSE, /*bInitialState=*/FALSE, nullptr)) {}

COvHttpTransfer::~COvHttpTransfer() {
    const CKernelHandle thread(m_hThread.exchange(nullptr));
    if (thread) {
        SetEvent(m_hStopEvent.get());
        EndWorker(thread.get());
    }
}

int COvHttpTransfer::SetRequest(const wchar_t* url, HttpTransferCallback callback, void* context) {
    if (url == nullptr) {
        return 0;
    }
    const std::size_t size = std::wcslen(url) + 1;
    auto copy = std::make_unique<wchar_t[]>(size);
    std::copy_n(url, size, copy.get());
    m_pszUrl = std::move(copy);
    m_pfnCallback = callback;
    m_pCallbackContext = context;
    return 1;
}

std::int32_t COvHttpTransfer::Execute() {
    const WinInetApi* const api = GetWinInetApi();
    if (api == nullptr) {
        if (m_pszUrl == nullptr || !IsHttpUrl(m_pszUrl.get())) {
            return -1;
        }
        constexpr std::int32_t kNoSession = -3;
        if (m_pfnCallback != nullptr) {
            m_pfnCallback(static_cast<std::uint32_t>(kNoSession), nullptr, 0, m_pCallbackContext);
        }
        return kNoSession;
    }
    return CHttpExchange(*this, *api).Run();
}

bool COvHttpTransfer::StartWorker() {
    const CAutoLock guard(&m_lockStart);
    if (m_hThread.load() != nullptr) {
        return true;
    }
    CKernelHandle ready(CreateEventW(nullptr, /*bManualReset=*/TRUE, /*bInitialState=*/FALSE, nullptr));
    if (!ready) {
        return false;
    }
    m_hQueueReady = std::move(ready);
    const HANDLE thread = CreateThread(nullptr, 0, &COvHttpTransfer::WorkerThreadProc, this, 0, nullptr);
    if (thread == nullptr) {
        return false;
    }
    m_hThread.store(thread);
    const HANDLE either[] = {m_hQueueReady.get(), thread};
    return WaitForMultipleObjects(2, either, /*bWaitAll=*/FALSE, INFINITE) == WAIT_OBJECT_0;
}

bool COvHttpTransfer::PostUrl(const std::wstring& url, bool bMayStart) {
    if (bMayStart && m_dwThreadId.load() == 0 && m_bStartAtNeed.load()) {
        StartWorker();
    }
    const CAutoLock guard(&m_lockUrls);
    const DWORD thread = m_dwThreadId.load();
    if (thread == 0 || m_deqUrls.size() >= kWaitingUrls) {
        return false;
    }
    // While URLs wait the worker looks for the next one by itself.
    if (m_deqUrls.empty() && PostThreadMessageW(thread, WM_HTTP_FETCH_URL, 0, 0) == FALSE) {
        return false;
    }
    m_deqUrls.push_back(url);
    return true;
}

bool COvHttpTransfer::TakeUrl(std::wstring& url) {
    const CAutoLock guard(&m_lockUrls);
    if (m_deqUrls.empty()) {
        return false;
    }
    url = std::move(m_deqUrls.front());
    m_deqUrls.pop_front();
    return true;
}

void COvHttpTransfer::EndQueue() {
    const CAutoLock guard(&m_lockUrls);
    m_dwThreadId.store(0);
    m_deqUrls.clear();
}

DWORD WINAPI COvHttpTransfer::WorkerThreadProc(void* object) {
    auto* const transfer = static_cast<COvHttpTransfer*>(object);
    if (transfer == nullptr) {
        return 0;
    }
    // The first look makes the thread's queue; only then is the thread's id given away.
    MSG message{};
    PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);
    transfer->m_dwThreadId.store(GetCurrentThreadId());
    if (transfer->m_hQueueReady) {
        SetEvent(transfer->m_hQueueReady.get());
    }
    std::wstring url;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        if (message.message != WM_HTTP_FETCH_URL) {
            continue;
        }
        while (transfer->TakeUrl(url)) {
            transfer->SetRequest(url.c_str(), nullptr, nullptr);
            transfer->Execute();
        }
    }
    transfer->EndQueue();
    SetEvent(transfer->m_hStopEvent.get());
    // The destructor may be waiting on this handle: the thread that takes it out closes it, and the object is not
    // touched after.
    const CKernelHandle thread(transfer->m_hThread.exchange(nullptr));
    return 0;
}

COvHttpTransfer* GetSharedHttpTransfer() {
    static COvHttpTransfer* const shared = [] {
        auto* const made = new COvHttpTransfer;
        g_pSharedHttpTransfer.store(made);
        return made;
    }();
    return shared;
}
