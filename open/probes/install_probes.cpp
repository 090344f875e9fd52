#include "open/probes/install_probes.h"

#include <vector>

#include "foundation/handle.h"
#include "open/probes/login_rules.h"

namespace {

#define NXL_UNINSTALL L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
const wchar_t kMiniProgramKey[] = NXL_UNINSTALL L"WeChatMiniProgram";
const wchar_t kWeChatKey[] = NXL_UNINSTALL L"WeChat";
const wchar_t kWeixinKey[] = NXL_UNINSTALL L"Weixin";
const wchar_t kAndrowsKey[] = NXL_UNINSTALL L"Androws";
#undef NXL_UNINSTALL
const wchar_t kUninstallString[] = L"UninstallString";
const wchar_t kDisplayIcon[] = L"DisplayIcon";

// The first text that is not empty, the 32-bit view first.
std::wstring ReadInEitherView(const wchar_t* subKey, const wchar_t* valueName) {
    std::wstring text = ReadRegString(HKEY_LOCAL_MACHINE, subKey, valueName, kRead32BitView);
    return text.empty() ? ReadRegString(HKEY_LOCAL_MACHINE, subKey, valueName, kRead64BitView) : text;
}

bool HasValue(const wchar_t* subKey, const wchar_t* valueName) {
    return !ReadInEitherView(subKey, valueName).empty();
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

bool IsAndrowsInstalled() {
    return HasValue(kAndrowsKey, kUninstallString) || HasValue(kAndrowsKey, kDisplayIcon);
}

bool IsWeChatInstalled() {
    if (HasValue(kWeChatKey, kUninstallString)) {
        g_nWeChatKind = kWeChatKind;
        return true;
    }
    if (HasValue(kWeixinKey, kUninstallString)) {
        g_nWeChatKind = kWeixinKind;
        return true;
    }
    return false;
}

std::wstring GetWxMiniProgramInstallDir() {
    return InstallDirOf(ReadInEitherView(kMiniProgramKey, kUninstallString));
}
