// Putting files in place, and out of the way. Everything runs on the caller's thread; any thread.
#pragma once

#include <cstdint>
#include <string>

// Writes the bytes to path + ".write_cache" and renames that file to path, in place of any file there, so that no
// process ever sees half a file under the final name. False on any failure, and for a name that is a device's (see
// device_name.h), which is never opened. The temporary file stays only when not all bytes could be written.
bool ReplaceFileWithBytes(const std::wstring& path, const void* bytes, std::uint32_t size);

// Renames a file, in place of any file of the new name. A file that was just written may be held for some milliseconds
// by a program that looks at all new files: while access is denied or the file is in use, renaming is tried again, for
// up to 200 milliseconds. False when it failed to the end.
bool MoveFileOver(const std::wstring& path, const std::wstring& newPath);

// Deletes a file, also a read-only one. A folder, or a name that is a device's, is left alone.
void RemoveFile(const std::wstring& path);

// A transfer's body, put in place as the file path.
enum class SavedBody {
    Nothing,  // no bytes or no path: nothing was tried
    Failed,
    Whole,
};
SavedBody SaveBody(const void* bytes, std::uint32_t size, const wchar_t* path);
