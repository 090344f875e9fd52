// What a desktop shortcut needs: a picture fetched to a file, its real format, an icon made from it, the shortcut
// itself.
//
// Everything runs on the caller's thread and keeps no state; failures are results and log lines.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/picture/image_format.h"

namespace CosOp {

// The format by the file's first bytes; ImageFormatUnknown also for a file that cannot be read or has fewer than 4.
ImageFormat GetImageFormatFromFile(const std::wstring& path);

// Loads the picture, which may declare 64 million pixels at most, and scales it to width and height, stretching it when
// the proportions differ; out gets a complete PNG file. GDI+ must have been started.
bool ResizeImageToPngBuffer(const std::wstring& path, std::uint32_t width, std::uint32_t height,
                            std::vector<std::uint8_t>& out);

// Writes an icon with all sizes of kIcoSizes. False, with an earlier icon untouched, when one of them cannot be made or
// the file cannot be opened. Faults while writing do not change the result. GDI+ must have been started.
bool TuFileToIcoFile(const std::wstring& sourcePath, const std::wstring& icoPath);

// Saves a shell link "name.lnk" to targetPath on the user's desktop; an empty iconPath sets no icon. False only when
// there is no shell link object, it does not take the target, or it cannot be saved to files: the outcome of saving
// does not count.
bool CreateDesktopShortcut(const std::wstring& name, const std::wstring& targetPath, const std::wstring& description,
                           const std::wstring& iconPath);

// Fetches url into folder\fileName and says whether the file is there; blocks for the whole transfer. The folder's last
// level is made when it is missing. An earlier file of that name is deleted first, a read-only one too, so it never
// passes for a new one. A device's name makes the download fail.
// Leaves the process-wide g_nHttpTimeoutMs at 5000.
bool DownLoadFile(const std::wstring& url, const std::wstring& folder, const std::wstring& fileName);

}  // namespace CosOp

// The HttpTransferCallback that writes a body to a file; context points to the wide path, terminated. 0 when the file
// is in place, else 1. The status is not looked at: bytes come only with 200.
std::uint32_t HttpDownloadFile(std::uint32_t status, const void* data, std::uint32_t size, void* context);
