// End-to-end tests that see the network: a proxy of the test takes the place of every host, by the setting of the
// prefix's user. Such tests run one at a time in their prefix.
#pragma once

#include "tests/support/http_test_server.h"

#include <atomic>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tests/e2e/end_to_end.h"

class CProxied : public CEndToEnd {
  protected:
    explicit CProxied(const std::wstring& mark = L"e2e");
    ~CProxied() override;

    // On a thread of the connection. The daily file comes with m_nInfoStatus, everything else with 200; what asks for a
    // tunnel gets one to the TLS server of the tests.
    virtual HttpTestReply Answer(const HttpTestRequest& request);
    static bool IsInfo(const HttpTestRequest& request);

    // The targets that contain part, in order of arrival.
    std::vector<std::string> Targets(const std::string& part) const;
    // Waits until count targets contain part; false after a minute without.
    bool WaitForTargets(const std::string& part, std::size_t count) const;

    // What the daily configuration left in the registry.
    static std::optional<DWORD> Stored(const wchar_t* name);
    static void ForgetConfiguration();

    std::atomic<int> m_nInfoStatus{200};
    HttpTestServer m_proxy{[this](const HttpTestRequest& request) { return Answer(request); }};
    ScopedInternetProxy m_setting{m_proxy.Port()};
};

inline constexpr char kInfoPath[] = "/wxzolt/info.txt";
