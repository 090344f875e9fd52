#include "open/wx_client/app_shortcut.h"

#include "foundation/log.h"
#include "foundation/text_helpers.h"

namespace WX_CLIENT {

namespace {

const wchar_t kDescription[] = L"打开微信小程序";

// Others are refused on purpose, although an icon could be made of some of them.
bool IsFitPicture(ImageFormat format) {
    return format == ImageFormatPng || format == ImageFormatJpeg;
}

}  // namespace

unsigned CreateAppShortcut(const AppOpenInfo* info, IAppShortcutEdge& edge) {
    NXL_LOG(L"[%s(%d)] CreateAppShortcut begin");
    if (info == nullptr || info->imageUrl.empty() || info->shortcutName.empty()) {
        return kAppShortcutBrokenOff;
    }
    const auto breakOff = [&](AppShortcutCode code) {
        edge.ReportDot(Utf8ToUtf16(info->errorDot));
        edge.ReportCode(code);
        return kAppShortcutBrokenOff;
    };

    const std::wstring folder = edge.CacheFolder();
    const std::wstring name = Utf8ToUtf16(info->shortcutName);
    const std::wstring url = Utf8ToUtf16(info->imageUrl);
    if (!edge.DownLoadFile(url, folder, name)) {
        NXL_LOG(L"[%s(%d)] url download failed, [%s]", url.c_str());
        return breakOff(AppShortcutCode::DownloadFailed);
    }

    const std::wstring downloaded = folder + L"\\" + name;
    const ImageFormat format = edge.GetImageFormatFromFile(downloaded);
    if (!IsFitPicture(format)) {
        return breakOff(AppShortcutCode::UnfitPicture);
    }
    // After any ending that the name has: the bytes say what the picture is, its name does not.
    const std::wstring picture = downloaded + ImageFormatExtension(format);
    edge.RemoveFile(picture);
    edge.RenameFile(downloaded, picture);

    const std::wstring icon = downloaded + L".ico";
    edge.RemoveFile(icon);
    if (!edge.TuFileToIcoFile(picture, icon)) {
        NXL_LOG(L"[%s(%d)] [%s] to ico failed", picture.c_str());
        return breakOff(AppShortcutCode::IconFailed);
    }

    const bool bWritten = edge.CreateDesktopShortcut(name, Utf8ToUtf16(info->urlScheme), kDescription, icon);
    edge.ReportDot(Utf8ToUtf16(bWritten ? info->successDot : info->errorDot));
    edge.ReportCode(bWritten ? AppShortcutCode::Written : AppShortcutCode::ShortcutFailed);
    return kAppShortcutEnded;
}

}  // namespace WX_CLIENT
