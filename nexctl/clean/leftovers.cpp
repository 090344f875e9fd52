#include "nexctl/clean/leftovers.h"

#include <algorithm>
#include <cwchar>

#include "foundation/path_helpers.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "nexctl/clean/shortcuts.h"
#include "nexctl/log/helper_logs.h"

namespace {

// The values that a helper writes, or that only a helper reads. Other programs may keep values beside them.
struct KeyValues {
    const wchar_t* key;
    std::initializer_list<const wchar_t*> values;
};
const KeyValues kKeys[] = {
    {L"Software\\Ovrin\\zolt",
     {L"debug_log", L"debug_modle", L"debug_dump", L"last_info_time", L"app_shortcut_create"}},
    {L"SOFTWARE\\OvrinSe\\MiniWxProgram\\WXSDK", {L"lt", L"ls"}},
    {L"SOFTWARE\\OvrinSe\\MiniWxProgram\\YYBSDK", {L"lt", L"ls"}},
    {L"SOFTWARE\\OvrinSe\\MiniWxProgram",
     {L"wx_install", L"wx_login", L"mini_install", L"mini_login", L"yyb_install", L"yyb_login", L"zolt_tm"}},
    {L"SOFTWARE\\qimei", {L"qimei32", L"qimei36"}},
};
// Keys that only helpers make. They go when they are empty.
constexpr const wchar_t* kOwnParents[] = {L"Software\\Ovrin", L"SOFTWARE\\OvrinSe"};

// Below the user's temporary folder.
constexpr wchar_t kShortcutCache[] = L"NxlShortcutCache";
constexpr const wchar_t* kCaches[] = {L"NxlIconCache", kShortcutCache};

// The names of the files in a folder that match a pattern.
std::vector<std::wstring> FilesIn(const std::wstring& folder, const wchar_t* pattern) {
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW found = {};
    const HANDLE search = FindFirstFileW((folder + L"\\" + pattern).c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        return names;
    }
    do {
        if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            names.emplace_back(found.cFileName);
        }
    } while (FindNextFileW(search, &found) != FALSE);
    FindClose(search);
    return names;
}

// Nexlet, a number, and one of the endings of what is written beside a log.
bool IsOfAHelper(const std::wstring& name) {
    constexpr std::wstring_view kStem = L"Nexlet";
    if (!name.starts_with(kStem)) {
        return false;
    }
    const std::size_t end = name.find_first_not_of(L"0123456789", kStem.size());
    const std::wstring ending = end == std::wstring::npos || end == kStem.size() ? L"" : name.substr(end);
    return ending == L".log" || ending == L".log.html" || ending == L".dmp";
}

void FindValues(std::vector<Leftover>& leftovers) {
    for (const KeyValues& one : kKeys) {
        for (const wchar_t* value : one.values) {
            if (RegGetValueW(HKEY_CURRENT_USER, one.key, value, RRF_RT_ANY, nullptr, nullptr, nullptr) ==
                ERROR_SUCCESS) {
                leftovers.push_back({LeftoverKind::RegistryValue, Utf16ToUtf8(one.key), Utf16ToUtf8(value)});
            }
        }
    }
}

void FindCaches(std::vector<Leftover>& leftovers) {
    for (const wchar_t* cache : kCaches) {
        const std::wstring folder = TemporarySubfolder(cache);
        const std::string prefix = Utf16ToUtf8(folder) + "\\";
        for (const std::wstring& name : FilesIn(folder, L"*")) {
            leftovers.push_back({LeftoverKind::CacheFile, prefix + Utf16ToUtf8(name)});
        }
    }
}

void FindLogFiles(std::vector<Leftover>& leftovers) {
    std::vector<std::string> running;
    for (const LogFile& log : FindLogs()) {
        if (log.bRunning) {
            running.push_back(log.strPath);
        }
    }
    for (const std::wstring& name : FilesIn(Utf8ToUtf16(LogFolder()), L"Nexlet*")) {
        if (IsOfAHelper(name)) {
            Leftover log{LeftoverKind::Log, LogFolder() + "\\" + Utf16ToUtf8(name)};
            log.inUse = std::ranges::find(running, log.name) != running.end();
            leftovers.push_back(std::move(log));
        }
    }
}

bool IsEmptyKey(const wchar_t* key) {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, key, 0, KEY_READ, &opened) != ERROR_SUCCESS) {
        return false;
    }
    DWORD keys = 1;
    DWORD values = 1;
    RegQueryInfoKeyW(opened, nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr, nullptr, nullptr,
                     nullptr);
    RegCloseKey(opened);
    return keys == 0 && values == 0;
}

void RemoveIfEmpty(const wchar_t* key) {
    if (IsEmptyKey(key)) {
        RegDeleteKeyW(HKEY_CURRENT_USER, key);
    }
}

DWORD RemoveOne(const Leftover& leftover) {
    if (leftover.kind == LeftoverKind::RegistryValue) {
        return static_cast<DWORD>(RegDeleteKeyValueW(HKEY_CURRENT_USER, Utf8ToUtf16(leftover.name).c_str(),
                                                     Utf8ToUtf16(leftover.value).c_str()));
    }
    return DeleteFileW(Utf8ToUtf16(leftover.name).c_str()) != FALSE ? ERROR_SUCCESS : GetLastError();
}

}  // namespace

const char* LeftoverKindName(LeftoverKind kind) {
    switch (kind) {
        case LeftoverKind::RegistryValue:
            return "registry";
        case LeftoverKind::CacheFile:
            return "cache";
        case LeftoverKind::Log:
            return "log";
        case LeftoverKind::Shortcut:
            return "shortcut";
    }
    return "";
}

std::string LeftoverText(const Leftover& leftover) {
    const bool isValue = leftover.kind == LeftoverKind::RegistryValue;
    return std::string(LeftoverKindName(leftover.kind)) + (isValue ? " HKCU\\" : " ") + leftover.name +
           (isValue ? ": " + leftover.value : "");
}

std::vector<Leftover> FindLeftovers() {
    std::vector<Leftover> leftovers;
    FindValues(leftovers);
    FindCaches(leftovers);
    FindLogFiles(leftovers);
    for (const std::wstring& shortcut : FindShortcutsWithIconIn(TemporarySubfolder(kShortcutCache))) {
        leftovers.push_back({LeftoverKind::Shortcut, Utf16ToUtf8(shortcut)});
    }
    return leftovers;
}

bool RemoveLeftovers(std::vector<Leftover>& leftovers) {
    bool all = true;
    for (Leftover& leftover : leftovers) {
        if (leftover.inUse) {
            continue;
        }
        const DWORD error = RemoveOne(leftover);
        if (error != ERROR_SUCCESS) {
            leftover.problem = "system error " + std::to_string(error);
            all = false;
        }
    }
    for (const KeyValues& one : kKeys) {
        RemoveIfEmpty(one.key);
    }
    for (const wchar_t* key : kOwnParents) {
        RemoveIfEmpty(key);
    }
    for (const wchar_t* cache : kCaches) {
        RemoveDirectoryW(TemporarySubfolder(cache).c_str());
    }
    RemoveDirectoryW(Utf8ToUtf16(LogFolder()).c_str());
    return all;
}
