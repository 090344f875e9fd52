#include "host/cpu_sample.h"

#include <cstring>

namespace {

// Offsets in a record of SYSTEM_PROCESS_INFORMATION of a 64-bit process.
constexpr std::size_t kNextEntryOffset = 0x00;  // 32 bits, 0 in the last record
constexpr std::size_t kUserTimeOffset = 0x28;
constexpr std::size_t kKernelTimeOffset = 0x30;
constexpr std::size_t kProcessIdOffset = 0x50;
constexpr std::size_t kRecordBytes = kProcessIdOffset + sizeof(std::uint64_t);

// Offsets in a record of SYSTEM_PROCESSOR_PERFORMANCE_INFORMATION.
constexpr std::size_t kProcessorKernelOffset = 0x08;
constexpr std::size_t kProcessorUserOffset = 0x10;

template <typename Number>
Number NumberAt(std::span<const std::byte> bytes, std::size_t offset) {
    Number value;
    std::memcpy(&value, bytes.data() + offset, sizeof(value));
    return value;
}

}  // namespace

std::uint64_t ProcessTimeIn(std::span<const std::byte> list, std::uint64_t processId) {
    while (list.size() >= kRecordBytes) {
        if (NumberAt<std::uint64_t>(list, kProcessIdOffset) == processId) {
            return NumberAt<std::uint64_t>(list, kKernelTimeOffset) + NumberAt<std::uint64_t>(list, kUserTimeOffset);
        }
        const auto next = NumberAt<std::uint32_t>(list, kNextEntryOffset);
        if (next == 0 || next > list.size()) {
            break;
        }
        list = list.subspan(next);
    }
    return 0;
}

std::uint64_t ProcessorTimeIn(std::span<const std::byte, kProcessorListBytes> list) {
    std::uint64_t sum = 0;
    for (std::size_t slot = 0; slot < kProcessorSlots; ++slot) {
        const std::span<const std::byte> record = list.subspan(slot * kProcessorRecordBytes, kProcessorRecordBytes);
        sum += NumberAt<std::uint64_t>(record, kProcessorKernelOffset);
        sum += NumberAt<std::uint64_t>(record, kProcessorUserOffset);
    }
    return sum;
}
