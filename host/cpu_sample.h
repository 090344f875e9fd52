// Reading the system's two lists of processor times.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// The list of processor times has room for this many records.
inline constexpr std::size_t kProcessorSlots = 64;
inline constexpr std::size_t kProcessorRecordBytes = 48;
inline constexpr std::size_t kProcessorListBytes = kProcessorSlots * kProcessorRecordBytes;

// Kernel and user time of one process in units of 100 ns, from the list that SystemProcessInformation gives; 0 when
// the process is not in it. A list that breaks off ends there.
std::uint64_t ProcessTimeIn(std::span<const std::byte> list, std::uint64_t processId);

// Kernel time, which contains the idle time, and user time summed over all slots, from the list that
// SystemProcessorPerformanceInformation gives. Slots that the system did not fill must hold the same in two lists that
// are compared.
std::uint64_t ProcessorTimeIn(std::span<const std::byte, kProcessorListBytes> list);
