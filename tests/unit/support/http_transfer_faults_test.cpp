// Faults of the platform that no server can provoke, and the calls a transfer makes: single functions of the platform's
// table are exchanged, the rest is real.
#include "tests/unit/support/http_transfer_fixture.h"

#include <deque>

namespace {

HttpTestServer::Handler Always(HttpTestReply reply) {
    return [reply](const HttpTestRequest&) { return reply; };
}

// The functions exchanged below are plain pointers, so what they see and say stands here. One test runs at a time.
struct Platform {
    WinInetApi real;
    int nOpens = 0;
    int nFailOpenFrom = 1;  // the first call of Open that fails, counted from 1
    std::vector<std::pair<DWORD, DWORD>> setOptions;
    DWORD nRequestFlags = 0;
    std::wstring strVersion;
    int nSends = 0;
    std::deque<DWORD> sendErrors;  // one for each send; behind them the real thing
    int nReads = 0;
    int nConnects = 0;
    bool bLastConnectWithoutSession = false;
    int nReportOpens = 0;
    std::deque<bool> reportOpens;  // whether each open of the report works; behind them the real thing
    std::wstring strReportUrl;
    DWORD nReportFlags = 0;
    std::deque<DWORD> dialogAnswers;
    int nDialogs = 0;
    DWORD nDialogError = 0;
    DWORD nDialogFlags = 0;
    HWND hDialogParent = nullptr;
    int nClosed = 0;
    int nMade = 0;
};
Platform* g_pPlatform = nullptr;

class HttpTransferFaultsTest : public HttpTransferTest {
  protected:
    HttpTransferFaultsTest() {
        m_platform.real = m_api;
        g_pPlatform = &m_platform;
    }

    std::wstring ServerUrl() { return m_server.Url(L"/x"); }

    Platform m_platform;
    HttpTestServer m_server{Always(HttpTestReply::Of(200, "body"))};
};

void CountHandles(WinInetApi& api) {
    api.Open = [](const wchar_t* agent, DWORD type, const wchar_t* proxy, const wchar_t* bypass, DWORD flags) {
        EXPECT_STREQ(agent, L"");
        EXPECT_EQ(type, 0u);
        EXPECT_EQ(proxy, nullptr);
        EXPECT_EQ(bypass, nullptr);
        EXPECT_EQ(flags, 0u);
        ++g_pPlatform->nMade;
        return g_pPlatform->real.Open(agent, type, proxy, bypass, flags);
    };
    api.Connect = [](HINTERNET session, const wchar_t* host, INTERNET_PORT port, const wchar_t* user,
                     const wchar_t* password, DWORD service, DWORD flags, DWORD_PTR context) {
        ++g_pPlatform->nConnects;
        g_pPlatform->bLastConnectWithoutSession = session == nullptr;
        const HINTERNET handle =
            g_pPlatform->real.Connect(session, host, port, user, password, service, flags, context);
        g_pPlatform->nMade += handle != nullptr;
        return handle;
    };
    api.OpenRequest = [](HINTERNET connection, const wchar_t* verb, const wchar_t* path, const wchar_t* version,
                         const wchar_t* referrer, const wchar_t** types, DWORD flags, DWORD_PTR context) {
        g_pPlatform->nRequestFlags = flags;
        g_pPlatform->strVersion = version;
        const HINTERNET handle =
            g_pPlatform->real.OpenRequest(connection, verb, path, version, referrer, types, flags, context);
        g_pPlatform->nMade += handle != nullptr;
        return handle;
    };
    api.CloseHandle = [](HINTERNET handle) {
        ++g_pPlatform->nClosed;
        const BOOL closed = g_pPlatform->real.CloseHandle(handle);
        EXPECT_TRUE(closed) << "closed twice";
        return closed;
    };
}

void ScriptSends(WinInetApi& api) {
    api.SendRequest = [](HINTERNET request, const wchar_t* headers, DWORD headersLength, void* body, DWORD bodySize) {
        EXPECT_EQ(headers, nullptr);
        ++g_pPlatform->nSends;
        if (!g_pPlatform->sendErrors.empty()) {
            SetLastError(g_pPlatform->sendErrors.front());
            g_pPlatform->sendErrors.pop_front();
            return FALSE;
        }
        return g_pPlatform->real.SendRequest(request, headers, headersLength, body, bodySize);
    };
}

void RecordOptions(WinInetApi& api) {
    api.SetOption = [](HINTERNET handle, DWORD option, void* value, DWORD size) {
        if (handle == nullptr) {
            // The test's own announcement of proxy settings.
            return g_pPlatform->real.SetOption(handle, option, value, size);
        }
        EXPECT_EQ(size, 4u);
        g_pPlatform->setOptions.emplace_back(option, *static_cast<DWORD*>(value));
        return g_pPlatform->real.SetOption(handle, option, value, size);
    };
}

void FailOpenFrom(WinInetApi& api, int call) {
    g_pPlatform->nFailOpenFrom = call;
    api.Open = [](const wchar_t* agent, DWORD type, const wchar_t* proxy, const wchar_t* bypass,
                  DWORD flags) -> HINTERNET {
        if (++g_pPlatform->nOpens >= g_pPlatform->nFailOpenFrom) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return nullptr;
        }
        return g_pPlatform->real.Open(agent, type, proxy, bypass, flags);
    };
}

