#include "open/probes/process_command_line.h"

#include <array>

#include "foundation/late_library.h"
#include "open/probes/process_parameters.h"

namespace {

class CForeignMemory final : public IProcessMemory {
  public:
    CForeignMemory(HANDLE process, const ProcessMemoryApi& api) : m_hProcess(process), m_api(api) {}
    bool Read(std::uint64_t address, void* target, std::size_t size) override {
        std::uint64_t read = 0;
        return m_api.NtWow64ReadVirtualMemory64(m_hProcess, address, target, size, &read) >= 0 && read == size;
    }

  private:
    HANDLE m_hProcess;  // weak
    const ProcessMemoryApi& m_api;
};

// 0 when the system does not tell.
std::uint64_t PebAddress(HANDLE process, const ProcessMemoryApi& api) {
    if (Is32BitTarget(process, api)) {
        return 0;
    }
    // PROCESS_BASIC_INFORMATION of a 64-bit process; its second word is the address.
    std::array<std::uint64_t, 6> block = {};
    static_assert(sizeof block == 48);
    constexpr int kProcessBasicInformation = 0;
    ULONG length = 0;
    const LONG status =
        api.NtWow64QueryInformationProcess64(process, kProcessBasicInformation, block.data(), sizeof block, &length);
    return status >= 0 && length == sizeof block ? block[1] : 0;
}

}  // namespace

const ProcessMemoryApi& SystemProcessMemoryApi() {
    static const ProcessMemoryApi system = [] {
        ProcessMemoryApi api;
        // Both libraries are in every process.
        const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
        ResolveFunction(ntdll, "NtWow64QueryInformationProcess64", api.NtWow64QueryInformationProcess64);
        ResolveFunction(ntdll, "NtWow64ReadVirtualMemory64", api.NtWow64ReadVirtualMemory64);
        ResolveFunction(GetModuleHandleW(L"kernel32.dll"), "IsWow64Process", api.IsWow64Process);
        return api;
    }();
    return system;
}

bool CanReadCommandLines(const ProcessMemoryApi& api) {
    return api.NtWow64QueryInformationProcess64 != nullptr && api.NtWow64ReadVirtualMemory64 != nullptr;
}

bool Is32BitTarget(HANDLE process, const ProcessMemoryApi& api) {
    BOOL bWow64 = FALSE;
    return api.IsWow64Process != nullptr && api.IsWow64Process(process, &bWow64) && bWow64;
}

void ReadProcessCommandLine(HANDLE process, std::wstring& text, const ProcessMemoryApi& api) {
    if (process == nullptr || !CanReadCommandLines(api)) {
        return;
    }
    const std::uint64_t peb = PebAddress(process, api);
    if (peb == 0) {
        return;
    }
    CForeignMemory memory(process, api);
    const std::u16string line = ReadCommandLineAt(peb, memory);
    if (!line.empty()) {
        text.assign(line.begin(), line.end());
    }
}
