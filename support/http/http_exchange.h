// One run of a transfer: the steps from the URL to the delivered body. Internal to COvHttpTransfer.
#pragma once

#include <cstdint>
#include <string>

#include "support/http/http_transfer.h"
#include "support/http/http_url.h"
#include "support/http/wininet_api.h"

// Performs one transfer on the fields of the object it is given and is destroyed afterwards.
class CHttpExchange {
  public:
    CHttpExchange(COvHttpTransfer& transfer, const WinInetApi& api);

    // The result as COvHttpTransfer::Execute gives it; the callback has been told.
    std::int32_t Run();

  private:
    enum class Next { Finish, StoreHeaderTexts, ReportProxyError };

    bool ParseUrl();
    bool OpenSession();
    Next Attempt();
    bool OpenRequest();
    void AddHeaders();
    bool Send();
    void AddSecurityFlags(DWORD flags);
    std::uint32_t QueryStatus(DWORD& size);
    Next ReadBody(std::uint32_t expected);
    Next Deliver(const void* data, std::uint32_t size);
    void CaptureResponseHeaders();
    bool StopRequested();
    bool ProxyPassesNow();
    std::string RawHeaderText(DWORD level);
    void CloseAll();

    COvHttpTransfer& m_transfer;
    const WinInetApi& m_api;
    CInternetHandle m_hSession;
    CInternetHandle m_hConnection;
    CInternetHandle m_hRequest;
    wchar_t m_szHost[kHostCharacters] = {};
    wchar_t m_szPath[kPathCharacters] = {};
    INTERNET_PORT m_nPort = 0;
    bool m_bSecure = false;
    bool m_bProxyReported = false;
    bool m_bDelivered = false;
    std::int32_t m_nResult = 0;
};
