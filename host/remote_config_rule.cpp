#include "host/remote_config_rule.h"

#include "foundation/json_text.h"

RemoteConfig ReadRemoteConfig(std::string_view text) {
    RemoteConfig config;
    Json::Value root;
    if (!ParseJson(text, root) || !root.isObject()) {
        return config;
    }
    config.bParsed = true;
    const Json::Value* const appShortcut = FindJsonMember(root, "appShortcut");
    if (appShortcut == nullptr || !(appShortcut->isObject() || appShortcut->isNull())) {
        return config;
    }
    const Json::Value* const create = FindJsonMember(*appShortcut, "create");
    if (create != nullptr && IsJsonInteger(*create)) {
        config.nAppShortcutCreate = JsonToInt(*create) == 1 ? 1u : 0u;
    }
    return config;
}