TEST_F(HttpTransferFaultsTest, NoSessionGivesMinusThree) {
    FailOpenFrom(m_api, 1);
    UseFaults();
    EXPECT_EQ(Fetch(ServerUrl()), -3);
    m_record.ExpectFailure(-3);
}

TEST_F(HttpTransferFaultsTest, NoConnectionGivesMinusFour) {
    m_api.Connect = [](HINTERNET, const wchar_t*, INTERNET_PORT, const wchar_t*, const wchar_t*, DWORD, DWORD,
                       DWORD_PTR) -> HINTERNET { return nullptr; };
    UseFaults();
    EXPECT_EQ(Fetch(ServerUrl()), -4);
    m_record.ExpectFailure(-4);
}

TEST_F(HttpTransferFaultsTest, NoRequestGivesMinusFive) {
    m_api.OpenRequest = [](HINTERNET, const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t**,
                           DWORD, DWORD_PTR) -> HINTERNET { return nullptr; };
    UseFaults();
    EXPECT_EQ(Fetch(ServerUrl()), -5);
    m_record.ExpectFailure(-5);
}

TEST_F(HttpTransferFaultsTest, AFailedTransferWithoutCallbackHasAResultToo) {
    FailOpenFrom(m_api, 1);
    UseFaults();
    m_transfer.SetRequest(ServerUrl().c_str(), nullptr, nullptr);
    EXPECT_EQ(m_transfer.Execute(), -3);
}

TEST_F(HttpTransferFaultsTest, AHostOf259CharactersIsParsedAndALongerOneIsNot) {
    FailOpenFrom(m_api, 1);
    UseFaults();
    EXPECT_EQ(Fetch(L"http://" + std::wstring(259, L'h') + L"/"), -3) << "parsed, then no session";
    EXPECT_EQ(Fetch(L"http://" + std::wstring(260, L'h') + L"/"), -1);
    EXPECT_EQ(m_record.nCalls, 0);
}

TEST_F(HttpTransferFaultsTest, APathWithQueryOf4095CharactersIsParsedAndALongerOneIsNot) {
    FailOpenFrom(m_api, 1);
    UseFaults();
    EXPECT_EQ(Fetch(L"http://h/" + std::wstring(2000, L'p') + L"?" + std::wstring(2093, L'q')), -3);
    EXPECT_EQ(Fetch(L"http://h/" + std::wstring(2000, L'p') + L"?" + std::wstring(2094, L'q')), -1);
    EXPECT_EQ(m_record.nCalls, 0);
}

TEST_F(HttpTransferFaultsTest, EveryHandleIsClosedOnce) {
    CountHandles(m_api);
    UseFaults();
    EXPECT_EQ(Fetch(ServerUrl()), 200);
    EXPECT_EQ(m_platform.nMade, 3);
    EXPECT_EQ(m_platform.nClosed, 3);
}

// --- flags and options ---

TEST_F(HttpTransferFaultsTest, TheRequestFlagsFollowSchemeCookiesAndNameCheck) {
    CountHandles(m_api);
    m_platform.sendErrors.assign(8, ERROR_INTERNET_CANNOT_CONNECT);
    ScriptSends(m_api);
    UseFaults();
    struct Case {
        const wchar_t* pszUrl;
        int bNoCookies;
        int bVerify;
        DWORD nFlags;
    };
    for (const Case& c : {Case{L"http://h/", 0, 0, 0x80048200}, Case{L"http://h/", 1, 0, 0x800C8200},
                          Case{L"http://h/", 0, 1, 0x80048200}, Case{L"http://h/", 1, 1, 0x800C8200},
                          Case{L"https://h/", 0, 0, 0x80849200}, Case{L"https://h/", 1, 0, 0x808C9200},
                          Case{L"https://h/", 0, 1, 0x80848200}, Case{L"https://h/", 1, 1, 0x808C8200}}) {
        m_transfer.m_bNoCookies = c.bNoCookies;
        m_transfer.m_bVerifyCertName = c.bVerify;
        EXPECT_EQ(Fetch(c.pszUrl), 0);
        EXPECT_EQ(m_platform.nRequestFlags, c.nFlags) << c.bNoCookies << c.bVerify;
        EXPECT_EQ(m_platform.strVersion, L"HTTP/1.0");
    }
}

