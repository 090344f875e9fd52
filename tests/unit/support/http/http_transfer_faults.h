// Single functions of the platform's table exchanged for ones that record and fail as a test says; the rest is real.
#pragma once

#include "tests/unit/support/http/http_transfer_fixture.h"

#include <deque>
#include <string>
#include <utility>
#include <vector>

// The functions exchanged below are plain pointers, so what they see and give is kept here. One test runs at a time.
struct Platform {
    WinInetApi real;
    int nOpens = 0;
    int nFailOpenFrom = 1;  // the first call of Open that fails, counted from 1
    std::vector<std::pair<DWORD, DWORD>> setOptions;
    DWORD nRequestFlags = 0;
    std::wstring strVersion;
    int nSends = 0;
    std::deque<DWORD> sendErrors;  // one for each send; after them the real function
    int nReads = 0;
    int nConnects = 0;
    bool bLastConnectWithoutSession = false;
    int nReportOpens = 0;
    std::deque<bool> reportOpens;  // whether each open of the report works; after them the real function
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
inline Platform* g_pPlatform = nullptr;

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

inline void CountHandles(WinInetApi& api) {
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

inline void ScriptSends(WinInetApi& api) {
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

inline void RecordOptions(WinInetApi& api) {
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

inline void FailOpenFrom(WinInetApi& api, int call) {
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
