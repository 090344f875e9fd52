#include "foundation/windows_headers.h"

#include <objbase.h>
#include <shlobj.h>

#include "support/picture/cos_op.h"
#include "support/system/com_pointer.h"
#include "support/system/late_ole32.h"
#include "support/system/late_shell32.h"

namespace {

// Whether the link leads to the target. A target that is not a path, as the URL of a scheme, may be refused as one, or
// be taken for a path that does not exist (S_FALSE); the shell then reads it as the name of any item.
bool SetTarget(IShellLinkW* link, const std::wstring& target) {
    const HRESULT asPath = link->SetPath(target.c_str());
    if (asPath == S_OK) {
        return true;
    }
    PIDLIST_ABSOLUTE item = nullptr;
    if (SUCCEEDED(Late::SHParseDisplayName(target.c_str(), /*pbc=*/nullptr, &item, /*sfgaoIn=*/0,
                                           /*psfgaoOut=*/nullptr))) {
        const HRESULT asItem = link->SetIDList(item);
        Late::ILFree(item);
        if (SUCCEEDED(asItem)) {
            return true;
        }
    }
    return SUCCEEDED(asPath);
}

}  // namespace

bool CosOp::CreateDesktopShortcut(const std::wstring& name, const std::wstring& targetPath,
                                  const std::wstring& description, const std::wstring& iconPath) {
    Late::CoInitialize(nullptr);
    CComPointer<IShellLinkW> link;
    if (FAILED(
            Late::CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW, link.Receive()))) {
        return false;  // the apartment stays: the thread that asks for shortcuts ends soon after
    }
    const bool bTarget = SetTarget(link.Get(), targetPath);
    link->SetDescription(description.c_str());
    if (!iconPath.empty()) {
        link->SetIconLocation(iconPath.c_str(), /*iIcon=*/0);
    }
    wchar_t desktop[MAX_PATH] = {};
    Late::SHGetSpecialFolderPathW(nullptr, desktop, CSIDL_DESKTOP, /*fCreate=*/FALSE);
    const std::wstring shortcut = std::wstring(desktop) + L"\\" + name + L".lnk";

    CComPointer<IPersistFile> file;
    const bool bCanSave = bTarget && SUCCEEDED(link->QueryInterface(IID_IPersistFile, file.Receive()));
    if (bCanSave) {
        file->Save(shortcut.c_str(), /*fRemember=*/TRUE);
    }
    file.Release();
    link.Release();
    Late::CoUninitialize();
    return bCanSave;
}
