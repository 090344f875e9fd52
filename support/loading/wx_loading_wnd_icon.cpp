// The application's icon in the loading window.
#include "foundation/late_shlwapi.h"
#include "support/loading/wx_loading_wnd.h"

#include "foundation/log.h"
#include "foundation/path_helpers.h"
#include "support/http/http_transfer.h"
#include "support/loading/sent_messages.h"
#include "support/picture/late_gdiplus.h"
#include "support/system/device_name.h"
#include "support/system/replace_file.h"

namespace {

// Where icons are kept, with a backslash at the end; empty, which means the current folder, when there is no such
// folder and none can be made.
std::wstring IconFolder() {
    const std::wstring folder = TemporarySubfolder(L"NxlIconCache");
    if (!Late::PathFileExistsW(folder.c_str()) && !CreateDirectoryW(folder.c_str(), nullptr)) {
        return {};
    }
    return folder + L"\\";
}

}  // namespace

std::uint32_t HttpDownload(std::uint32_t /*status*/, const void* data, std::uint32_t size, void* context) {
    const auto* const path = static_cast<const wchar_t*>(context);
    const SavedBody saved = SaveBody(data, size, path);
    if (saved == SavedBody::Failed) {
        NXL_LOG(L"[%s(%d)] HttpDownload strPath :[%s], download failed", path);
    } else if (saved == SavedBody::Whole) {
        NXL_LOG(L"[%s(%d)] HttpDownload strPath :[%s], download success", path);
    }
    return saved == SavedBody::Whole ? 0 : 1;
}

void CWxLoadingWnd::DownAppIcon(const std::wstring& strAppIconUrl) {
    NXL_LOG(L"[%s(%d)] DownAppIcon strAppIconUrl :[%s]", strAppIconUrl.c_str());
    m_strAppIconUrl = strAppIconUrl;
    std::wstring path = IconFolder() + m_strAppName + L".png";
    NXL_LOG(L"[%s(%d)] DownAppIcon strDLPath :[%s]", path.c_str());
    RemoveFile(path);

    COvHttpTransfer transfer;
    g_nHttpTimeoutMs = kHttpShortTimeoutMs;
    transfer.SetRequest(m_strAppIconUrl.c_str(), &HttpDownload, path.data());
    std::int32_t result = 0;
    RunBesideSentMessages([&] { result = transfer.Execute(); });
    if (result == kHttpOk && !IsDevicePath(path)) {
        SetAppIcon(path);
    }
}

// The picture is taken from a copy in memory: an open file could not be deleted by the next window of the same name.
void CWxLoadingWnd::SetAppIcon(const std::wstring& strAppIconPath) {
    NXL_LOG(L"[%s(%d)] SetAppIcon strAppIconPath :[%s]", strAppIconPath.c_str());
    if (!Late::PathFileExistsW(strAppIconPath.c_str())) {
        return;
    }
    if (!m_pAppIcon) {
        m_pAppIcon = LoadImageFromFile(strAppIconPath);
    }
    UINT width = 0;
    if (m_pAppIcon) {
        Late::GdipGetImageWidth(m_pAppIcon.get(), &width);
    }
    if (width == 0) {
        m_pAppIcon.reset();
        return;
    }
    PaintLayered();
}
