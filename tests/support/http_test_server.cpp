#include "tests/support/http_test_server.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include <gtest/gtest.h>

#include "support/http/wininet_api.h"

namespace {

constexpr std::size_t kPieceBytes = 65536;
constexpr DWORD kGateMs = 30000;
constexpr auto kArrivalLimit = std::chrono::seconds(60);

constexpr wchar_t kInternetSettings[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";

struct WinsockUse {
    WinsockUse() {
        WSADATA data{};
        WSAStartup(MAKEWORD(2, 2), &data);
    }
};

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

bool SendAll(SOCKET socket, const char* bytes, std::size_t count) {
    while (count > 0) {
        const int piece = static_cast<int>(std::min(count, kPieceBytes));
        const int sent = send(socket, bytes, piece, 0);
        if (sent <= 0) {
            return false;
        }
        bytes += sent;
        count -= static_cast<std::size_t>(sent);
    }
    return true;
}

// Reads one whole request. False when the client closes before its end.
bool ReadRequest(SOCKET client, HttpTestRequest& request) {
    std::string text;
    char piece[8192];
    std::size_t headEnd = std::string::npos;
    while ((headEnd = text.find("\r\n\r\n")) == std::string::npos) {
        const int got = recv(client, piece, sizeof(piece), 0);
        if (got <= 0) {
            return false;
        }
        text.append(piece, static_cast<std::size_t>(got));
    }
    headEnd += 4;
    request.strHead = text.substr(0, headEnd);
    const std::size_t first = text.find(' ');
    const std::size_t second = text.find(' ', first + 1);
    request.strMethod = text.substr(0, first);
    request.strTarget = text.substr(first + 1, second - first - 1);
    std::size_t length = 0;
    for (const std::string& value : request.Headers("Content-Length")) {
        length = std::strtoul(value.c_str(), nullptr, 10);
    }
    request.strBody = text.substr(headEnd);
    while (request.strBody.size() < length) {
        const int got = recv(client, piece, sizeof(piece), 0);
        if (got <= 0) {
            return false;
        }
        request.strBody.append(piece, static_cast<std::size_t>(got));
    }
    return true;
}

void Relay(SOCKET from, SOCKET to) {
    char piece[8192];
    int got = 0;
    while ((got = recv(from, piece, sizeof(piece), 0)) > 0 && SendAll(to, piece, static_cast<std::size_t>(got))) {
    }
    shutdown(to, SD_SEND);
}

SOCKET ConnectLoopback(std::uint16_t port) {
    const SOCKET target = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(target, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        closesocket(target);
        return INVALID_SOCKET;
    }
    return target;
}

}  // namespace

std::vector<std::string> HttpTestRequest::Headers(const std::string& name) const {
    std::vector<std::string> values;
    std::size_t begin = strHead.find("\r\n") + 2;
    while (begin < strHead.size()) {
        const std::size_t end = strHead.find("\r\n", begin);
        const std::string line = strHead.substr(begin, end - begin);
        const std::size_t colon = line.find(':');
        if (colon != std::string::npos && Lower(line.substr(0, colon)) == Lower(name)) {
            const std::size_t value = line.find_first_not_of(' ', colon + 1);
            values.push_back(value == std::string::npos ? std::string() : line.substr(value));
        }
        begin = end + 2;
    }
    return values;
}

HttpTestReply HttpTestReply::Of(int status, const std::string& body, const std::string& headers) {
    return Raw("HTTP/1.0 " + std::to_string(status) + " Told\r\nContent-Length: " + std::to_string(body.size()) +
               "\r\n" + headers + "\r\n" + body);
}

HttpTestReply HttpTestReply::Raw(std::string bytes) {
    HttpTestReply reply;
    reply.strBytes = std::move(bytes);
    reply.nBytesBeforeGate = reply.strBytes.size();
    return reply;
}

HttpTestReply HttpTestReply::Tunnel(std::uint16_t port) {
    HttpTestReply reply = Raw("HTTP/1.0 200 Connection established\r\n\r\n");
    reply.nTunnelPort = port;
    return reply;
}

HttpTestServer::HttpTestServer(Handler handler) : m_handler(std::move(handler)) {
    static const WinsockUse winsock;
    m_listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int size = sizeof(address);
    if (bind(m_listener, reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
        listen(m_listener, SOMAXCONN) != 0 ||
        getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        ADD_FAILURE() << "The test server cannot listen: " << WSAGetLastError();
        return;
    }
    m_nPort = ntohs(address.sin_port);
    m_accepting = std::thread([this] { Accept(); });
}

HttpTestServer::~HttpTestServer() {
    {
        const std::lock_guard guard(m_lock);
        m_bEnding = true;
        for (const SOCKET open : m_vecOpen) {
            shutdown(open, SD_BOTH);
        }
    }
    // A connection of our own wakes the accepting thread on every platform; closing its socket does not.
    const SOCKET wake = ConnectLoopback(m_nPort);
    if (m_accepting.joinable()) {
        m_accepting.join();
    }
    closesocket(wake);
    closesocket(m_listener);
    for (std::thread& serving : m_vecServing) {
        serving.join();
    }
}

std::wstring HttpTestServer::Url(const std::wstring& path) const {
    return L"http://127.0.0.1:" + std::to_wstring(m_nPort) + path;
}

std::vector<HttpTestRequest> HttpTestServer::Requests() const {
    const std::lock_guard guard(m_lock);
    return m_vecRequests;
}

bool HttpTestServer::WaitForRequests(std::size_t count) const {
    std::unique_lock guard(m_lock);
    return m_arrived.wait_for(guard, kArrivalLimit, [&] { return m_vecRequests.size() >= count; });
}

void HttpTestServer::Accept() {
    for (;;) {
        const SOCKET client = accept(m_listener, nullptr, nullptr);
        const std::lock_guard guard(m_lock);
        if (m_bEnding || client == INVALID_SOCKET) {
            closesocket(client);
            return;
        }
        m_vecOpen.push_back(client);
        m_vecServing.emplace_back([this, client] { Serve(client); });
    }
}

bool HttpTestServer::Track(SOCKET socket) {
    const std::lock_guard guard(m_lock);
    if (m_bEnding) {
        return false;
    }
    m_vecOpen.push_back(socket);
    return true;
}

void HttpTestServer::Forget(SOCKET socket) {
    const std::lock_guard guard(m_lock);
    m_vecOpen.erase(std::find(m_vecOpen.begin(), m_vecOpen.end(), socket));
}

void HttpTestServer::Serve(SOCKET client) {
    HttpTestRequest request;
    if (ReadRequest(client, request)) {
        {
            const std::lock_guard guard(m_lock);
            m_vecRequests.push_back(request);
            m_arrived.notify_all();
        }
        const HttpTestReply reply = m_handler(request);
        const std::size_t before = std::min(reply.nBytesBeforeGate, reply.strBytes.size());
        bool sent = SendAll(client, reply.strBytes.data(), before);
        if (reply.hGate != nullptr) {
            WaitForSingleObject(reply.hGate, kGateMs);
        }
        sent = sent && SendAll(client, reply.strBytes.data() + before, reply.strBytes.size() - before);
        if (reply.bReset) {
            const linger hard{1, 0};
            setsockopt(client, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&hard), sizeof(hard));
        } else if (sent && reply.nTunnelPort != 0) {
            const SOCKET target = ConnectLoopback(reply.nTunnelPort);
            if (target != INVALID_SOCKET) {
                if (Track(target)) {
                    std::thread back([&] { Relay(target, client); });
                    Relay(client, target);
                    back.join();
                    Forget(target);
                }
                closesocket(target);
            }
        }
        if (!reply.bReset) {
            // The client has the whole answer before the connection is closed, whatever it still had to send.
            shutdown(client, SD_SEND);
        }
    }
    Forget(client);
    closesocket(client);
}

ScopedInternetProxy::ScopedInternetProxy(std::uint16_t port) {
    DWORD size = sizeof(m_nOldEnable);
    SHGetValueW(HKEY_CURRENT_USER, kInternetSettings, L"ProxyEnable", nullptr, &m_nOldEnable, &size);
    wchar_t server[512] = {};
    size = sizeof(server) - sizeof(wchar_t);
    m_bHadServer =
        SHGetValueW(HKEY_CURRENT_USER, kInternetSettings, L"ProxyServer", nullptr, server, &size) == ERROR_SUCCESS;
    m_strOldServer = server;

    const DWORD enable = port != 0 ? 1 : 0;
    SHSetValueW(HKEY_CURRENT_USER, kInternetSettings, L"ProxyEnable", REG_DWORD, &enable, sizeof(enable));
    const std::wstring proxy = L"127.0.0.1:" + std::to_wstring(port);
    SHSetValueW(HKEY_CURRENT_USER, kInternetSettings, L"ProxyServer", REG_SZ, proxy.c_str(),
                static_cast<DWORD>((proxy.size() + 1) * sizeof(wchar_t)));
    Announce();
}

void ScopedInternetProxy::Announce() {
    // The platform may hold the settings it has read.
    if (const WinInetApi* const api = GetWinInetApi()) {
        api->SetOption(nullptr, INTERNET_OPTION_SETTINGS_CHANGED, nullptr, 0);
        api->SetOption(nullptr, INTERNET_OPTION_REFRESH, nullptr, 0);
    }
}

ScopedInternetProxy::~ScopedInternetProxy() {
    SHSetValueW(HKEY_CURRENT_USER, kInternetSettings, L"ProxyEnable", REG_DWORD, &m_nOldEnable, sizeof(m_nOldEnable));
    if (m_bHadServer) {
        SHSetValueW(HKEY_CURRENT_USER, kInternetSettings, L"ProxyServer", REG_SZ, m_strOldServer.c_str(),
                    static_cast<DWORD>((m_strOldServer.size() + 1) * sizeof(wchar_t)));
    } else {
        SHDeleteValueW(HKEY_CURRENT_USER, kInternetSettings, L"ProxyServer");
    }
    Announce();
}
