#include "simulation/stand_ins/http_server.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <memory>

#include "foundation/windows_headers.h"
#include "simulation/kernel/faults.h"
#include "simulation/kernel/scheduler.h"

namespace simulation {
namespace {

// What a handle of the table refers to: a session, a connection or a request.
struct Internet {
    HttpAsk ask;
    bool bSecure = false;
    HttpAnswer answer;
    std::size_t nRead = 0;
};

HttpServer& TheServer() {
    static auto& server = *new HttpServer;
    return server;
}

Internet& Of(HINTERNET hInternet) {
    return *static_cast<Internet*>(hInternet);
}

void Copy(const std::wstring& strText, LPWSTR szBuffer, DWORD& nSize) {
    const std::size_t nCopied = std::min<std::size_t>(strText.size(), nSize - 1);
    std::wmemcpy(szBuffer, strText.c_str(), nCopied);
    szBuffer[nCopied] = L'\0';
    nSize = static_cast<DWORD>(nCopied);
}

BOOL CrackUrl(LPCWSTR szUrl, DWORD, DWORD, LPURL_COMPONENTSW pParts) {
    const CFaults::CHold noFaults;
    const std::wstring strUrl = szUrl;
    const std::size_t nScheme = strUrl.find(L"://");
    if (nScheme == std::wstring::npos) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    pParts->nScheme = strUrl.substr(0, nScheme) == L"https" ? INTERNET_SCHEME_HTTPS : INTERNET_SCHEME_HTTP;
    const std::size_t nHost = nScheme + 3;
    const std::size_t nPath = std::min(strUrl.find(L'/', nHost), strUrl.size());
    std::wstring strHost = strUrl.substr(nHost, nPath - nHost);
    pParts->nPort = pParts->nScheme == INTERNET_SCHEME_HTTPS ? 443 : 80;
    if (const std::size_t nColon = strHost.find(L':'); nColon != std::wstring::npos) {
        pParts->nPort = static_cast<INTERNET_PORT>(std::wcstoul(strHost.c_str() + nColon + 1, nullptr, 10));
        strHost.resize(nColon);
    }
    Copy(strHost, pParts->lpszHostName, pParts->dwHostNameLength);
    Copy(strUrl.substr(nPath), pParts->lpszUrlPath, pParts->dwUrlPathLength);
    return TRUE;
}

HINTERNET Open(LPCWSTR, DWORD, LPCWSTR, LPCWSTR, DWORD) {
    const CFaults::CHold noFaults;
    return new Internet;
}

HINTERNET Connect(HINTERNET hSession, LPCWSTR szHost, INTERNET_PORT nPort, LPCWSTR, LPCWSTR, DWORD, DWORD, DWORD_PTR) {
    const CFaults::CHold noFaults;
    if (hSession == nullptr) {
        return nullptr;
    }
    auto pConnection = std::make_unique<Internet>();
    pConnection->ask.strHost = szHost;
    pConnection->ask.nPort = nPort;
    return pConnection.release();
}

HINTERNET OpenRequest(HINTERNET hConnection, LPCWSTR szVerb, LPCWSTR szPath, LPCWSTR, LPCWSTR, LPCWSTR*, DWORD dwFlags,
                      DWORD_PTR) {
    const CFaults::CHold noFaults;
    auto pRequest = std::make_unique<Internet>(Of(hConnection));
    pRequest->bSecure = (dwFlags & INTERNET_FLAG_SECURE) != 0;
    pRequest->ask.strVerb = szVerb;
    pRequest->ask.strPath = szPath;
    pRequest->ask.strUrl = (pRequest->bSecure ? L"https://" : L"http://") + pRequest->ask.strHost + L":" +
                           std::to_wstring(pRequest->ask.nPort) + szPath;
    return pRequest.release();
}

BOOL AddHeadersW(HINTERNET hRequest, LPCWSTR szHeaders, DWORD, DWORD) {
    const CFaults::CHold noFaults;
    const std::wstring strHeaders = szHeaders;
    Of(hRequest).ask.strHeaders.append(strHeaders.begin(), strHeaders.end());
    return TRUE;
}

BOOL AddHeadersA(HINTERNET hRequest, LPCSTR szHeaders, DWORD, DWORD) {
    const CFaults::CHold noFaults;
    Of(hRequest).ask.strHeaders += szHeaders;
    return TRUE;
}

BOOL SendRequest(HINTERNET hRequest, LPCWSTR, DWORD, LPVOID, DWORD) {
    const CFaults::CHold noFaults;
    Internet& request = Of(hRequest);
    request.answer = TheServer()(request.ask);
    if (request.answer.nAfterMs > 0) {
        Sleep(request.answer.nAfterMs);
    }
    if (request.answer.nStatus == 0) {
        constexpr DWORD kCannotConnect = 12029;
        SetLastError(kCannotConnect);
        return FALSE;
    }
    return TRUE;
}

// Sizes are of characters of two bytes, as the product counts them.
BOOL QueryInfoW(HINTERNET hRequest, DWORD dwWhat, LPVOID pBuffer, LPDWORD pSize, LPDWORD) {
    const CFaults::CHold noFaults;
    const HttpAnswer& answer = Of(hRequest).answer;
    const std::wstring strText =
        std::to_wstring(dwWhat == HTTP_QUERY_STATUS_CODE ? answer.nStatus : answer.strBody.size());
    constexpr DWORD kCharacterBytes = 2;
    const auto nBytes = static_cast<DWORD>(strText.size() * kCharacterBytes);
    const bool bFits = nBytes + kCharacterBytes <= *pSize;
    *pSize = nBytes;
    if (!bFits) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    std::wmemcpy(static_cast<wchar_t*>(pBuffer), strText.c_str(), strText.size() + 1);
    return TRUE;
}

BOOL QueryInfoA(HINTERNET, DWORD, LPVOID, LPDWORD, LPDWORD) {
    constexpr DWORD kHeaderNotFound = 12150;
    SetLastError(kHeaderNotFound);
    return FALSE;
}

BOOL ReadBody(HINTERNET hRequest, LPVOID pBuffer, DWORD nBytes, LPDWORD pRead) {
    const CFaults::CHold noFaults;
    Internet& request = Of(hRequest);
    Sleep(0);
    const std::size_t nEnd = std::min(request.answer.strBody.size(), request.answer.nBytesBeforeBreak);
    const std::size_t nPart = std::min<std::size_t>(nBytes, nEnd - request.nRead);
    if (nPart == 0 && nEnd < request.answer.strBody.size()) {
        constexpr DWORD kConnectionReset = 12031;
        SetLastError(kConnectionReset);
        return FALSE;
    }
    std::memcpy(pBuffer, request.answer.strBody.data() + request.nRead, nPart);
    request.nRead += nPart;
    *pRead = static_cast<DWORD>(nPart);
    return TRUE;
}

BOOL CloseInternet(HINTERNET hInternet) {
    delete static_cast<Internet*>(hInternet);
    return TRUE;
}

}  // namespace

const WinInetApi& AnswerHttpBy(HttpServer server) {
    TheServer() = std::move(server);
    static const WinInetApi api = {
        .CrackUrl = &CrackUrl,
        .Open = &Open,
        .SetOption = [](HINTERNET, DWORD, LPVOID, DWORD) -> BOOL { return TRUE; },
        .QueryOption = [](HINTERNET, DWORD, LPVOID, LPDWORD) -> BOOL { return TRUE; },
        .Connect = &Connect,
        .OpenRequest = &OpenRequest,
        .AddHeadersW = &AddHeadersW,
        .AddHeadersA = &AddHeadersA,
        .SendRequest = &SendRequest,
        .QueryInfoW = &QueryInfoW,
        .QueryInfoA = &QueryInfoA,
        .ReadFile = &ReadBody,
        .OpenUrl = [](HINTERNET, LPCWSTR, LPCWSTR, DWORD, DWORD, DWORD_PTR) -> HINTERNET { return nullptr; },
        .ErrorDialog = [](HWND, HINTERNET, DWORD, DWORD, LPVOID*) -> DWORD { return ERROR_SUCCESS; },
        .CloseHandle = &CloseInternet,
    };
    return api;
}

}  // namespace simulation
