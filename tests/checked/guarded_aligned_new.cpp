// The two operators that all others with an alignment call, on the guarded heap.
#include <new>

#include "tests/checked/guarded_heap.h"

void* operator new(std::size_t size, std::align_val_t alignment) {
    if (void* const block = GuardedAllocate(size, static_cast<std::size_t>(alignment))) {
        return block;
    }
    throw std::bad_alloc();
}

void operator delete(void* block, std::align_val_t) noexcept {
    GuardedFree(block);
}
