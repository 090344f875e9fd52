// Faults of the platform that no server can provoke, and the calls a transfer makes: single functions of the platform's
// table are exchanged, the rest is real.
#include "tests/unit/support/http/http_transfer_faults.h"

#include "support/http/http_url.h"

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

TEST_F(HttpTransferFaultsTest, TheSecurityFlagsThatAreSetAlreadyStay) {
    RecordOptions(m_api);
    m_api.QueryOption = [](HINTERNET handle, DWORD option, void* value, DWORD* size) -> BOOL {
        EXPECT_NE(handle, nullptr);
        EXPECT_EQ(option, 31u);
        EXPECT_EQ(*size, 4u);
        *static_cast<DWORD*>(value) = 0x10000001;
        return TRUE;
    };
    m_platform.sendErrors = {ERROR_INTERNET_INVALID_CA};
    ScriptSends(m_api);
    UseFaults();
    EXPECT_EQ(Fetch(ServerUrl()), 200);
    const std::vector<std::pair<DWORD, DWORD>> expected = {{31, 0x10003181}, {31, 0x10000101}, {31, 0x10003181}};
    EXPECT_EQ(m_platform.setOptions, expected);
}

TEST_F(HttpTransferFaultsTest, TheFixedHeadersReplaceAndTheExtraLinesAreAdded) {
    static std::vector<std::string> added;
    added.clear();
    m_api.AddHeadersW = [](HINTERNET request, const wchar_t* headers, DWORD length, DWORD modifiers) -> BOOL {
        EXPECT_STREQ(headers,
                     L"Accept: */*\r\nUser-Agent: Mozilla/4.0 (compatible; MSIE 6.0; Windows NT 5.1)\r\n"
                     L"Connection:close\r\n");
        EXPECT_EQ(length, 0xFFFFFFFFu);
        EXPECT_EQ(modifiers, 0xA0000000u);
        added.push_back("fixed");
        return g_pPlatform->real.AddHeadersW(request, headers, length, modifiers);
    };
    m_api.AddHeadersA = [](HINTERNET request, const char* headers, DWORD length, DWORD modifiers) -> BOOL {
        EXPECT_EQ(length, 0xFFFFFFFFu);
        EXPECT_EQ(modifiers, 0x20000000u);
        added.push_back(headers);
        return g_pPlatform->real.AddHeadersA(request, headers, length, modifiers);
    };
    UseFaults();
    m_transfer.m_vecRequestHeaders = {"X-One: 1\r\n", "X-Two: 2"};
    EXPECT_EQ(Fetch(ServerUrl()), 200);
    EXPECT_EQ(added, (std::vector<std::string>{"fixed", "X-One: 1\r\n", "X-Two: 2"}));
}

TEST_F(HttpTransferFaultsTest, TheBodyIsSentUnchanged) {
    static const void* body;
    static DWORD bodySize;
    m_api.SendRequest = [](HINTERNET, const wchar_t* headers, DWORD headersLength, void* data, DWORD size) -> BOOL {
        EXPECT_EQ(headers, nullptr);
        EXPECT_EQ(headersLength, 0u);
        body = data;
        bodySize = size;
        SetLastError(ERROR_INTERNET_CANNOT_CONNECT);
        return FALSE;
    };
    UseFaults();
    m_transfer.m_pPostData = std::make_unique<std::uint8_t[]>(5);
    m_transfer.m_dwPostDataSize = 5;
    EXPECT_EQ(Fetch(ServerUrl()), 0);
    EXPECT_EQ(body, m_transfer.m_pPostData.get());
    EXPECT_EQ(bodySize, 5u);
}

