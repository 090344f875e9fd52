// The program's only HTTP client.
//
// On a caller's thread: construct, set g_nHttpTimeoutMs if a short timeout is wanted, SetRequest, Execute, test for the
// result 200. Execute blocks for the whole transfer and hands the whole body to the callback.
//
// Asynchronously: StartWorker once on the shared object, then PostUrl from any thread. The worker fetches the URLs one
// at a time in the order posted and drops what they answer.
#pragma once

#include "foundation/thread_annotations.h"
#include "foundation/windows_headers.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "foundation/handle.h"
#include "foundation/lock.h"

// The status of a transfer that succeeded, as the callback and the result of Execute give it.
inline constexpr std::int32_t kHttpOk = 200;

// Told the outcome of a transfer once: 200 with the body (null and 0 when it is empty), or the result of Execute with
// null and 0. The bytes carry no terminator and are gone when the callback returns. What it returns is ignored: 0 for
// handled, 1 for not handled.
using HttpTransferCallback = std::uint32_t (*)(std::uint32_t status, const void* data, std::uint32_t size,
                                               void* context);

// Connect, send and receive timeout of every transfer that begins from now on. 60000 is a marker: no timeout is set
// and the platform's own defaults stay in force.
inline constexpr std::int32_t kHttpTimeoutUnset = 60000;
inline std::atomic<std::int32_t> g_nHttpTimeoutMs{kHttpTimeoutUnset};

// The timeout of the fetches that a user waits for. The code that makes one sets it; nothing restores the marker.
inline constexpr std::int32_t kHttpShortTimeoutMs = 5000;

// Thread message that wakes the worker; its parameters mean nothing. The URLs wait in memory: a message that a dialog
// of the platform takes from the worker's thread carries nothing that could be lost with it.
inline constexpr UINT WM_HTTP_FETCH_URL = 1725;

// So many URLs may wait for the worker, as many as a thread's messages on Windows.
inline constexpr std::size_t kWaitingUrls = 10000;

// One URL at a time; an object is used by one thread at a time, except PostUrl and the stop event.
class COvHttpTransfer {
  public:
    COvHttpTransfer();
    // Ends the worker, if there is one: signals the stop event, waits up to 15 seconds, then terminates the thread with
    // the code 0xFFFFFFF6. The worker does not watch the event while it waits for URLs.
    virtual ~COvHttpTransfer();
    COvHttpTransfer(const COvHttpTransfer&) = delete;
    COvHttpTransfer& operator=(const COvHttpTransfer&) = delete;

    // Copies url and stores all three. A null url changes nothing and gives 0, any other 1.
    int SetRequest(const wchar_t* url, HttpTransferCallback callback, void* context);

    // Performs the transfer. The result is 200 when the whole body was delivered, another HTTP status as it came, or
    //    0  stopped, body beyond the limit, send failed or status unreadable
    //   -1  no URL, or one that is not http or https (the callback is not called)
    //   -3  no session    -4  no connection    -5  no request    -6  the body broke off
    std::int32_t Execute();
    // The same for an object that may be absent: -1.
    static std::int32_t Execute(COvHttpTransfer* transfer) { return transfer != nullptr ? transfer->Execute() : -1; }

    // Starts the worker thread unless it runs, and waits until its message queue exists, so that no URL posted after
    // the return is lost. False when the thread cannot be started.
    bool StartWorker();

    // From now on the first URL that is posted starts the worker when nothing else has. A start that has something to
    // do first need not wait for the worker's queue then.
    void StartWorkerAtNeed() { m_bStartAtNeed.store(true); }

    // Hands a copy of url to the worker. False when there is no worker or too many URLs wait for it: the URL is lost.
    // Any thread; does not wait for the worker, unless it has to be started, which bMayStart allows.
    bool PostUrl(const std::wstring& url, bool bMayStart = true);

    // The worker; a null object ends it at once with 0. Runs until WM_QUIT.
    static DWORD WINAPI WorkerThreadProc(void* object);

    std::atomic<HANDLE> m_hThread{nullptr};  // the thread that exchanges it for null closes it
    CKernelHandle m_hStopEvent;              // auto-reset: ends a transfer under way with result 0
    std::atomic<DWORD> m_dwThreadId{0};
    std::unique_ptr<wchar_t[]> m_pszUrl;
    HttpTransferCallback m_pfnCallback = nullptr;
    void* m_pCallbackContext = nullptr;  // weak
    std::unique_ptr<std::uint8_t[]> m_pPostData;
    std::uint32_t m_dwPostDataSize = 0;
    std::vector<std::string> m_vecRequestHeaders;                  // whole lines, CR LF at the end is optional
    std::set<std::string> m_setResponseHeaderNames;                // response headers to capture
    std::multimap<std::string, std::string> m_mapResponseHeaders;  // output: what was captured
    std::string m_strRequestHeaderText;                            // output: raw, empty when longer than 4095 bytes
    std::string m_strResponseHeaderText;                           // output: likewise
    std::uint32_t m_nVerbMode = 0;                                 // 0 automatic, 1 POST, 2 GET
    std::int32_t m_bVerifyCertName = 0;                            // keeps the name check in the flags of the request
    std::int32_t m_bNoCookies = 0;

  private:
    bool TakeUrl(std::wstring& url);
    void EndQueue();

    CLock m_lockUrls;  // also held to use a worker's id, and to take it back
    std::deque<std::wstring> m_deqUrls NXL_GUARDED_BY(m_lockUrls);  // posted and not yet taken by the worker
    CLock m_lockStart NXL_ACQUIRED_BEFORE(m_lockUrls);
    std::atomic<bool> m_bStartAtNeed{false};
    CKernelHandle m_hQueueReady;
};

// The process-wide object of the transfer worker, made at first need without a thread and never destroyed.
inline std::atomic<COvHttpTransfer*> g_pSharedHttpTransfer{nullptr};
COvHttpTransfer* GetSharedHttpTransfer();
