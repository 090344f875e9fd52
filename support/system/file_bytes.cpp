#include "support/system/file_bytes.h"

#include <limits>
#include <new>

#include "foundation/handle.h"

std::vector<std::uint8_t> ReadWholeFile(const std::wstring& path) {
    const CFileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER length{};
    if (!file || !GetFileSizeEx(file.get(), &length) || length.QuadPart > std::numeric_limits<DWORD>::max()) {
        return {};
    }
    try {
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(length.QuadPart));
        DWORD nRead = 0;
        if (!ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &nRead, nullptr)) {
            return {};
        }
        bytes.resize(nRead);  // fewer when the file has become shorter
        return bytes;
    } catch (const std::bad_alloc&) {
        return {};
    }
}
