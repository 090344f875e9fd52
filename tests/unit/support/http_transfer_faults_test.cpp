// Faults of the platform that no server can provoke, and the calls a transfer makes: single functions of the platform's
// table are exchanged, the rest is real.
#include "tests/unit/support/http_transfer_faults.h"

namespace {

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

}  // namespace
