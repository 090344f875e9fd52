#include "tests/support/allocation_watch.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

namespace {

std::atomic<std::size_t> g_nWatched{0};
std::function<void()> g_onSeen;

void* Allocate(std::size_t size) {
    std::size_t watched = size;
    if (size > 0 && g_nWatched.compare_exchange_strong(watched, 0)) {
        g_onSeen();
    }
    if (void* const block = std::malloc(size > 0 ? size : 1)) {
        return block;
    }
    throw std::bad_alloc();
}

}  // namespace

CAllocationWatch::CAllocationWatch(std::size_t size, std::function<void()> onSeen) {
    g_onSeen = std::move(onSeen);
    g_nWatched.store(size);
}

CAllocationWatch::~CAllocationWatch() {
    g_nWatched.store(0);
    g_onSeen = nullptr;
}

void* operator new(std::size_t size) {
    return Allocate(size);
}
void* operator new[](std::size_t size) {
    return Allocate(size);
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    std::free(block);
}
