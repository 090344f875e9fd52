// The platform's HTTP functions in one table, loaded at first use: a start that fetches nothing never maps the
// library, and a test can put a fault in the place of any single function.
#pragma once

#include "foundation/windows_headers.h"

#include <wininet.h>

// Every function that a transfer uses. Names and meanings are the platform's own.
struct WinInetApi {
    decltype(&::InternetCrackUrlW) CrackUrl;
    decltype(&::InternetOpenW) Open;
    decltype(&::InternetSetOptionW) SetOption;
    decltype(&::InternetQueryOptionW) QueryOption;
    decltype(&::InternetConnectW) Connect;
    decltype(&::HttpOpenRequestW) OpenRequest;
    decltype(&::HttpAddRequestHeadersW) AddHeadersW;
    decltype(&::HttpAddRequestHeadersA) AddHeadersA;
    decltype(&::HttpSendRequestW) SendRequest;
    decltype(&::HttpQueryInfoW) QueryInfoW;
    decltype(&::HttpQueryInfoA) QueryInfoA;
    decltype(&::InternetReadFile) ReadFile;
    decltype(&::InternetOpenUrlW) OpenUrl;
    decltype(&::InternetErrorDlg) ErrorDialog;
    decltype(&::InternetCloseHandle) CloseHandle;
};

// The table in force, or null when the library or any of its functions is missing. The library is loaded from the
// system folder once and stays loaded. Any thread.
const WinInetApi* GetWinInetApi();

// For tests: puts api in force for every transfer that begins from now on, null the platform's own again. The table
// must outlive those transfers. kMissingWinInetApi means a platform without a usable library.
void OverrideWinInetApi(const WinInetApi* api);
extern const WinInetApi kMissingWinInetApi;

// Owns one handle of the table's kind.
class CInternetHandle {
  public:
    explicit CInternetHandle(const WinInetApi& api, HINTERNET handle = nullptr) : m_pApi(&api), m_hValue(handle) {}
    ~CInternetHandle() { reset(); }
    CInternetHandle(const CInternetHandle&) = delete;
    CInternetHandle& operator=(const CInternetHandle&) = delete;

    HINTERNET get() const { return m_hValue; }
    explicit operator bool() const { return m_hValue != nullptr; }
    void reset(HINTERNET handle = nullptr);

  private:
    const WinInetApi* m_pApi;  // weak
    HINTERNET m_hValue;
};
