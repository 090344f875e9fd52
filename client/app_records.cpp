#include "client/app_records.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "client/client_api.h"
#include "foundation/json_text.h"

namespace {

constexpr std::uint32_t kAppFlags = NEXLET_APP_TRY_INSTALL | NEXLET_APP_ALLOW_INSTALL_YYB | NEXLET_APP_SAFE_EXISTS |
                                    NEXLET_APP_SHOW_LOADING | NEXLET_APP_CREATE_SHORTCUT;

// One text member of a record and its key.
struct Member {
    const char* name;
    const char* key;
    const char* text;
};

// Puts the members that are set under their keys.
bool PutTexts(std::initializer_list<Member> members, Json::Value& object) {
    return std::all_of(members.begin(), members.end(), [&](const Member& one) {
        std::string text;
        if (!TakeTextOrNull(one.text, one.name, text)) {
            return false;
        }
        if (one.text != nullptr) {
            object[one.key] = text;
        }
        return true;
    });
}

// Whether the members that a type needs are neither NULL nor empty.
bool HasAll(std::string_view type, std::initializer_list<Member> members) {
    return std::all_of(members.begin(), members.end(), [&](const Member& one) {
        if (one.text != nullptr && *one.text != 0) {
            return true;
        }
        SetReason(std::string(one.name) + " is " + (one.text == nullptr ? "NULL" : "empty") + "; the type " +
                  std::string(type) + " needs it");
        return false;
    });
}

bool IsType(const char* type) {
    std::string copy;
    if (!TakeText(type, "type", copy)) {
        return false;
    }
    if (copy != "miniApp" && copy != "weChat" && copy != "yyb") {
        SetReason("type is \"" + copy + "\"; it must be miniApp, weChat or yyb");
        return false;
    }
    return true;
}

bool FlagsAreKnown(std::uint32_t flags, std::uint32_t known) {
    if ((flags & ~known) != 0) {
        SetReason("flags has a bit that this version does not know");
        return false;
    }
    return true;
}

// Puts a time that is set; the helper reads 32 bits with a sign.
bool PutTime(const char* name, const char* key, std::uint32_t timeMs, Json::Value& object) {
    if (timeMs > 0x7FFFFFFFu) {
        SetReason(std::string(name) + " is above 2147483647");
        return false;
    }
    if (timeMs != 0) {
        object[key] = static_cast<Json::Int>(timeMs);
    }
    return true;
}

bool PutUrls(const char* name, const char* key, const char* const* urls, std::uint32_t count, Json::Value& object) {
    if (urls == nullptr && count != 0) {
        SetReason(std::string(name) + " is NULL and its count is not 0");
        return false;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        std::string url;
        if (!TakeText(urls[i], name, url)) {
            return false;
        }
        object[key].append(url);
    }
    return true;
}

bool HasWhatItsTypeNeeds(const nexlet_app& app) {
    const std::string_view type = app.type;
    const Member from = {"from", "", app.from};
    const Member task = {"task_id", "", app.task_id};
    const Member id = {"app_id", "", app.app_id};
    if (type == "miniApp") {
        return HasAll(type, {from, task, id});
    }
    if (type == "weChat") {
        return HasAll(type, {from, task, {"url_scheme", "", app.url_scheme}, {"window_title", "", app.window_title}});
    }
    return HasAll(type, {from, task, id, {"yyb_param", "", app.yyb_param}});
}

bool PutLoading(const nexlet_app& app, Json::Value& open) {
    if ((app.flags & NEXLET_APP_SHOW_LOADING) == 0) {
        return true;
    }
    Json::Value& loading = open["loadingWnd"];
    loading["show"] = 1;
    return PutTime("loading_timeout_ms", "timeOut", app.loading_timeout_ms, loading) &&
           PutTexts({{"loading_name", "name", app.loading_name}, {"loading_icon_url", "iconUrl", app.loading_icon_url}},
                    loading);
}

bool PutShortcut(const nexlet_app& app, Json::Value& open) {
    if ((app.flags & NEXLET_APP_CREATE_SHORTCUT) == 0) {
        return true;
    }
    Json::Value& shortcut = open["appShortcut"];
    shortcut["create"] = 1;
    return PutTexts({{"shortcut_name", "shortcutName", app.shortcut_name},
                     {"shortcut_image_url", "imageUrl", app.shortcut_image_url},
                     {"shortcut_success_url", "successDot", app.shortcut_success_url},
                     {"shortcut_error_url", "errorDot", app.shortcut_error_url}},
                    shortcut);
}

}  // namespace

