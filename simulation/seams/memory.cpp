#include "simulation/seams/memory.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <unordered_set>
#include <utility>

#include "simulation/kernel/scheduler.h"
#include "simulation/seams/freed_memory.h"

namespace simulation {

CMemory* g_pMemory = nullptr;

namespace {

std::atomic<void (*)(std::size_t)> g_pfnObserver{nullptr};

// The blocks of the census. What the set itself takes and gives back is not counted.
std::unordered_set<void*>& Census() {
    static auto& blocks = *new std::unordered_set<void*>;
    return blocks;
}
bool g_bInCensus = false;

void* TryAllocate(std::size_t nBytes) {
    if (void (*const pfnObserver)(std::size_t) = g_pfnObserver.load(); pfnObserver != nullptr) {
        pfnObserver(nBytes);
    }
    if (g_pMemory != nullptr && g_pMemory->Fails()) {
        return nullptr;
    }
    void* const pBlock = std::malloc(nBytes > 0 ? nBytes : 1);
    if (g_pMemory != nullptr && g_pMemory->HasCensus() && pBlock != nullptr) {
        g_pMemory->Taken(pBlock);
    }
#if !NEXLET_ASAN && !NEXLET_TSAN
    if (pBlock != nullptr) {
        BeginBlock(pBlock);
    }
#endif
    return pBlock;
}

[[maybe_unused]] void Return(void* pBlock) {
    if (g_pMemory != nullptr && g_pMemory->HasCensus()) {
        g_pMemory->Gone(pBlock);
    }
#if NEXLET_ASAN || NEXLET_TSAN
    std::free(pBlock);
#else
    GiveBack(pBlock);
#endif
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

std::size_t CMemory::Blocks() const {
    return Census().size();
}

void CMemory::Taken(void* pBlock) {
    if (!g_bInCensus && m_nProcess != 0 && IsSimulated() && g_pScheduler->IsProduct(m_nProcess)) {
        g_bInCensus = true;
        Census().insert(pBlock);
        g_bInCensus = false;
    }
}

void CMemory::Gone(void* pBlock) {
    if (!g_bInCensus) {
        g_bInCensus = true;
        Census().erase(pBlock);
        g_bInCensus = false;
    }
}

void ObserveAllocations(void (*pfnObserver)(std::size_t nBytes)) {
    g_pfnObserver.store(pfnObserver);
}

}  // namespace simulation

// ThreadSanitizer has operators of its own, which cannot be replaced: there memory never fails.
#if !NEXLET_TSAN
using simulation::Allocate;
using simulation::Return;
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
    Return(pBlock);
}
void operator delete[](void* pBlock) noexcept {
    Return(pBlock);
}
void operator delete(void* pBlock, std::size_t) noexcept {
    Return(pBlock);
}
void operator delete[](void* pBlock, std::size_t) noexcept {
    Return(pBlock);
}
void operator delete(void* pBlock, const std::nothrow_t&) noexcept {
    Return(pBlock);
}
void operator delete[](void* pBlock, const std::nothrow_t&) noexcept {
    Return(pBlock);
}
#endif
