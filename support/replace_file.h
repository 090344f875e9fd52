// Putting a downloaded file in place.
#pragma once

#include <cstdint>
#include <string>

// Writes the bytes to path + ".write_cache" and renames that file to path, in place of any file there, so that nobody
// ever sees half a file under the final name. False on any failure; the temporary file is left behind only when not all
// bytes could be written.
bool ReplaceFileWithBytes(const std::wstring& path, const void* bytes, std::uint32_t size);

// A transfer's body, put in place as the file path.
enum class SavedBody {
    Nothing,  // no bytes or no path: nothing was tried
    Failed,
    Whole,
};
SavedBody SaveBody(const void* bytes, std::uint32_t size, const wchar_t* path);
