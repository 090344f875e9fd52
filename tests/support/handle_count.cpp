#include "tests/support/handle_count.h"

#include <cstdint>

#include "foundation/windows_headers.h"

namespace {

// GetProcessHandleCount succeeds with 0 on some systems, so every value that can be a handle is tried. The system's
// table of all handles would be shorter, but Wine's server, asked for it, reads past its memory and crashes when some
// process has just begun and holds none yet, and its end ends everything that runs in the prefix.
std::size_t CountByTrying(HANDLE hProcess) {
    constexpr std::uintptr_t kStep = 4;
    // The lowest free value is used first, so after a long gap there are no more.
    constexpr std::uintptr_t kLongGap = 1024 * kStep;
    std::size_t count = 0;
    std::uintptr_t last = 0;
    for (std::uintptr_t value = kStep; value <= last + kLongGap; value += kStep) {
        HANDLE hCopy = nullptr;
        if (DuplicateHandle(hProcess, reinterpret_cast<HANDLE>(value), GetCurrentProcess(), &hCopy,
                            /*dwDesiredAccess=*/0, /*bInheritHandle=*/FALSE, DUPLICATE_SAME_ACCESS)) {
            CloseHandle(hCopy);
            ++count;
            last = value;
        }
    }
    return count;
}

}  // namespace

std::size_t OwnHandleCount() {
    return HandleCountOf(GetCurrentProcess());
}

std::size_t HandleCountOf(HANDLE hProcess) {
    DWORD nCount = 0;
    if (GetProcessHandleCount(hProcess, &nCount) && nCount > 0) {
        return nCount;
    }
    return CountByTrying(hProcess);
}
