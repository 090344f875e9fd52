#include "world/program/proxy_setting.h"

#include "support/http/wininet_api.h"

std::vector<std::pair<std::string, std::string>> UserProxyValues() {
    const std::string settings = kInternetSettings;
    const std::string connections = settings + "\\Connections";
    return {{settings, "ProxyEnable"},           {settings, "ProxyServer"},  {settings, "ProxyOverride"},
            {settings, "AutoConfigURL"},         {settings, "MigrateProxy"}, {connections, "DefaultConnectionSettings"},
            {connections, "SavedLegacySettings"}};
}

bool SetUserProxy(std::uint32_t port) {
    const WinInetApi* const api = GetWinInetApi();
    if (api == nullptr) {
        return false;
    }
    std::wstring server = L"127.0.0.1:" + std::to_wstring(port);
    std::wstring bypass;
    INTERNET_PER_CONN_OPTIONW options[3] = {};
    options[0].dwOption = INTERNET_PER_CONN_FLAGS;
    options[0].Value.dwValue = PROXY_TYPE_DIRECT | PROXY_TYPE_PROXY;
    options[1].dwOption = INTERNET_PER_CONN_PROXY_SERVER;
    options[1].Value.pszValue = server.data();
    options[2].dwOption = INTERNET_PER_CONN_PROXY_BYPASS;
    options[2].Value.pszValue = bypass.data();
    INTERNET_PER_CONN_OPTION_LISTW list = {sizeof list, nullptr, 3, 0, options};
    const bool set = api->SetOption(nullptr, INTERNET_OPTION_PER_CONNECTION_OPTION, &list, sizeof list) != FALSE;
    AnnounceUserProxy();
    return set;
}

void AnnounceUserProxy() {
    if (const WinInetApi* const api = GetWinInetApi()) {
        api->SetOption(nullptr, INTERNET_OPTION_SETTINGS_CHANGED, nullptr, 0);
        api->SetOption(nullptr, INTERNET_OPTION_REFRESH, nullptr, 0);
    }
}
