#include "open/install_probes.h"

#include <vector>

#include "foundation/handle.h"

namespace {

const wchar_t kMiniProgramKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\WeChatMiniProgram";
const wchar_t kUninstallString[] = L"UninstallString";
const wchar_t kDisplayIcon[] = L"DisplayIcon";

// Looks into the 32-bit view first, where the targets' installers write.
bool HasValue(const wchar_t* subKey, const wchar_t* valueName) {
    return !ReadRegString(HKEY_LOCAL_MACHINE, subKey, valueName, kRead32BitView).empty() ||
           !ReadRegString(HKEY_LOCAL_MACHINE, subKey, valueName, kRead64BitView).empty();
}

}  // namespace

std::wstring ReadRegString(HKEY root, const wchar_t* subKey, const wchar_t* valueName, REGSAM samDesired) {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(root, subKey, 0, samDesired, &opened) != ERROR_SUCCESS) {
        return {};
    }
    const CRegistryKey key(opened);
    DWORD type = REG_SZ;
    DWORD size = 0;
    if (RegQueryValueExW(key.get(), valueName, nullptr, &type, nullptr, &size) != ERROR_SUCCESS) {
        return {};
    }
    // More room than was asked for: the value may grow before it is read, and it need not be terminated.
    std::vector<wchar_t> buffer(2 * static_cast<std::size_t>(size) + 1, L'\0');
    DWORD room = static_cast<DWORD>((buffer.size() - 1) * sizeof(wchar_t));
    if (RegQueryValueExW(key.get(), valueName, nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()), &room) !=
        ERROR_SUCCESS) {
        return {};
    }
    return buffer.data();
}

bool IsWxMiniProgramInstalled() {
    return HasValue(kMiniProgramKey, kUninstallString) || HasValue(kMiniProgramKey, kDisplayIcon);
}
