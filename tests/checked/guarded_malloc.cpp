// The C library's functions for memory, on the guarded heap. Code compiled elsewhere relies on an alignment of 16 here,
// so up to 15 bytes after a block are only looked at when it is freed.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "tests/checked/guarded_heap.h"

extern "C" {

void* malloc(std::size_t size) {
    void* const block = GuardedAllocate(size, 16);
    if (block == nullptr) {
        errno = ENOMEM;
    }
    return block;
}

void* calloc(std::size_t count, std::size_t size) {
    std::size_t total = 0;
    if (__builtin_mul_overflow(count, size, &total)) {
        errno = ENOMEM;
        return nullptr;
    }
    void* const block = malloc(total);
    // Not the pair of calls that a compiler makes a calloc of.
    for (volatile char *at = static_cast<char*>(block), *end = at + total; at != nullptr && at != end; ++at) {
        *at = 0;
    }
    return block;
}

void* realloc(void* block, std::size_t size) {
    if (block == nullptr) {
        return malloc(size);
    }
    if (size == 0) {
        GuardedFree(block);
        return nullptr;
    }
    void* const moved = malloc(size);
    if (moved != nullptr) {
        std::memcpy(moved, block, std::min(size, GuardedSize(block)));
        GuardedFree(block);
    }
    return moved;
}

void free(void* block) {
    GuardedFree(block);
}

}  // extern "C"