// The session's timeouts have no effect under Wine, so the calls are looked at instead of the clock.
TEST_F(HttpTransferFaultsTest, TheMarkerSetsNoTimeoutAtAll) {
    RecordOptions(m_api);
    UseFaults();
    ASSERT_EQ(g_nHttpTimeoutMs.load(), 60000);
    EXPECT_EQ(Fetch(ServerUrl()), 200);
    for (const auto& [option, value] : m_platform.setOptions) {
        EXPECT_EQ(option, 31u);
    }
}

TEST_F(HttpTransferFaultsTest, AnyOtherValueIsSetAsAllThreeTimeouts) {
    RecordOptions(m_api);
    UseFaults();
    g_nHttpTimeoutMs.store(5000);
    EXPECT_EQ(Fetch(ServerUrl()), 200);
    ASSERT_EQ(m_platform.setOptions.size(), 4u);
    for (const std::size_t i : {0u, 1u, 2u}) {
        EXPECT_EQ(m_platform.setOptions[i].second, 5000u);
    }
    EXPECT_EQ(m_platform.setOptions[0].first, 2u);
    EXPECT_EQ(m_platform.setOptions[1].first, 5u);
    EXPECT_EQ(m_platform.setOptions[2].first, 6u);
}

TEST_F(HttpTransferFaultsTest, CertificateFaultsAreIgnoredOnEveryTransfer) {
    RecordOptions(m_api);
    UseFaults();
    m_transfer.m_bVerifyCertName = 1;
    EXPECT_EQ(Fetch(ServerUrl()), 200);
    ASSERT_EQ(m_platform.setOptions.size(), 1u);
    EXPECT_EQ(m_platform.setOptions[0].first, 31u);
    EXPECT_EQ(m_platform.setOptions[0].second & 0x3180u, 0x3180u);
}

// --- the send attempts ---

TEST_F(HttpTransferFaultsTest, AnUnknownAuthorityIsSentOnceMore) {
    RecordOptions(m_api);
    m_platform.sendErrors = {ERROR_INTERNET_INVALID_CA};
    ScriptSends(m_api);
    UseFaults();
    EXPECT_EQ(Fetch(ServerUrl()), 200);
    EXPECT_EQ(m_platform.nSends, 2);
    ASSERT_EQ(m_platform.setOptions.size(), 3u);
    EXPECT_EQ(m_platform.setOptions[1].second & 0x100u, 0x100u);
    m_record.ExpectBody("body");
}

TEST_F(HttpTransferFaultsTest, ThereIsNoThirdAttempt) {
    m_platform.sendErrors = {ERROR_INTERNET_INVALID_CA, ERROR_INTERNET_INVALID_CA};
    ScriptSends(m_api);
    UseFaults();
    EXPECT_EQ(Fetch(ServerUrl()), 0);
    m_record.ExpectFailure(0);
    EXPECT_EQ(m_platform.nSends, 2);
}

TEST_F(HttpTransferFaultsTest, NoOtherErrorIsTriedAgain) {
    for (const DWORD error : {ERROR_INTERNET_TIMEOUT, ERROR_INTERNET_CANNOT_CONNECT, ERROR_INTERNET_SEC_CERT_CN_INVALID,
                              ERROR_INTERNET_SEC_CERT_DATE_INVALID, ERROR_INTERNET_FORCE_RETRY}) {
        m_platform.nSends = 0;
        m_platform.sendErrors = {error};
        m_api.SendRequest = m_platform.real.SendRequest;
        ScriptSends(m_api);
        UseFaults();
        EXPECT_EQ(Fetch(ServerUrl()), 0) << error;
        m_record.ExpectFailure(0);
        EXPECT_EQ(m_platform.nSends, 1) << error;
    }
}