nexlet_result ReadApp(const nexlet_app* given, Json::Value& open) {
    if (given == nullptr) {
        return Refuse("app is NULL");
    }
    nexlet_app app = {};
    if (!ReadRecord(given, app)) {
        return NEXLET_BAD_SIZE;
    }
    open = Json::Value(Json::objectValue);
    const struct {
        std::uint32_t flag;
        const char* key;
    } flags[] = {{NEXLET_APP_TRY_INSTALL, "try_install"},
                 {NEXLET_APP_ALLOW_INSTALL_YYB, "AllowInstallYYB"},
                 {NEXLET_APP_SAFE_EXISTS, "OvrinSafeExist"}};
    for (const auto& one : flags) {
        if ((app.flags & one.flag) != 0) {
            open[one.key] = 1;
        }
    }
    const bool good = FlagsAreKnown(app.flags, kAppFlags) && IsType(app.type) &&
                      PutTexts({{"type", "type", app.type},
                                {"from", "from", app.from},
                                {"task_id", "taskId", app.task_id},
                                {"app_id", "appId", app.app_id},
                                {"app_path", "appPath", app.app_path},
                                {"url_scheme", "urlScheme", app.url_scheme},
                                {"window_title", "wndname", app.window_title},
                                {"yyb_param", "yybParam", app.yyb_param}},
                               open) &&
                      HasWhatItsTypeNeeds(app) && PutLoading(app, open) && PutShortcut(app, open);
    return good ? NEXLET_OK : NEXLET_BAD_ARGUMENT;
}

nexlet_result ReadQuestion(const nexlet_app_question* given, bool watch, std::string& question) {
    if (given == nullptr) {
        return Refuse("question is NULL");
    }
    nexlet_app_question asked = {};
    if (!ReadRecord(given, asked)) {
        return NEXLET_BAD_SIZE;
    }
    Json::Value object(Json::objectValue);
    const bool looksForWindow = (asked.flags & NEXLET_QUESTION_WINDOW) != 0;
    if (looksForWindow) {
        object["mon_wndexists"] = 1;
    }
    if (!FlagsAreKnown(asked.flags, NEXLET_QUESTION_WINDOW) || !IsType(asked.type) ||
        !PutTexts({{"type", "type", asked.type},
                   {"from", "from", asked.from},
                   {"task_id", "taskId", asked.task_id},
                   {"window_title", "wndname", asked.window_title}},
                  object) ||
        !HasAll(asked.type, {{"from", "", asked.from}, {"task_id", "", asked.task_id}})) {
        return NEXLET_BAD_ARGUMENT;
    }
    if ((looksForWindow || asked.type == std::string_view("weChat")) &&
        !HasAll(asked.type, {{"window_title", "", asked.window_title}})) {
        return NEXLET_BAD_ARGUMENT;
    }
    if (watch && (!PutTime("interval_ms", "interval", asked.interval_ms, object) ||
                  !PutUrls("success_urls", "successLog", asked.success_urls, asked.success_url_count, object) ||
                  !PutUrls("error_urls", "errorLog", asked.error_urls, asked.error_url_count, object))) {
        return NEXLET_BAD_ARGUMENT;
    }
    question = WriteJson(object);
    return NEXLET_OK;
}
