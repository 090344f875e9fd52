#include "tests/support/registry_text.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "foundation/handle.h"
#include "foundation/windows_headers.h"
#include "tests/support/unique_name.h"

namespace {

// Saving a tree needs the privilege of whoever makes backups, which an administrator has and must switch on.
bool MayMakeBackups() {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, &token)) {
        return false;
    }
    const CKernelHandle owner(token);
    TOKEN_PRIVILEGES wanted = {};
    wanted.PrivilegeCount = 1;
    wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    return LookupPrivilegeValueW(nullptr, L"SeBackupPrivilege", &wanted.Privileges[0].Luid) &&
           AdjustTokenPrivileges(token, FALSE, &wanted, 0, nullptr, nullptr) && GetLastError() == ERROR_SUCCESS;
}

// Takes the time of the last change out of a key's line, "[Software\\Name] 1795391660", and leaves out its other form,
// "#time=1dd7adccb0b8c7a".
void AppendWithoutTimes(std::istream& saved, std::string& text) {
    for (std::string line; std::getline(saved, line);) {
        if (line.starts_with("#time=")) {
            continue;
        }
        if (line.starts_with('[')) {
            line.erase(line.rfind(']') + 1);
        }
        text += line;
        text += '\n';
    }
}

}  // namespace

std::string RegistryText() {
    const std::filesystem::path file = std::filesystem::temp_directory_path() / UniqueName(L"nexlet_registry");
    std::string text;
    bool allSaved = MayMakeBackups();
    for (const HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
        HKEY opened = nullptr;
        LSTATUS error = RegOpenKeyExW(root, L"Software", 0, KEY_READ | KEY_WOW64_64KEY, &opened);
        const CRegistryKey key(opened);
        if (error == ERROR_SUCCESS) {
            error = RegSaveKeyW(key.get(), file.c_str(), nullptr);
        }
        std::ifstream saved(file, std::ios::binary);
        AppendWithoutTimes(saved, text);
        saved.close();
        std::error_code ignored;
        std::filesystem::remove(file, ignored);
        if (error != ERROR_SUCCESS) {
            std::fprintf(stderr, "The registry cannot be saved: error %ld.\n", error);
            allSaved = false;
        }
    }
    return allSaved ? text : std::string();
}
