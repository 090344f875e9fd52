#include "tests/e2e/proxied.h"

#include "tests/support/tls_test_server.h"

namespace {

constexpr wchar_t kHelperKey[] = L"Software\\Ovrin\\zolt";

}  // namespace

CProxied::CProxied(const std::wstring& mark) : CEndToEnd(mark) {
    ForgetConfiguration();
}

CProxied::~CProxied() {
    ForgetConfiguration();
}

HttpTestReply CProxied::Answer(const HttpTestRequest& request) {
    if (request.strMethod == "CONNECT") {
        return HttpTestReply::Tunnel(tls_test_server::Port("self_signed"));
    }
    if (IsInfo(request)) {
        return HttpTestReply::Of(m_nInfoStatus, R"({"appShortcut":{"create":1}})");
    }
    return HttpTestReply::Of(200, "ok");
}

bool CProxied::IsInfo(const HttpTestRequest& request) {
    return request.strTarget.ends_with(kInfoPath);
}

std::vector<std::string> CProxied::Targets(const std::string& part) const {
    std::vector<std::string> targets;
    for (const HttpTestRequest& request : m_proxy.Requests()) {
        if (request.strTarget.find(part) != std::string::npos) {
            targets.push_back(request.strTarget);
        }
    }
    return targets;
}

bool CProxied::WaitForTargets(const std::string& part, std::size_t count) const {
    for (std::size_t seen = m_proxy.Requests().size(); Targets(part).size() < count; ++seen) {
        if (!m_proxy.WaitForRequests(seen + 1)) {
            return false;
        }
    }
    return true;
}

std::optional<DWORD> CProxied::Stored(const wchar_t* name) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    if (SHGetValueW(HKEY_CURRENT_USER, kHelperKey, name, nullptr, &value, &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return value;
}

void CProxied::ForgetConfiguration() {
    SHDeleteValueW(HKEY_CURRENT_USER, kHelperKey, L"last_info_time");
    SHDeleteValueW(HKEY_CURRENT_USER, kHelperKey, L"app_shortcut_create");
}
