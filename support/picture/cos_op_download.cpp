#include "foundation/windows_headers.h"

#include "foundation/log.h"
#include "support/http/http_transfer.h"
#include "support/picture/cos_op.h"
#include "support/system/device_name.h"
#include "support/system/replace_file.h"

namespace {

bool Exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace

std::uint32_t HttpDownloadFile(std::uint32_t /*status*/, const void* data, std::uint32_t size, void* context) {
    const auto* const path = static_cast<const wchar_t*>(context);
    const SavedBody saved = SaveBody(data, size, path);
    if (saved == SavedBody::Failed) {
        NXL_LOG(L"[%s(%d)] HttpDownloadFile strPath :[%s], download failed", path);
    } else if (saved == SavedBody::Whole) {
        NXL_LOG(L"[%s(%d)] HttpDownloadFile strPath :[%s], download success", path);
    }
    return saved == SavedBody::Whole ? 0 : 1;
}

bool CosOp::DownLoadFile(const std::wstring& url, const std::wstring& folder, const std::wstring& fileName) {
    NXL_LOG(L"[%s(%d)] DownLoadFile strUrl :[%s]", url.c_str());
    if (url.empty() || folder.empty() || fileName.empty()) {
        return false;
    }
    if (!Exists(folder)) {
        CreateDirectoryW(folder.c_str(), nullptr);
    }
    std::wstring target = folder + L"\\" + fileName;
    RemoveFile(target);

    COvHttpTransfer transfer;
    g_nHttpTimeoutMs = kHttpShortTimeoutMs;
    transfer.SetRequest(url.c_str(), &HttpDownloadFile, target.data());
    return transfer.Execute() == kHttpOk && !IsDevicePath(target) && Exists(target);
}
