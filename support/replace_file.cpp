#include "support/replace_file.h"

#include "foundation/windows_headers.h"

#include "foundation/handle.h"

namespace {

bool WriteWhole(const std::wstring& path, const void* bytes, std::uint32_t size) {
    const CFileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                       FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    return file && WriteFile(file.get(), bytes, size, &written, nullptr) && written == size;
}

}  // namespace

bool ReplaceFileWithBytes(const std::wstring& path, const void* bytes, std::uint32_t size) {
    const std::wstring temporary = path + L".write_cache";
    if (!WriteWhole(temporary, bytes, size)) {
        return false;
    }
    // A read-only file in the way would not let itself be replaced.
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    const bool bMoved = MoveFileExW(temporary.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
    DeleteFileW(temporary.c_str());
    return bMoved;
}

SavedBody SaveBody(const void* bytes, std::uint32_t size, const wchar_t* path) {
    if (size == 0 || path == nullptr || *path == L'\0' || bytes == nullptr) {
        return SavedBody::Nothing;
    }
    return ReplaceFileWithBytes(path, bytes, size) ? SavedBody::Whole : SavedBody::Failed;
}
