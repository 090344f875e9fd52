#include "support/system/file_memory.h"

#include <limits>

CGlobalMemory ReadWholeFile(const std::wstring& path, DWORD& size) {
    size = 0;
    const CFileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER length{};
    if (!file || !GetFileSizeEx(file.get(), &length) || length.QuadPart <= 0 ||
        length.QuadPart > std::numeric_limits<DWORD>::max()) {
        return {};
    }
    CGlobalMemory memory(GlobalAlloc(GMEM_MOVEABLE, static_cast<SIZE_T>(length.QuadPart)));
    void* const bytes = memory ? GlobalLock(memory.get()) : nullptr;
    if (bytes == nullptr) {
        return {};
    }
    // Fewer are read when the file has become shorter.
    const BOOL bRead = ReadFile(file.get(), bytes, static_cast<DWORD>(length.QuadPart), &size, nullptr);
    GlobalUnlock(memory.get());
    if (!bRead || size == 0) {
        return {};
    }
    return memory;
}
