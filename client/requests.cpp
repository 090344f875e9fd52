#include "client/requests.h"

#include "foundation/json_text.h"

namespace {

// Read by the helper as texts; anything else but null there ends it, or is at best not what was meant.
constexpr const char* kTexts[] = {"type", "from", "taskId", "appId", "appPath", "urlScheme", "wndname", "yybParam"};
// Read as numbers.
constexpr const char* kFlags[] = {"try_install", "AllowInstallYYB", "OvrinSafeExist", "mon_wndexists"};

bool KindsAreSafe(const Json::Value& object) {
    for (const char* key : kTexts) {
        const Json::Value* value = FindJsonMember(object, key);
        if (value != nullptr && !value->isString()) {
            return false;
        }
    }
    for (const char* key : kFlags) {
        const Json::Value* value = FindJsonMember(object, key);
        if (value != nullptr && !value->isBool() && !IsJsonInteger(*value)) {
            return false;
        }
    }
    return true;
}

constexpr struct {
    std::string_view word;
    const char* text;
} kWords[] = {
    {"1", "done: the open was accepted, or has succeeded"},
    {"0", "it was refused or has failed, or no task of this name is known"},
    {"Loading", "under way; ask again"},
    {"uninstalled", "the program that the target needs is not installed"},
    {"install", "the program that the target needs is being installed"},
    {"LaunchError", "the target's program could not be launched"},
    {"ParseAppOpenInfo error", "p1 holds no JSON object"},
    {"not from", "the key from is missing or empty"},
    {"not type", "the key type is none of miniApp, weChat and yyb"},
    {"is system screen saver", "the helper runs as a screen saver and opens nothing"},
    {"OpenWithWeChat lack param", "weChat needs urlScheme, wndname and taskId"},
    {"OpenWithWxSDK lack param", "miniApp needs appId and taskId"},
    {"OpenWidthYybSDK lack param", "yyb needs appId, yybParam and taskId"},
    {"InitWxApi error", "the library of the mini-program route is missing or cannot be used"},
    {"InitYybApi error", "the library of the yyb route is missing, unsigned or unusable"},
};

}  // namespace

bool ReadOpen(std::string_view json, Json::Value& open) {
    return ParseJson(json, open) && open.isObject() && KindsAreSafe(open);
}

bool CheckQuestion(std::string_view json) {
    Json::Value question;
    if (!ReadOpen(json, question)) {
        return false;
    }
    const Json::Value* interval = FindJsonMember(question, "interval");
    return interval == nullptr || (IsJsonInteger(*interval) && interval->asInt() >= 0);
}

const char* DescribeResultWord(std::string_view word) {
    for (const auto& one : kWords) {
        if (one.word == word) {
            return one.text;
        }
    }
    if (word.starts_with("OpenProtocolTimeOut")) {
        return "a key that the question needs is empty";
    }
    return "no word that this version knows";
}