TEST_F(HttpTransferFaultsTest, AStopWinsOverAFailedSend) {
    m_platform.sendErrors = {ERROR_INTERNET_TIMEOUT};
    ScriptSends(m_api);
    UseFaults();
    m_transfer.m_strRequestHeaderText = "earlier";
    SetEvent(m_transfer.m_hStopEvent.get());
    EXPECT_EQ(Fetch(ServerUrl()), 0);
    EXPECT_EQ(m_transfer.m_strRequestHeaderText, "earlier");
}

TEST_F(HttpTransferFaultsTest, AnUnreadableStatusGivesZero) {
    m_api.QueryInfoW = [](HINTERNET, DWORD level, void*, DWORD* size, DWORD* index) -> BOOL {
        EXPECT_EQ(level, 19u);
        EXPECT_EQ(*size, 256u);
        EXPECT_EQ(index, nullptr);
        SetLastError(ERROR_HTTP_HEADER_NOT_FOUND);
        return FALSE;
    };
    UseFaults();
    m_transfer.m_strResponseHeaderText = "earlier";
    EXPECT_EQ(Fetch(ServerUrl()), 0);
    m_record.ExpectFailure(0);
    EXPECT_EQ(m_transfer.m_strResponseHeaderText, "earlier");
}

// --- a read that fails where the expected length is reached: Wine stops reading there, Windows may not ---

void FailTheSecondRead(WinInetApi& api) {
    g_pPlatform->nReads = 0;
    api.ReadFile = [](HINTERNET request, void* buffer, DWORD count, DWORD* got) -> BOOL {
        EXPECT_EQ(count, 8192u);
        if (++g_pPlatform->nReads == 2) {
            SetLastError(ERROR_INTERNET_CONNECTION_RESET);
            return FALSE;
        }
        return g_pPlatform->real.ReadFile(request, buffer, count, got);
    };
}

TEST_F(HttpTransferFaultsTest, AReadThatFailsAtTheExpectedLengthCompletesTheBody) {
    const std::string body(99, 'b');
    HttpTestServer server(Always(HttpTestReply::Of(200, body)));
    FailTheSecondRead(m_api);
    UseFaults();
    EXPECT_EQ(Fetch(server.Url(L"/")), 200);
    m_record.ExpectBody(body);
}

TEST_F(HttpTransferFaultsTest, ALengthOfThreeDigitsCountsAsAbsent) {
    HttpTestServer server(Always(HttpTestReply::Of(200, std::string(100, 'b'))));
    FailTheSecondRead(m_api);
    UseFaults();
    EXPECT_EQ(Fetch(server.Url(L"/")), -6);
    m_record.ExpectFailure(-6);
}

TEST_F(HttpTransferFaultsTest, AReadThatFailsWithoutAnExpectedLengthBreaksTheBody) {
    HttpTestServer server(Always(HttpTestReply::Raw("HTTP/1.0 200 OK\r\n\r\nbody")));
    FailTheSecondRead(m_api);
    UseFaults();
    EXPECT_EQ(Fetch(server.Url(L"/")), -6);
}

TEST_F(HttpTransferFaultsTest, AReadThatFailsBeforeTheExpectedLengthBreaksTheBody) {
    static const std::string half(25, 'h');
    HttpTestServer server(Always(HttpTestReply::Of(200, std::string(50, 'b'))));
    m_api.ReadFile = [](HINTERNET, void* buffer, DWORD, DWORD* got) -> BOOL {
        if (++g_pPlatform->nReads == 2) {
            return FALSE;
        }
        memcpy(buffer, half.data(), half.size());
        *got = static_cast<DWORD>(half.size());
        return TRUE;
    };
    UseFaults();
    EXPECT_EQ(Fetch(server.Url(L"/")), -6);
    m_record.ExpectFailure(-6);
}

TEST_F(HttpTransferFaultsTest, AFirstReadThatFailsIsNoEmptyBody) {
    for (const char* answer : {"HTTP/1.0 200 OK\r\n\r\n", "HTTP/1.0 200 OK\r\nContent-Length: 0\r\n\r\n"}) {
        HttpTestServer server(Always(HttpTestReply::Raw(answer)));
        m_api.ReadFile = [](HINTERNET, void*, DWORD, DWORD*) -> BOOL { return FALSE; };
        UseFaults();
        EXPECT_EQ(Fetch(server.Url(L"/")), -6);
        m_record.ExpectFailure(-6);
    }
}

// --- the report of a refusing proxy ---

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
    // The platform's dialog waits for somebody to answer it; here the test does.
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

    int m_nRefusal = 407;
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

// Everything real: a report host that nobody knows.
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
