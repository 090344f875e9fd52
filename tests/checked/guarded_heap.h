// Memory in which an overrun, a use after the free and a second free end the process with a message.
//
// Each block lies at the end of its own pages, before a page that faults. A freed block's pages fault too, and are
// given out again as late as possible. What lies between the end of a block and its page, because of the block's
// alignment, is filled and looked at when the block is freed, as are the bytes before it. All functions may be called
// from any thread, before main too.
#pragma once

#include <cstddef>

// A block of this many bytes, or null when there is no memory. The alignment is a power of two of at most 4096; the
// block ends at its page when its size is a multiple of the alignment. The caller frees it.
void* GuardedAllocate(std::size_t size, std::size_t alignment) noexcept;

// Takes what GuardedAllocate or the C library gave, or null.
void GuardedFree(void* block) noexcept;

// The size of a block that GuardedAllocate or the C library gave.
std::size_t GuardedSize(void* block) noexcept;

// The alignment that an object of this size can need, at most 16: sizes are multiples of alignments.
constexpr std::size_t AlignmentOfSize(std::size_t size) {
    const std::size_t lowest = size & (~size + 1);
    return lowest == 0 || lowest > 16 ? 16 : lowest;
}
