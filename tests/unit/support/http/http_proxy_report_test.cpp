// What a transfer does about a refusing proxy: the report page, the platform's dialog, the reconnection that fails.
//
// Wine's dialog needs a desktop and a user who answers it, and ends the process for a 407 without a configured proxy;
// only its answer to a 403 is asked for here, the others are the test's own.
#include <atomic>

#include "tests/unit/support/http/http_transfer_faults.h"

namespace {

void ScriptReport(WinInetApi& api) {
    api.OpenUrl = [](HINTERNET session, const wchar_t* url, const wchar_t* headers, DWORD headersLength, DWORD flags,
                     DWORD_PTR context) -> HINTERNET {
        ++g_pPlatform->nReportOpens;
        g_pPlatform->strReportUrl = url;
        g_pPlatform->nReportFlags = flags;
        if (!g_pPlatform->reportOpens.empty()) {
            const bool works = g_pPlatform->reportOpens.front();
            g_pPlatform->reportOpens.pop_front();
            if (!works) {
                SetLastError(ERROR_INTERNET_CANNOT_CONNECT);
                return nullptr;
            }
        }
        const HINTERNET handle = g_pPlatform->real.OpenUrl(session, url, headers, headersLength, flags, context);
        g_pPlatform->nMade += handle != nullptr;
        return handle;
    };
    // The platform's dialog waits for an answer; here the test gives it.
    api.ErrorDialog = [](HWND parent, HINTERNET report, DWORD error, DWORD flags, void** data) -> DWORD {
        EXPECT_NE(report, nullptr);
        EXPECT_EQ(data, nullptr);
        ++g_pPlatform->nDialogs;
        g_pPlatform->hDialogParent = parent;
        g_pPlatform->nDialogError = error;
        g_pPlatform->nDialogFlags = flags;
        if (g_pPlatform->dialogAnswers.empty()) {
            return ERROR_CANCELLED;
        }
        const DWORD answer = g_pPlatform->dialogAnswers.front();
        g_pPlatform->dialogAnswers.pop_front();
        return answer;
    };
}

// A proxy that refuses everything but the report, for which it has statuses of its own.
class HttpProxyReportTest : public HttpTransferFaultsTest {
  protected:
    HttpProxyReportTest() {
        CountHandles(m_api);
        ScriptReport(m_api);
        UseFaults();
    }

    HttpTestReply Answer(const HttpTestRequest& request) {
        if (!request.strTarget.ends_with("/proxyerr.php")) {
            return HttpTestReply::Of(m_nRefusal, "refused");
        }
        EXPECT_EQ(request.strTarget.substr(0, 7), "http://");
        const int status = m_reportStatuses.empty() ? 200 : m_reportStatuses.front();
        if (!m_reportStatuses.empty()) {
            m_reportStatuses.pop_front();
        }
        return HttpTestReply::Of(status, "report");
    }

    std::size_t CountRequests(const std::string& ending) {
        std::size_t count = 0;
        for (const HttpTestRequest& request : m_proxy.Requests()) {
            count += request.strTarget.ends_with(ending);
        }
        return count;
    }

