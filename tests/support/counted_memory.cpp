#include "tests/support/counted_memory.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

thread_local std::size_t g_nLive = 0;  // of this thread; what others free is counted nowhere
thread_local std::size_t g_nPeak = 0;
thread_local std::uint64_t g_nAllowed = kNever;
thread_local bool g_bFailed = false;
thread_local std::size_t g_nTooLarge = std::numeric_limits<std::size_t>::max();

// The size is kept in front of the memory.
constexpr std::size_t kHeader = alignof(std::max_align_t);

void* Allocate(std::size_t size) noexcept {
    if (g_nAllowed != kNever) {
        if (g_nAllowed == 0) {
            g_nAllowed = kNever;
            g_bFailed = true;
            return nullptr;
        }
        --g_nAllowed;
    }
    if (size >= g_nTooLarge) {
        return nullptr;
    }
    auto* const memory = static_cast<std::byte*>(std::malloc(size + kHeader));
    if (memory == nullptr) {
        return nullptr;
    }
    *reinterpret_cast<std::size_t*>(memory) = size;
    g_nLive += size;
    g_nPeak = std::max(g_nPeak, g_nLive);
    return memory + kHeader;
}

void* AllocateOrThrow(std::size_t size) {
    void* const memory = Allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void Free(void* memory) noexcept {
    if (memory != nullptr) {
        std::byte* const start = static_cast<std::byte*>(memory) - kHeader;
        const std::size_t size = *reinterpret_cast<std::size_t*>(start);
        g_nLive -= std::min(g_nLive, size);
        std::free(start);
    }
}

}  // namespace

CMemoryWatch::CMemoryWatch() {
    g_nLive = 0;
    g_nPeak = 0;
}

std::size_t CMemoryWatch::Peak() const {
    return g_nPeak;
}

CAllocationFault::CAllocationFault(std::uint64_t allowed) {
    g_nAllowed = allowed;
    g_bFailed = false;
}

CAllocationFault::~CAllocationFault() {
    g_nAllowed = kNever;
}

bool CAllocationFault::Happened() const {
    return g_bFailed;
}

CLargeAllocationFault::CLargeAllocationFault(std::size_t bytes) {
    g_nTooLarge = bytes;
}

CLargeAllocationFault::~CLargeAllocationFault() {
    g_nTooLarge = std::numeric_limits<std::size_t>::max();
}

void* operator new(std::size_t size) {
    return AllocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return AllocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}
void operator delete(void* memory) noexcept {
    Free(memory);
}
void operator delete[](void* memory) noexcept {
    Free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    Free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    Free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    Free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    Free(memory);
}
