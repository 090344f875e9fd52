// How the desktop shortcut of an open is made: fetch the picture, find its format, make an icon of it, write the
// shortcut, tell how it ended. What Windows must do is in IAppShortcutEdge.
#pragma once

#include <string>

#include "open/record/app_open_info.h"
#include "support/picture/image_format.h"

namespace WX_CLIENT {

// How it ended, as the beacon tells it.
enum class AppShortcutCode {
    Written = 1,
    DownloadFailed = 2,
    UnfitPicture = 3,  // neither PNG nor JPEG
    IconFailed = 4,
    ShortcutFailed = 5,
};

class IAppShortcutEdge {
  public:
    // Where pictures and icons are kept, without a backslash at the end.
    virtual std::wstring CacheFolder() = 0;
    // Makes the folder when it is missing.
    virtual bool DownLoadFile(const std::wstring& url, const std::wstring& folder, const std::wstring& fileName) = 0;
    virtual ImageFormat GetImageFormatFromFile(const std::wstring& path) = 0;
    virtual void RemoveFile(const std::wstring& path) = 0;
    // Replaces a file at the new path.
    virtual void RenameFile(const std::wstring& path, const std::wstring& newPath) = 0;
    virtual bool TuFileToIcoFile(const std::wstring& sourcePath, const std::wstring& icoPath) = 0;
    virtual bool CreateDesktopShortcut(const std::wstring& name, const std::wstring& target,
                                       const std::wstring& description, const std::wstring& iconPath) = 0;
    // The caller's beacon; an empty text means none.
    virtual void ReportDot(const std::wstring& url) = 0;
    // The program's own beacon.
    virtual void ReportCode(AppShortcutCode code) = 0;

  protected:
    ~IAppShortcutEdge() = default;
};

// What the steps end with.
inline constexpr unsigned kAppShortcutEnded = 0;  // they all ran, whether or not the shortcut was written
inline constexpr unsigned kAppShortcutBrokenOff = 0xFFFFFFFF;

// Blocks for the whole of it. No info, or one without a picture or a name, ends at once and without a beacon.
unsigned CreateAppShortcut(const AppOpenInfo* info, IAppShortcutEdge& edge);

}  // namespace WX_CLIENT
