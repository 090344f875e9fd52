#include "host/remote_config_rule.h"

#include "foundation/json_text.h"

namespace {

// The library throws on text that nests too deep; what a server sends must not end the process.
bool ParseObject(std::string_view text, Json::Value& root) {
    try {
        return ParseJson(text, root) && root.isObject();
    } catch (const Json::Exception&) {
        return false;
    }
}

}  // namespace

RemoteConfig ReadRemoteConfig(std::string_view text) {
    RemoteConfig config;
    Json::Value root;
    if (!ParseObject(text, root)) {
        return config;
    }
    config.bParsed = true;
    const Json::Value* const appShortcut = FindJsonMember(root, "appShortcut");
    if (appShortcut == nullptr || !(appShortcut->isObject() || appShortcut->isNull())) {
        return config;
    }
    const Json::Value* const create = FindJsonMember(*appShortcut, "create");
    if (create != nullptr && IsJsonInteger(*create)) {
        config.nAppShortcutCreate = create->asLargestInt() == 1 ? 1u : 0u;
    }
    return config;
}
