#include "world/program/held_files.h"

#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"

namespace {

namespace fs = std::filesystem;

constexpr DWORD kLookMs = 50;

struct Held {
    fs::path path;
    DWORD error = ERROR_SUCCESS;
};

// What is below a folder first, so that the folder itself can be removed. Returns the first that stays.
Held RemoveOnce(const fs::path& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return {};
    }
    const bool link = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    const bool folder = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    Held held;
    if (folder && !link) {
        std::error_code error;
        std::vector<fs::path> entries;
        for (const fs::directory_entry& entry : fs::directory_iterator(path, error)) {
            entries.push_back(entry.path());
        }
        for (const fs::path& entry : entries) {
            const Held below = RemoveOnce(entry);
            if (held.error == ERROR_SUCCESS) {
                held = below;
            }
        }
    }
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        SetFileAttributesW(path.c_str(), attributes & ~DWORD{FILE_ATTRIBUTE_READONLY});
    }
    const BOOL gone = folder ? RemoveDirectoryW(path.c_str()) : DeleteFileW(path.c_str());
    if (gone == FALSE && held.error == ERROR_SUCCESS) {
        held = {path, GetLastError()};
    }
    return held;
}

bool MayBeFreeSoon(DWORD error) {
    // A folder is not empty as long as a file in it is being deleted.
    return error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED || error == ERROR_DIR_NOT_EMPTY ||
           error == ERROR_USER_MAPPED_FILE;
}

}  // namespace

std::string RemoveHeldFiles(const std::vector<fs::path>& paths, std::uint32_t timeoutMs) {
    const ULONGLONG startedAt = GetTickCount64();
    for (;;) {
        Held held;
        for (const fs::path& path : paths) {
            const Held one = RemoveOnce(path);
            if (held.error == ERROR_SUCCESS) {
                held = one;
            }
        }
        if (held.error == ERROR_SUCCESS) {
            return {};
        }
        if (!MayBeFreeSoon(held.error) || GetTickCount64() - startedAt >= timeoutMs) {
            return Utf16ToUtf8(held.path.wstring()) + " is held by another program (system error " +
                   std::to_string(held.error) + ")";
        }
        Sleep(kLookMs);
    }
}
