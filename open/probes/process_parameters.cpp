#include "open/probes/process_parameters.h"

#include <array>
#include <cstring>

namespace {

constexpr std::size_t kPebBytes = 896;
constexpr std::size_t kParametersInPeb = 32;             // PEB.ProcessParameters
constexpr std::uint64_t kCommandLineInParameters = 112;  // RTL_USER_PROCESS_PARAMETERS.CommandLine
constexpr std::size_t kCommandLineLimit = 4096;          // bytes

// A UNICODE_STRING of a 64-bit process.
struct UnicodeString64 {
    std::uint16_t Length;  // bytes
    std::uint16_t MaximumLength;
    std::uint32_t gap;
    std::uint64_t Buffer;
};
static_assert(sizeof(UnicodeString64) == 16);

}  // namespace

std::u16string ReadCommandLineAt(std::uint64_t address, IProcessMemory& memory) {
    std::array<std::byte, kPebBytes> peb;
    if (!memory.Read(address, peb.data(), peb.size())) {
        return {};
    }
    std::uint64_t parameters = 0;
    std::memcpy(&parameters, peb.data() + kParametersInPeb, sizeof parameters);

    UnicodeString64 line = {};
    if (!memory.Read(parameters + kCommandLineInParameters, &line, sizeof line)) {
        return {};
    }
    if (line.Buffer == 0 || line.MaximumLength < line.Length || line.Length >= kCommandLineLimit) {
        return {};
    }
    // Room for an odd last byte and a zero at the end.
    std::array<char16_t, kCommandLineLimit / 2 + 1> text = {};
    if (!memory.Read(line.Buffer, text.data(), line.Length)) {
        return {};
    }
    return text.data();
}
