// The two operators that all others without an alignment call, on the guarded heap. A program that has its own gets
// those.
#include <new>

#include "tests/checked/guarded_heap.h"

void* operator new(std::size_t size) {
    for (;;) {
        if (void* const block = GuardedAllocate(size, AlignmentOfSize(size))) {
            return block;
        }
        const std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) {
            throw std::bad_alloc();
        }
        handler();
    }
}

void operator delete(void* block) noexcept {
    GuardedFree(block);
}
