#include "tests/simulated/include/tests/support/http_test_server.h"

#include <map>
#include <utility>

#include "simulation/stand_ins/http_server.h"

namespace {

constexpr std::uint16_t kFirstPort = 49152;

std::map<std::uint16_t, HttpTestServer*>& Servers() {
    static auto& servers = *new std::map<std::uint16_t, HttpTestServer*>;
    return servers;
}

std::uint16_t g_nProxy = 0;
std::uint16_t g_nNextPort = kFirstPort;

std::string Narrow(const std::wstring& text) {
    return std::string(text.begin(), text.end());  // the tests' texts are ASCII
}

simulation::HttpAnswer Serve(const simulation::HttpAsk& ask) {
    const bool bHere = ask.strHost == L"127.0.0.1";
    const auto found = Servers().find(bHere ? ask.nPort : g_nProxy);
    if (found == Servers().end()) {
        return {.nStatus = 0, .strBody = {}};
    }
    HttpTestRequest request;
    request.strMethod = Narrow(ask.strVerb);
    request.strHead = ask.strHeaders;
    request.strTarget = bHere ? Narrow(ask.strPath) : "http://" + Narrow(ask.strHost) + Narrow(ask.strPath);
    const HttpTestReply reply = found->second->Answer(request);
    return {.nStatus = static_cast<std::uint32_t>(reply.nStatus), .strBody = reply.strBody};
}

}  // namespace

HttpTestReply HttpTestReply::Of(int status, const std::string& body, const std::string&) {
    return {status, body};
}

HttpTestServer::HttpTestServer(Handler handler) : m_handler(std::move(handler)), m_nPort(g_nNextPort++) {
    Servers()[m_nPort] = this;
    OverrideWinInetApi(&simulation::AnswerHttpBy(&Serve));
}

HttpTestServer::~HttpTestServer() {
    Servers().erase(m_nPort);
}

std::wstring HttpTestServer::Url(const std::wstring& path) const {
    return L"http://127.0.0.1:" + std::to_wstring(m_nPort) + path;
}

std::vector<HttpTestRequest> HttpTestServer::Requests() const {
    const std::lock_guard guard(m_lock);
    return m_vecRequests;
}

HttpTestReply HttpTestServer::Answer(const HttpTestRequest& request) {
    {
        const std::lock_guard guard(m_lock);
        m_vecRequests.push_back(request);
    }
    return m_handler(request);
}

ScopedInternetProxy::ScopedInternetProxy(std::uint16_t port) : m_nOld(std::exchange(g_nProxy, port)) {}

ScopedInternetProxy::~ScopedInternetProxy() {
    g_nProxy = m_nOld;
}
