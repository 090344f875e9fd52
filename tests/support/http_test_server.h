// A real HTTP server on a free loopback port of this process, each test gives its answers. It can serve as the
// proxy of the process too: absolute targets arrive as they are, and CONNECT can be tunnelled to a TLS server.
#pragma once

#include <winsock2.h>

#include "foundation/windows_headers.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct HttpTestRequest {
    std::string strHead;    // request line and headers, with the empty line
    std::string strMethod;  // "GET"
    std::string strTarget;  // "/path?query", or "http://host/path" when asked as a proxy
    std::string strBody;

    // The header lines of this name, any case, in order.
    std::vector<std::string> Headers(const std::string& name) const;
};

struct HttpTestReply {
    std::string strBytes;              // everything, status line included; nothing at all is an answer too
    std::size_t nBytesBeforeGate = 0;  // how much is sent before the wait for the gate
    HANDLE hGate = nullptr;            // weak: the rest waits for this event, 30 seconds at most
    bool bReset = false;               // ends with a reset connection instead of a clean close
    std::uint16_t nTunnelPort = 0;     // for CONNECT: relay to this loopback port after the bytes

    // A whole answer with its length; headers are lines with CR LF.
    static HttpTestReply Of(int status, const std::string& body = {}, const std::string& headers = {});
    static HttpTestReply Raw(std::string bytes);
    static HttpTestReply Tunnel(std::uint16_t port);
};

class HttpTestServer {
  public:
    using Handler = std::function<HttpTestReply(const HttpTestRequest&)>;

    // handler runs on a thread of the connection.
    explicit HttpTestServer(Handler handler);
    // Closes what is open and joins every thread.
    ~HttpTestServer();
    HttpTestServer(const HttpTestServer&) = delete;
    HttpTestServer& operator=(const HttpTestServer&) = delete;

    std::uint16_t Port() const { return m_nPort; }
    // "http://127.0.0.1:PORT" followed by path.
    std::wstring Url(const std::wstring& path) const;

    // What has arrived so far, in order of arrival.
    std::vector<HttpTestRequest> Requests() const;
    // Waits until count requests have arrived. False after 60 seconds without.
    bool WaitForRequests(std::size_t count) const;

  private:
    void Accept();
    void Serve(SOCKET client);
    bool Track(SOCKET socket);
    void Forget(SOCKET socket);

    Handler m_handler;
    SOCKET m_listener = INVALID_SOCKET;
    std::uint16_t m_nPort = 0;
    mutable std::mutex m_lock;
    mutable std::condition_variable m_arrived;
    bool m_bEnding = false;
    std::vector<HttpTestRequest> m_vecRequests;
    std::vector<SOCKET> m_vecOpen;
    std::vector<std::thread> m_vecServing;
    std::thread m_accepting;
};

// Makes a loopback port the system's HTTP proxy for the length of a scope, in the registry of the current user; port 0
// means no proxy. They nest. Tests that use it share a resource lock, as there is one registry.
class ScopedInternetProxy {
  public:
    explicit ScopedInternetProxy(std::uint16_t port);
    ~ScopedInternetProxy();
    ScopedInternetProxy(const ScopedInternetProxy&) = delete;
    ScopedInternetProxy& operator=(const ScopedInternetProxy&) = delete;

  private:
    void Announce();

    DWORD m_nOldEnable = 0;
    std::wstring m_strOldServer;
    bool m_bHadServer = false;
};