    std::atomic<int> m_nRefusal = 407;  // the answer to what is not a report
    std::deque<int> m_reportStatuses;
    HttpTestServer m_proxy{[this](const HttpTestRequest& request) { return Answer(request); }};
    ScopedInternetProxy m_setting{m_proxy.Port()};
};

TEST_F(HttpProxyReportTest, ARefusalWhoseReportThenPassesEndsAsAConnectionFailure) {
    for (const int refusal : {407, 403}) {
        m_nRefusal = refusal;
        m_platform.nMade = m_platform.nClosed = 0;
        m_transfer.m_strResponseHeaderText = "earlier";
        EXPECT_EQ(Fetch(L"http://main.nexlet.invalid/main"), -4) << refusal;
        m_record.ExpectFailure(-4);
        EXPECT_TRUE(m_platform.bLastConnectWithoutSession);
        EXPECT_EQ(m_platform.nMade, m_platform.nClosed);
        EXPECT_EQ(m_transfer.m_strResponseHeaderText, "earlier");
    }
    EXPECT_EQ(CountRequests("/main"), 2u) << "one send for each transfer";
    EXPECT_EQ(CountRequests("/proxyerr.php"), 2u);
    EXPECT_EQ(m_platform.nDialogs, 0);
    EXPECT_EQ(m_platform.nReportFlags, 0x84000000u);
    EXPECT_TRUE(m_platform.strReportUrl.starts_with(L"http://"));
    EXPECT_TRUE(m_platform.strReportUrl.ends_with(L"/proxyerr.php"));
}

TEST_F(HttpProxyReportTest, ARefusalWhoseReportIsRefusedToKeepsItsStatus) {
    m_reportStatuses = {407};
    EXPECT_EQ(Fetch(L"http://main.nexlet.invalid/main"), 407);
    m_record.ExpectFailure(407);
    EXPECT_EQ(m_platform.nDialogs, 1);
    EXPECT_EQ(m_platform.hDialogParent, GetDesktopWindow());
    EXPECT_EQ(m_platform.nDialogError, 12014u);
    EXPECT_EQ(m_platform.nDialogFlags, 7u);
    EXPECT_EQ(m_platform.nMade, m_platform.nClosed);
}

// While the platform's dialog is up it takes the messages of the worker's thread, those for the worker included.
TEST_F(HttpProxyReportTest, UrlsPostedWhileTheDialogIsUpAreFetchedAfterItInOrder) {
    static const CKernelHandle up(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    static const CKernelHandle answered(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_reportStatuses = {407};
    m_api.ErrorDialog = [](HWND, HINTERNET, DWORD, DWORD, void**) -> DWORD {
        SetEvent(up.get());
        const HANDLE end = answered.get();
        DWORD woken = 0;
        do {
            woken = MsgWaitForMultipleObjects(1, &end, /*fWaitAll=*/FALSE, INFINITE, QS_ALLINPUT);
            MSG message;
            while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
                TranslateMessage(&message);
                DispatchMessageW(&message);
            }
        } while (woken != WAIT_OBJECT_0);
        return ERROR_CANCELLED;
    };
    COvHttpTransfer worker;
    ASSERT_TRUE(worker.StartWorker());
    EXPECT_TRUE(worker.PostUrl(L"http://main.nexlet.invalid/main"));
    ASSERT_EQ(WaitForSingleObject(up.get(), 60000), WAIT_OBJECT_0);
    const std::size_t nBefore = m_proxy.Requests().size();
    m_nRefusal = 200;
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(worker.PostUrl(L"http://later.nexlet.invalid/" + std::to_wstring(i)));
    }
    SetEvent(answered.get());
    ASSERT_TRUE(m_proxy.WaitForRequests(nBefore + 5));
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_TRUE(m_proxy.Requests()[nBefore + i].strTarget.ends_with("/" + std::to_string(i))) << i;
    }
    EndHttpWorker(worker);
}

TEST_F(HttpProxyReportTest, TheResultIsTheStatusOfTheMainRequest) {
    m_nRefusal = 403;
    m_reportStatuses = {407};
    EXPECT_EQ(Fetch(L"http://main.nexlet.invalid/main"), 403);
    m_record.ExpectFailure(403);
}

TEST_F(HttpProxyReportTest, ARetryOpensTheReportAgain) {
    m_reportStatuses = {407, 403, 200};
    m_platform.dialogAnswers = {ERROR_INTERNET_FORCE_RETRY, ERROR_INTERNET_FORCE_RETRY};
    EXPECT_EQ(Fetch(L"http://main.nexlet.invalid/main"), -4);
    EXPECT_EQ(m_platform.nDialogs, 2);
    EXPECT_EQ(CountRequests("/proxyerr.php"), 3u);
    EXPECT_EQ(m_platform.nMade, m_platform.nClosed);
}

TEST_F(HttpProxyReportTest, ARetryThatIsRefusedAndNotRepeatedKeepsTheStatus) {
    m_reportStatuses = {407, 407};
    m_platform.dialogAnswers = {ERROR_INTERNET_FORCE_RETRY, ERROR_SUCCESS};
    EXPECT_EQ(Fetch(L"http://main.nexlet.invalid/main"), 407);
    EXPECT_EQ(m_platform.nDialogs, 2);
}

TEST_F(HttpProxyReportTest, AReportThatCannotBeOpenedReachesNoVerdict) {
    m_platform.reportOpens = {false};
    EXPECT_EQ(Fetch(L"http://main.nexlet.invalid/main"), 407);
    m_record.ExpectFailure(407);
    EXPECT_EQ(m_platform.nReportOpens, 1);
    EXPECT_EQ(m_platform.nDialogs, 0);
}

TEST_F(HttpProxyReportTest, AReportThatCannotBeOpenedAfterARetryIsOpenedUntilItCan) {
    m_reportStatuses = {407, 200};
    m_platform.dialogAnswers = {ERROR_INTERNET_FORCE_RETRY};
    m_platform.reportOpens = {true, false, false, false, false, false};
    EXPECT_EQ(Fetch(L"http://main.nexlet.invalid/main"), -4);
    EXPECT_EQ(m_platform.nReportOpens, 7);
    EXPECT_EQ(m_platform.nDialogs, 1);
}

