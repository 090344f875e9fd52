#include "open/request/open_request.h"

#include "foundation/json_text.h"
#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "open/request/mini_program_service.h"

namespace {

const char kWeChat[] = "weChat";
const char kMiniApp[] = "miniApp";
const char kYyb[] = "yyb";

// These two take a member only when it is there and of exactly this type.

bool TakeText(const Json::Value& object, const char* key, std::string& text) {
    const Json::Value* member = FindJsonMember(object, key);
    if (member == nullptr || !member->isString()) {
        return false;
    }
    text = JsonToText(*member);
    return true;
}

bool TakeInteger(const Json::Value& object, const char* key, std::int32_t& number) {
    const Json::Value* member = FindJsonMember(object, key);
    if (member == nullptr || !IsJsonInteger(*member)) {
        return false;
    }
    number = JsonToInt(*member);
    return true;
}

// The integer 1 and nothing else: a JSON true does not count.
bool TakeSwitch(const Json::Value& object, const char* key) {
    std::int32_t number = 0;
    return TakeInteger(object, key, number) && number == 1;
}

// A member that holds further keys: an object or null, which has none. Null pointer when there is no such member.
const Json::Value* FindSection(const Json::Value& root, const char* key) {
    const Json::Value* section = FindJsonMember(root, key);
    return section != nullptr && (section->isObject() || section->isNull()) ? section : nullptr;
}

void ReadLoadingWnd(const Json::Value& section, AppOpenInfo& info) {
    info.show = TakeSwitch(section, "show");
    if (info.show) {
        TakeInteger(section, "timeOut", info.timeOut);
        TakeText(section, "name", info.name);
        TakeText(section, "iconUrl", info.iconUrl);
    }
}

void ReadAppShortcut(const Json::Value& section, AppOpenInfo& info) {
    info.create = TakeSwitch(section, "create");
    if (info.create) {
        TakeText(section, "shortcutName", info.shortcutName);
        TakeText(section, "imageUrl", info.imageUrl);
        TakeText(section, "successDot", info.successDot);
        TakeText(section, "errorDot", info.errorDot);
    }
}

}  // namespace

bool WxMiniProgramService::ParseAppOpenInfo(const Json::Value& root, AppOpenInfo& info) {
    if (!root.isObject()) {
        return false;
    }
    // The order is that of the members: the first that does not convert is the one that ends the process.
    info.type = JsonToText(JsonMember(root, "type"));
    info.appId = JsonToText(JsonMember(root, "appId"));
    info.appPath = JsonToText(JsonMember(root, "appPath"));
    info.wndname = JsonToText(JsonMember(root, "wndname"));
    info.urlScheme = JsonToText(JsonMember(root, "urlScheme"));
    info.yybParam = JsonToText(JsonMember(root, "yybParam"));
    info.taskId = JsonToText(JsonMember(root, "taskId"));
    info.from = JsonToText(JsonMember(root, "from"));
    info.try_install = JsonToInt(JsonMember(root, "try_install")) == 1;
    info.AllowInstallYYB = JsonToInt(JsonMember(root, "AllowInstallYYB")) == 1;
    info.OvrinSafeExist = JsonToInt(JsonMember(root, "OvrinSafeExist")) == 1;
    NXL_LOG(
        L"[%s(%d)] ParseAppOpenInfo : type[%s] appId[%s] appPath[%s] wndname[%s] urlScheme[%s] yybParam[%s] taskId[%s] "
        L"from[%s] try_install[%d] AllowInstallYYB[%d] OvrinSafeExist[%d]",
        Utf8ToUtf16(info.type).c_str(), Utf8ToUtf16(info.appId).c_str(), Utf8ToUtf16(info.appPath).c_str(),
        Utf8ToUtf16(info.wndname).c_str(), Utf8ToUtf16(info.urlScheme).c_str(), Utf8ToUtf16(info.yybParam).c_str(),
        Utf8ToUtf16(info.taskId).c_str(), Utf8ToUtf16(info.from).c_str(), info.try_install, info.AllowInstallYYB,
        info.OvrinSafeExist);

    if (const Json::Value* section = FindSection(root, "loadingWnd")) {
        ReadLoadingWnd(*section, info);
    }
    NXL_LOG(L"[%s(%d)] ParseAppOpenInfo loadingWnd: show[%d] timeOut[%d] name[%s] iconUrl[%s] ", info.show,
            info.timeOut, Utf8ToUtf16(info.name).c_str(), Utf8ToUtf16(info.iconUrl).c_str());

    if (const Json::Value* section = FindSection(root, "appShortcut")) {
        ReadAppShortcut(*section, info);
    }
    // The label "errorDot" is there twice; readers of the log rely on the line as it is. Held by
    // TheShortcutLineNamesBothBeaconsErrorDot.
    NXL_LOG(
        L"[%s(%d)] ParseAppOpenInfo appShortcut: create[%d] imageUrl[%s] shortcutName[%s] errorDot[%s] errorDot[%s] ",
        info.create, Utf8ToUtf16(info.imageUrl).c_str(), Utf8ToUtf16(info.shortcutName).c_str(),
        Utf8ToUtf16(info.successDot).c_str(), Utf8ToUtf16(info.errorDot).c_str());
    return true;
}

