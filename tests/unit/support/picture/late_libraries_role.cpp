// Uses every library of the system that the program loads late. The exit code is the number of those that did not come
// from the system folder; 100 when one could not be used. What is there before the program's first statement is not
// counted: the system loads it as it likes (Wine's user32.dll brings version.dll).
#include "foundation/windows_headers.h"

#include <array>
#include <string>

#include "foundation/late_shlwapi.h"
#include "foundation/path_helpers.h"
#include "support/http/wininet_api.h"
#include "support/picture/gdiplus_start.h"
#include "support/picture/late_gdiplus.h"
#include "support/system/late_ole32.h"
#include "support/system/late_shell32.h"
#include "support/system/late_version.h"

namespace {

std::wstring FolderOf(HMODULE module) {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(module, path, MAX_PATH);
    const std::wstring whole = path;
    return whole.substr(0, whole.rfind(L'\\'));
}

HMODULE ModuleOf(const void* address) {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       static_cast<const wchar_t*>(address), &module);
    return module;
}

bool UseAll() {
    wchar_t desktop[MAX_PATH] = {};
    DWORD ignored = 0;
    SetLastError(ERROR_SUCCESS);
    return CanonicalizePath(L"C:\\a\\..") == L"C:\\" && SUCCEEDED(Late::CoInitialize(nullptr)) &&
           Late::SHGetSpecialFolderPathW(nullptr, desktop, CSIDL_DESKTOP, FALSE) && StartGdiplus() != 0 &&
           Late::GetFileVersionInfoSizeW(L"C:\\none", &ignored) == 0 && GetLastError() == ERROR_FILE_NOT_FOUND &&
           GetWinInetApi() != nullptr;
}

}  // namespace

int main() {
    constexpr std::array kNames = {L"gdiplus.dll", L"ole32.dll",   L"shell32.dll",
                                   L"shlwapi.dll", L"version.dll", L"wininet.dll"};
    std::array<HMODULE, kNames.size()> before = {};
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        before[i] = GetModuleHandleW(kNames[i]);
    }
    if (!UseAll()) {
        return 100;
    }
    wchar_t system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    int strange = 0;
    const std::array<HMODULE, kNames.size()> loaded = {
        Late::g_gdiplus.Load(), Late::g_ole32.Load(),   Late::g_shell32.Load(),
        Late::g_shlwapi.Load(), Late::g_version.Load(), ModuleOf(reinterpret_cast<void*>(GetWinInetApi()->Open))};
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        strange += loaded[i] != before[i] && _wcsicmp(FolderOf(loaded[i]).c_str(), system) != 0 ? 1 : 0;
    }
    return strange;
}
