#include "tooling/text_file.h"

#include "foundation/handle.h"
#include "foundation/text_helpers.h"

bool ReadTextFile(const std::string& path, std::string& text) {
    text.clear();
    // A log may be read while its process writes.
    const CFileHandle file(CreateFileW(Utf8ToUtf16(path).c_str(), GENERIC_READ,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                       0, nullptr));
    if (!file) {
        return false;
    }
    char chunk[64 * 1024];
    for (;;) {
        DWORD size = 0;
        if (ReadFile(file.get(), chunk, sizeof chunk, &size, nullptr) == FALSE) {
            return false;
        }
        if (size == 0) {
            return true;
        }
        text.append(chunk, size);
    }
}

bool WriteTextFile(const std::string& path, const std::string& text, bool replace) {
    const CFileHandle file(CreateFileW(Utf8ToUtf16(path).c_str(), GENERIC_WRITE, 0, nullptr,
                                       replace ? CREATE_ALWAYS : CREATE_NEW, 0, nullptr));
    DWORD written = 0;
    return file && WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != FALSE &&
           written == text.size();
}