bool ParseOpenPollInfo(const Json::Value& root, OpenPollInfo& info) {
    if (!root.isObject()) {
        return false;
    }
    TakeText(root, "type", info.type);
    TakeText(root, "wndname", info.wndname);
    TakeText(root, "taskId", info.taskId);
    TakeText(root, "from", info.from);
    if (const Json::Value* member = FindJsonMember(root, "mon_wndexists")) {
        info.mon_wndexists = static_cast<std::uint32_t>(JsonToInt(*member));
    }
    return true;
}

void DecideOpen(const Json::Value& open, IOpenRoutes& routes, std::string& result) {
    AppOpenInfo info;
    if (!WxMiniProgramService::ParseAppOpenInfo(open, info)) {
        result = "ParseAppOpenInfo error";
        return;
    }
    if (info.from.empty()) {
        result = "not from";
        return;
    }
    if (routes.IsSystemPicStart()) {
        NXL_LOG(L"OpenApp ----- Is System screen saver return");
        result = "is system screen saver";
        return;
    }
    if (info.type == kWeChat) {
        if (info.urlScheme.empty() || info.wndname.empty() || info.taskId.empty()) {
            result = "OpenWithWeChat lack param";
            return;
        }
        routes.OpenWithWeChat(info, result);
    } else if (info.type == kMiniApp) {
        if (info.appId.empty() || info.taskId.empty()) {
            result = "OpenWithWxSDK lack param";
            return;
        }
        if (!routes.IsWxMiniProgramInstalled()) {
            result = "uninstalled";
        } else if (routes.InitWxApi()) {
            routes.OpenWithWxSDK(info, result);
        } else {
            result = "InitWxApi error";
        }
        // After the open call and in all three cases: an answer counts for a request only once its open call is
        // over. Held by TheTaskIdIsStoredAfterTheOpenCall.
        routes.SetLastTaskId(info.taskId);
    } else if (info.type == kYyb) {
        if (info.yybParam.empty() || info.appId.empty() || info.taskId.empty()) {
            result = "OpenWidthYybSDK lack param";
            return;
        }
        const bool bAllowInstall = info.try_install && info.AllowInstallYYB && info.OvrinSafeExist;
        routes.OpenWidthYybSDK(info, bAllowInstall, result);
    } else {
        result = "not type";
    }
}

bool DecideOpenPoll(const OpenPollInfo* pInfo, IOpenRoutes& routes, std::string& result, bool bLastCall) {
    if (pInfo == nullptr) {
        // The word of the opening request, on purpose: callers know this one.
        result = "ParseAppOpenInfo error";
        return false;
    }
    const OpenPollInfo& info = *pInfo;
    if (info.from.empty()) {
        result = "not from";
        return false;
    }
    if (info.type == kWeChat) {
        return routes.PollWeChat(info, result, bLastCall);
    }
    if (info.type == kMiniApp) {
        return routes.PollWxSDK(info, result);
    }
    if (info.type == kYyb) {
        return routes.PollYyb(info, result, bLastCall);
    }
    result = "not type";
    return false;
}