TEST_F(HttpTransferFaultsTest, TheConnectionIsToTheHostAndPortOfTheUrl) {
    m_api.Connect = [](HINTERNET session, const wchar_t* host, INTERNET_PORT port, const wchar_t* user,
                       const wchar_t* password, DWORD service, DWORD flags, DWORD_PTR context) -> HINTERNET {
        EXPECT_NE(session, nullptr);
        EXPECT_STREQ(host, L"host.nexlet.invalid");
        EXPECT_EQ(port, 8123);
        EXPECT_EQ(user, nullptr);
        EXPECT_EQ(password, nullptr);
        EXPECT_EQ(service, 3u);
        EXPECT_EQ(flags, 0u);
        EXPECT_EQ(context, 0u);
        return nullptr;
    };
    UseFaults();
    EXPECT_EQ(Fetch(L"http://host.nexlet.invalid:8123/x"), -4);
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
    for (const int error : {ERROR_INTERNET_TIMEOUT, ERROR_INTERNET_CANNOT_CONNECT, ERROR_INTERNET_SEC_CERT_CN_INVALID,
                            ERROR_INTERNET_SEC_CERT_DATE_INVALID, ERROR_INTERNET_FORCE_RETRY}) {
        m_platform.nSends = 0;
        m_platform.sendErrors = {static_cast<DWORD>(error)};
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

// --- a stop during the read ---

TEST_F(HttpTransferFaultsTest, AStopDuringTheLastReadEndsThisTransferAndNotTheNext) {
    static COvHttpTransfer* stopped;
    stopped = &m_transfer;
    m_api.ReadFile = [](HINTERNET request, void* buffer, DWORD count, DWORD* got) -> BOOL {
        const BOOL read = g_pPlatform->real.ReadFile(request, buffer, count, got);
        if (*got == 0 && ++g_pPlatform->nReads == 1) {
            SetEvent(stopped->m_hStopEvent.get());
        }
        return read;
    };
    UseFaults();
    EXPECT_EQ(Fetch(ServerUrl()), 0);
    m_record.ExpectFailure(0);
    EXPECT_EQ(Fetch(ServerUrl()), 200);
    m_record.ExpectBody("body");
}

TEST_F(HttpTransferFaultsTest, AFirstReadThatFailsIsNotAnEmptyBody) {
    for (const char* answer : {"HTTP/1.0 200 OK\r\n\r\n", "HTTP/1.0 200 OK\r\nContent-Length: 0\r\n\r\n"}) {
        HttpTestServer server(Always(HttpTestReply::Raw(answer)));
        m_api.ReadFile = [](HINTERNET, void*, DWORD, DWORD*) -> BOOL { return FALSE; };
        UseFaults();
        EXPECT_EQ(Fetch(server.Url(L"/")), -6);
        m_record.ExpectFailure(-6);
    }
}

// --- without the platform's library ---

// A table of which the library lacks functions is not used; the URL is looked at all the same.
TEST_F(HttpTransferFaultsTest, WithoutALibraryABadUrlIsABadUrl) {
    OverrideWinInetApi(&kMissingWinInetApi);
    for (const wchar_t* url : {L"ftp://h/x", L"no url at all", L"http:///x", L""}) {
        EXPECT_EQ(Fetch(url), -1) << testing::PrintToString(std::wstring(url));
        EXPECT_EQ(m_record.nCalls, 0);
    }
    m_transfer.m_pszUrl.reset();
    EXPECT_EQ(m_transfer.Execute(), -1);
    EXPECT_EQ(m_record.nCalls, 0);
}

TEST_F(HttpTransferFaultsTest, WithoutALibraryAGoodUrlHasNoSession) {
    OverrideWinInetApi(&kMissingWinInetApi);
    for (const wchar_t* url : {L"http://h/x", L"HTTPS://h:444"}) {
        EXPECT_EQ(Fetch(url), -3) << testing::PrintToString(std::wstring(url));
        m_record.ExpectFailure(-3);
    }
}

// What the program decides by itself where the library is missing is what the library decides where it is not.
TEST_F(HttpTransferFaultsTest, AUrlIsJudgedAsThePlatformJudgesIt) {
    FailOpenFrom(m_api, 1);
    UseFaults();
    const std::wstring a255(255, L'a');
    const std::wstring urls[] = {
        L"http://h",
        L"http://h/",
        L"http://h/p?q#f",
        L"HtTp://H/",
        L"https://h:8443/p",
        L"http://h?q",
        L"http://u:p@h/",
        L"http://127.0.0.1:80/x",
        L"ftp://h/x",
        L"httpx://h/",
        L"file:///c:/x",
        L"mailto:a@b",
        L"",
        L"h/p",
        L"/p",
        L"http://" + std::wstring(259, L'h'),
        L"http://" + std::wstring(260, L'h'),
        L"http://" + std::wstring(259, L'h') + L":80/",
        L"http://h/" + std::wstring(4094, L'p'),
        L"http://h/" + std::wstring(4095, L'p'),
        L"http://h/" + a255 + L"?" + std::wstring(3838, L'q'),
        L"http://h/" + a255 + L"?" + std::wstring(3839, L'q'),
    };
    for (const std::wstring& url : urls) {
        EXPECT_EQ(Fetch(url) == -3, IsHttpUrl(url)) << testing::PrintToString(url.substr(0, 40)) << url.size();
    }
}

}  // namespace