TEST_F(HttpProxyReportTest, AStopEndsTheRepeatedOpens) {
    static COvHttpTransfer* stopped;
    stopped = &m_transfer;
    m_reportStatuses = {407};
    m_platform.dialogAnswers = {ERROR_INTERNET_FORCE_RETRY};
    m_platform.reportOpens = {true};
    static auto scripted = m_api.OpenUrl;
    scripted = m_api.OpenUrl;
    m_api.OpenUrl = [](HINTERNET session, const wchar_t* url, const wchar_t* headers, DWORD headersLength, DWORD flags,
                       DWORD_PTR context) -> HINTERNET {
        if (g_pPlatform->nReportOpens > 0) {
            if (++g_pPlatform->nReportOpens == 4) {
                SetEvent(stopped->m_hStopEvent.get());
            }
            return nullptr;
        }
        return scripted(session, url, headers, headersLength, flags, context);
    };
    EXPECT_EQ(Fetch(L"http://main.nexlet.invalid/main"), 0);
    m_record.ExpectFailure(0);
    EXPECT_EQ(m_platform.nReportOpens, 4);
}

TEST_F(HttpProxyReportTest, AReportWithoutASessionReachesNoVerdict) {
    FailOpenFrom(m_api, 2);
    EXPECT_EQ(Fetch(L"http://main.nexlet.invalid/main"), 407);
    m_record.ExpectFailure(407);
    EXPECT_EQ(m_platform.nReportOpens, 0);
}

TEST_F(HttpProxyReportTest, AReportWithAnUnreadableStatusCountsAsPassing) {
    static int queries;
    queries = 0;
    m_api.QueryInfoW = [](HINTERNET request, DWORD level, void* buffer, DWORD* size, DWORD* index) -> BOOL {
        if (++queries == 2) {
            EXPECT_EQ(level, 19u);
            return FALSE;
        }
        return g_pPlatform->real.QueryInfoW(request, level, buffer, size, index);
    };
    EXPECT_EQ(Fetch(L"http://main.nexlet.invalid/main"), -4);
}

TEST_F(HttpProxyReportTest, TheReportSetsNoTimeouts) {
    RecordOptions(m_api);
    g_nHttpTimeoutMs.store(5000);
    EXPECT_EQ(Fetch(L"http://main.nexlet.invalid/main"), -4);
    // Three for the main session, one for the security flags of its request.
    EXPECT_EQ(m_platform.setOptions.size(), 4u);
}

TEST_F(HttpProxyReportTest, AMissingPageOfTheReportCountsAsPassing) {
    m_reportStatuses = {404};
    EXPECT_EQ(Fetch(L"http://main.nexlet.invalid/main"), -4);
    EXPECT_EQ(m_platform.nDialogs, 0);
}

// No platform connects without a session; one that did would meet the refusal a second time.
TEST_F(HttpProxyReportTest, ASecondRefusalIsNotReportedAgain) {
    static HINTERNET ownSession;
    ownSession = m_platform.real.Open(L"", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0);
    m_api.Connect = [](HINTERNET session, const wchar_t* host, INTERNET_PORT port, const wchar_t* user,
                       const wchar_t* password, DWORD service, DWORD flags, DWORD_PTR context) {
        return g_pPlatform->real.Connect(session != nullptr ? session : ownSession, host, port, user, password, service,
                                         flags, context);
    };
    EXPECT_EQ(Fetch(L"http://main.nexlet.invalid/main"), 407);
    m_record.ExpectFailure(407);
    EXPECT_EQ(m_platform.nReportOpens, 1);
    EXPECT_EQ(CountRequests("/main"), 2u);
    m_platform.real.CloseHandle(ownSession);
}

// Everything real: a report host that does not exist.
TEST_F(HttpTransferTest, ARefusalWithoutAReachableReportHostKeepsItsStatus) {
    for (const int refusal : {403, 407}) {
        HttpTestServer server(Always(HttpTestReply::Of(refusal, "refused")));
        EXPECT_EQ(Fetch(server.Url(L"/")), refusal);
        m_record.ExpectFailure(refusal);
        EXPECT_EQ(server.Requests().size(), 1u);
    }
}

// Everything real: the platform's dialog has nothing to ask about a 403 and answers at once, without a retry.
TEST_F(HttpTransferTest, ARefusalWhoseReportIsForbiddenTooKeepsItsStatus) {
    HttpTestServer proxy(Always(HttpTestReply::Of(403, "refused")));
    const ScopedInternetProxy setting(proxy.Port());
    EXPECT_EQ(Fetch(L"http://main.nexlet.invalid/main"), 403);
    m_record.ExpectFailure(403);
    EXPECT_EQ(proxy.Requests().size(), 2u);
}

}  // namespace
