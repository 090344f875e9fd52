#include "open/yyb/yyb_rules.h"

#include "foundation/json_text.h"
#include "foundation/log.h"

namespace YYB_API_CLIENT {

std::string DoubleBackslashes(const std::string& text) {
    std::string doubled;
    for (const char c : text) {
        doubled += c;
        if (c == '\\') {
            doubled += c;
        }
    }
    return doubled;
}

std::string YybInitializeText(const ChannelConfig& channel, const std::string& directory) {
    Json::Value root(Json::objectValue);
    root["channel_id"] = channel.m_nChannelId;
    root["download_directory"] = directory;
    root["product"] = channel.m_strProduct;
    root["str_source_from"] = channel.m_strFrom;
    return WriteJson(root);
}

bool DecideYybLogin(IYybLoginFacts& facts) {
    facts.Prepare();
    const std::uint32_t now = facts.SecondsNow();
    if (!facts.CheckPcyyb()) {
        NXL_LOG(L"---IsYybLogined---- 未安装");
        facts.WriteCache({});
        return false;
    }
    if (!facts.IsRunning()) {
        return IsLoginCacheFresh(facts.ReadCache(), now);
    }
    facts.Prepare();
    const bool login = facts.HasAppletLaunchSuccess();
    NXL_LOG(L"---IsYybLogined---- run [%d], login [%d]", true, login);
    // A running host without a login takes a young cache back: callers rely on it. Held by
    // ARunningHostWithoutALoginClearsTheCache.
    facts.WriteCache(login ? LoginCache{now, 1} : LoginCache{});
    return login;
}

}  // namespace YYB_API_CLIENT
