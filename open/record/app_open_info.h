// One parsed request to open an application.
#pragma once

#include <cstdint>
#include <string>

// Texts hold what the JSON parser delivered, in UTF-8. Copied as a whole where a thread works on a request.
struct AppOpenInfo {
    std::string type;  // "weChat", "miniApp" or "yyb"
    std::string appId;
    std::string appPath;
    std::string wndname;  // title of the target's window
    std::string yybParam;
    std::string urlScheme;
    std::string taskId;
    std::string from;
    std::string iconUrl;          // of the loading window
    std::string name;             // of the loading window
    std::string imageUrl;         // of the shortcut
    std::string shortcutName;     // of the shortcut
    std::string successDot;       // beacon after the shortcut was made
    std::string errorDot;         // beacon after it was not
    std::int32_t timeOut = 2000;  // milliseconds the loading window stays
    bool show = false;            // a loading window is wanted
    bool try_install = false;
    bool AllowInstallYYB = false;
    bool OvrinSafeExist = false;
    bool create = false;  // a shortcut is wanted

    bool operator==(const AppOpenInfo&) const = default;
};
