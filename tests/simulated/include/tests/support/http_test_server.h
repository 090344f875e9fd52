// tests/support/http_test_server.h on the machine, which has no sockets: the same server behind the table of the
// system's HTTP functions. What a test sends itself by sockets is not here, nor are tunnels and gates.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/windows_headers.h"

#include <shlwapi.h>

struct HttpTestRequest {
    std::string strHead;
    std::string strMethod;
    std::string strTarget;  // whole when asked as a proxy
    std::string strBody;
};

struct HttpTestReply {
    int nStatus = 200;
    std::string strBody;

    static HttpTestReply Of(int status, const std::string& body = {}, const std::string& headers = {});
};

class HttpTestServer {
  public:
    using Handler = std::function<HttpTestReply(const HttpTestRequest&)>;

    explicit HttpTestServer(Handler handler);
    ~HttpTestServer();
    HttpTestServer(const HttpTestServer&) = delete;
    HttpTestServer& operator=(const HttpTestServer&) = delete;

    std::uint16_t Port() const { return m_nPort; }
    std::wstring Url(const std::wstring& path) const;
    std::vector<HttpTestRequest> Requests() const;

    // Of the transfer's thread.
    HttpTestReply Answer(const HttpTestRequest& request);

  private:
    Handler m_handler;
    std::uint16_t m_nPort = 0;
    mutable std::mutex m_lock;
    std::vector<HttpTestRequest> m_vecRequests;
};

// Sends what is for other hosts to the server of this port.
class ScopedInternetProxy {
  public:
    explicit ScopedInternetProxy(std::uint16_t port);
    ~ScopedInternetProxy();
    ScopedInternetProxy(const ScopedInternetProxy&) = delete;
    ScopedInternetProxy& operator=(const ScopedInternetProxy&) = delete;

  private:
    const std::uint16_t m_nOld;
};
