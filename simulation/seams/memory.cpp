#include "simulation/seams/memory.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include "simulation/kernel/scheduler.h"

namespace simulation {

CMemory* g_pMemory = nullptr;

namespace {

std::atomic<void (*)(std::size_t)> g_pfnObserver{nullptr};

void* TryAllocate(std::size_t nBytes) {
    if (void (*const pfnObserver)(std::size_t) = g_pfnObserver.load(); pfnObserver != nullptr) {
        pfnObserver(nBytes);
    }
    if (g_pMemory != nullptr && g_pMemory->Fails()) {
        return nullptr;
    }
    return std::malloc(nBytes > 0 ? nBytes : 1);
}

[[maybe_unused]] void* Allocate(std::size_t nBytes) {
    void* const pBlock = TryAllocate(nBytes);
    if (pBlock == nullptr) {
        throw std::bad_alloc();
    }
    return pBlock;
}

}  // namespace

bool CMemory::Fails() {
    if (m_nProcess == 0 || !IsSimulated() || !g_pScheduler->IsProduct(m_nProcess)) {
        return false;
    }
    ++m_nCount;
    const bool bFails = m_nCount == m_faults.nAt || (m_faults.bForGood && m_nFailed > 0) ||
                        (m_faults.nOneIn != 0 && m_random.OneIn(m_faults.nOneIn));
    m_nFailed += bFails ? 1 : 0;
    return bFails;
}

void ObserveAllocations(void (*pfnObserver)(std::size_t nBytes)) {
    g_pfnObserver.store(pfnObserver);
}

}  // namespace simulation

// ThreadSanitizer has operators of its own, which cannot be replaced: there memory never fails.
#if !NEXLET_TSAN
using simulation::Allocate;
using simulation::TryAllocate;

void* operator new(std::size_t nBytes) {
    return Allocate(nBytes);
}
void* operator new[](std::size_t nBytes) {
    return Allocate(nBytes);
}
void* operator new(std::size_t nBytes, const std::nothrow_t&) noexcept {
    return TryAllocate(nBytes);
}
void* operator new[](std::size_t nBytes, const std::nothrow_t&) noexcept {
    return TryAllocate(nBytes);
}
void operator delete(void* pBlock) noexcept {
    std::free(pBlock);
}
void operator delete[](void* pBlock) noexcept {
    std::free(pBlock);
}
void operator delete(void* pBlock, std::size_t) noexcept {
    std::free(pBlock);
}
void operator delete[](void* pBlock, std::size_t) noexcept {
    std::free(pBlock);
}
void operator delete(void* pBlock, const std::nothrow_t&) noexcept {
    std::free(pBlock);
}
void operator delete[](void* pBlock, const std::nothrow_t&) noexcept {
    std::free(pBlock);
}
#endif
