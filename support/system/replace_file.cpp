#include "support/system/replace_file.h"

#include <atomic>

#include "foundation/handle.h"
#include "support/system/device_name.h"
#include "support/system/file_calls.h"

namespace {

const FileCalls kPlatformCalls = {&::WriteFile, &::MoveFileExW, &::Sleep};
std::atomic<const FileCalls*> g_pCalls = &kPlatformCalls;

bool WriteWhole(const std::wstring& path, const void* bytes, std::uint32_t size) {
    const CFileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                       FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    return file && GetFileCalls().WriteFile(file.get(), bytes, size, &written, nullptr) && written == size;
}

}  // namespace

const FileCalls& GetFileCalls() {
    return *g_pCalls;
}

void OverrideFileCalls(const FileCalls* calls) {
    g_pCalls = calls != nullptr ? calls : &kPlatformCalls;
}

bool ReplaceFileWithBytes(const std::wstring& path, const void* bytes, std::uint32_t size) {
    const std::wstring temporary = path + L".write_cache";
    if (IsDevicePath(path) || !WriteWhole(temporary, bytes, size)) {
        return false;
    }
    // A read-only file in the way would not let itself be replaced.
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    const bool bMoved = MoveFileOver(temporary, path);
    DeleteFileW(temporary.c_str());
    return bMoved;
}

bool MoveFileOver(const std::wstring& path, const std::wstring& newPath) {
    constexpr DWORD kPauseMs = 20;
    constexpr int kRetries = 200 / kPauseMs;
    const FileCalls& calls = GetFileCalls();
    for (int retry = 0;; ++retry) {
        if (calls.MoveFileExW(path.c_str(), newPath.c_str(), MOVEFILE_REPLACE_EXISTING)) {
            return true;
        }
        const DWORD error = GetLastError();
        if ((error != ERROR_ACCESS_DENIED && error != ERROR_SHARING_VIOLATION) || retry == kRetries) {
            return false;
        }
        calls.Sleep(kPauseMs);
    }
}

void RemoveFile(const std::wstring& path) {
    if (IsDevicePath(path) || DeleteFileW(path.c_str())) {
        return;
    }
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0 &&
        (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileW(path.c_str());
    }
}

SavedBody SaveBody(const void* bytes, std::uint32_t size, const wchar_t* path) {
    if (size == 0 || path == nullptr || *path == L'\0' || bytes == nullptr) {
        return SavedBody::Nothing;
    }
    return ReplaceFileWithBytes(path, bytes, size) ? SavedBody::Whole : SavedBody::Failed;
}
