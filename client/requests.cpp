#include "client/requests.h"

#include <string>

#include "client/reason.h"
#include "foundation/json_text.h"

namespace {

// Read by the helper as texts; anything else but null there ends it, or is at best not what was meant.
constexpr const char* kTexts[] = {"type", "from", "taskId", "appId", "appPath", "urlScheme", "wndname", "yybParam"};
// Read as numbers.
constexpr const char* kFlags[] = {"try_install", "AllowInstallYYB", "OvrinSafeExist", "mon_wndexists"};

const char* KindOf(const Json::Value& value) {
    switch (value.type()) {
        case Json::nullValue:
            return "null";
        case Json::stringValue:
            return "a text";
        case Json::booleanValue:
            return "a boolean";
        case Json::arrayValue:
            return "an array";
        case Json::objectValue:
            return "an object";
        default:
            return IsJsonInteger(value) ? "a number" : "a number that is not an integer of 32 bits";
    }
}

bool Refuse(const char* what, const char* key, const Json::Value& value, const char* wanted) {
    SetReason(std::string(what) + ": the key \"" + key + "\" holds " + KindOf(value) + " and must hold " + wanted);
    return false;
}

bool KindsAreSafe(const Json::Value& object, const char* what) {
    for (const char* key : kTexts) {
        const Json::Value* value = FindJsonMember(object, key);
        if (value != nullptr && !value->isString()) {
            return Refuse(what, key, *value, "a text");
        }
    }
    for (const char* key : kFlags) {
        const Json::Value* value = FindJsonMember(object, key);
        if (value != nullptr && !value->isBool() && !IsJsonInteger(*value)) {
            return Refuse(what, key, *value, "a boolean or an integer");
        }
    }
    return true;
}

// The helper reads these at the end of an open.
bool UrlsAreSafe(const Json::Value& question, const char* what) {
    for (const char* key : {"successLog", "errorLog"}) {
        const Json::Value* urls = FindJsonMember(question, key);
        for (Json::ArrayIndex at = 0; urls != nullptr && urls->isArray() && at < urls->size(); ++at) {
            if (!(*urls)[at].isString()) {
                return Refuse(what, key, (*urls)[at], "texts alone");
            }
        }
    }
    return true;
}

// What the notice of an open that has succeeded is made of.
bool NoticeIsSafe(const Json::Value& question, const char* what) {
    const Json::Value* shown = FindJsonMember(question, "isWxPopShow");
    if (shown != nullptr && !shown->isNull() && !shown->isBool() && !IsJsonInteger(*shown)) {
        return Refuse(what, "isWxPopShow", *shown, "a boolean or an integer");
    }
    const Json::Value* data = FindJsonMember(question, "wxPopData");
    if (shown == nullptr || shown->isNull() || shown->asInt() != 1 || data == nullptr || data->isNull()) {
        return true;
    }
    if (!data->isObject()) {
        return Refuse(what, "wxPopData", *data, "an object");
    }
    for (const char* key : {"name", "appid", "icon", "impressionid"}) {
        const Json::Value* text = FindJsonMember(*data, key);
        if (text != nullptr && !text->isString()) {
            return Refuse(what, key, *text, "a text");
        }
    }
    const Json::Value* style = FindJsonMember(*data, "style_id");
    return style == nullptr || style->isNull() || style->isBool() || IsJsonInteger(*style) ||
           Refuse(what, "style_id", *style, "an integer");
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

bool ReadJson(const char* json, const char* what, Json::Value& value) {
    if (json == nullptr) {
        SetReason(std::string(what) + " is NULL");
        return false;
    }
    if (!CheckUtf8(json, what)) {
        return false;
    }
    if (!ParseJson(json, value)) {
        SetReason(std::string(what) + " is not JSON: " + DescribeJsonError(json));
        return false;
    }
    return true;
}

bool ReadOpen(const char* json, const char* what, Json::Value& open) {
    if (!ReadJson(json, what, open)) {
        return false;
    }
    if (!open.isObject()) {
        SetReason(std::string(what) + " is " + KindOf(open) + " and must be an object");
        return false;
    }
    return KindsAreSafe(open, what);
}

bool CheckQuestion(const char* json, const char* what) {
    Json::Value question;
    if (!ReadOpen(json, what, question)) {
        return false;
    }
    if (!UrlsAreSafe(question, what) || !NoticeIsSafe(question, what)) {
        return false;
    }
    const Json::Value* interval = FindJsonMember(question, "interval");
    return interval == nullptr || (IsJsonInteger(*interval) && interval->asInt() >= 0) ||
           Refuse(what, "interval", *interval, "an integer from 0 to 2147483647");
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
