#include "nexctl/clean/shortcuts.h"

#include "foundation/path_helpers.h"
#include "foundation/windows_headers.h"
#include "support/system/com_pointer.h"

#include <objbase.h>
#include <shlobj.h>

namespace {

// Where the icon of a shortcut is; empty when it has none or cannot be read.
std::wstring IconOf(const std::wstring& shortcut) {
    CComPointer<IShellLinkW> link;
    CComPointer<IPersistFile> file;
    if (FAILED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW, link.Receive())) ||
        FAILED(link->QueryInterface(IID_IPersistFile, file.Receive())) ||
        FAILED(file->Load(shortcut.c_str(), STGM_READ))) {
        return {};
    }
    wchar_t icon[MAX_PATH] = {};
    int index = 0;
    return SUCCEEDED(link->GetIconLocation(icon, MAX_PATH, &index)) ? icon : L"";
}

}  // namespace

std::vector<std::wstring> FindShortcutsWithIconIn(const std::wstring& folder) {
    std::vector<std::wstring> shortcuts;
    wchar_t desktop[MAX_PATH] = {};
    if (folder.empty() || SHGetSpecialFolderPathW(nullptr, desktop, CSIDL_DESKTOP, /*fCreate=*/FALSE) == FALSE ||
        FAILED(CoInitialize(nullptr))) {
        return shortcuts;
    }
    WIN32_FIND_DATAW found = {};
    const HANDLE search = FindFirstFileW((std::wstring(desktop) + L"\\*.lnk").c_str(), &found);
    if (search != INVALID_HANDLE_VALUE) {
        do {
            const std::wstring path = std::wstring(desktop) + L"\\" + found.cFileName;
            if (IsPathUnderDirectory(folder, IconOf(path)) != 0) {
                shortcuts.push_back(path);
            }
        } while (FindNextFileW(search, &found) != FALSE);
        FindClose(search);
    }
    CoUninitialize();
    return shortcuts;
}
