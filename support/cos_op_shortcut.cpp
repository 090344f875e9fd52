#include "foundation/windows_headers.h"

#include <objbase.h>
#include <shlobj.h>

#include "support/com_pointer.h"
#include "support/cos_op.h"

bool CosOp::CreateDesktopShortcut(const std::wstring& name, const std::wstring& targetPath,
                                  const std::wstring& description, const std::wstring& iconPath) {
    CoInitialize(nullptr);
    CComPointer<IShellLinkW> link;
    if (FAILED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW, link.Receive()))) {
        return false;  // the apartment stays: the thread that asks for shortcuts ends soon after
    }
    link->SetPath(targetPath.c_str());
    link->SetDescription(description.c_str());
    if (!iconPath.empty()) {
        link->SetIconLocation(iconPath.c_str(), /*iIcon=*/0);
    }
    wchar_t desktop[MAX_PATH] = {};
    SHGetSpecialFolderPathW(nullptr, desktop, CSIDL_DESKTOP, /*fCreate=*/FALSE);
    const std::wstring shortcut = std::wstring(desktop) + L"\\" + name + L".lnk";

    CComPointer<IPersistFile> file;
    const bool bCanSave = SUCCEEDED(link->QueryInterface(IID_IPersistFile, file.Receive()));
    if (bCanSave) {
        file->Save(shortcut.c_str(), /*fRemember=*/TRUE);
    }
    file.Release();
    link.Release();
    CoUninitialize();
    return bCanSave;
}
