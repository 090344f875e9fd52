#include "tests/support/handle_count.h"

#include <cstdint>
#include <vector>

#include "foundation/windows_headers.h"

namespace {

// One row of the system's table of all handles.
struct HandleRow {
    std::uint32_t nProcess;
    std::uint8_t nObjectType;
    std::uint8_t nFlags;
    std::uint16_t nHandle;
    void* pObject;
    std::uint32_t nAccess;
};

struct HandleTable {
    std::uint32_t nCount;
    HandleRow rows[1];
};

constexpr ULONG kSystemHandleInformation = 16;
constexpr LONG kInfoLengthMismatch = static_cast<LONG>(0xC0000004);

// GetProcessHandleCount succeeds with 0 on some systems, so the table of all handles is counted through instead.
std::size_t CountInSystemTable(DWORD nProcessId) {
    using Query = LONG(WINAPI*)(ULONG, void*, ULONG, ULONG*);
    const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    if (query == nullptr) {
        return 0;
    }
    std::vector<std::uint64_t> block(8192);
    for (;;) {
        const auto nBytes = static_cast<ULONG>(block.size() * sizeof block[0]);
        const LONG status = query(kSystemHandleInformation, block.data(), nBytes, nullptr);
        if (status == kInfoLengthMismatch) {
            block.resize(block.size() * 2);
            continue;
        }
        if (status != 0) {
            return 0;
        }
        break;
    }
    const auto* table = reinterpret_cast<const HandleTable*>(block.data());
    std::size_t count = 0;
    for (std::uint32_t i = 0; i < table->nCount; ++i) {
        count += table->rows[i].nProcess == nProcessId ? 1 : 0;
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
    return CountInSystemTable(GetProcessId(hProcess));
}
