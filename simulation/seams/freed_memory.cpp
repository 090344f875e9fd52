#include "simulation/seams/freed_memory.h"

#include <malloc.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "simulation/kernel/scheduler.h"

namespace simulation {
namespace {

constexpr std::size_t kBlocks = 1024;
// Larger blocks are buffers of texts and bytes, and go back at once.
constexpr std::size_t kLargest = 2048;
// How much of a block is filled, from its beginning.
constexpr std::size_t kFilled = 256;
constexpr unsigned char kFilling = 0xDD;

struct Freed {
    unsigned char* pBlock = nullptr;
    std::size_t nFilled = 0;
};

std::array<Freed, kBlocks> g_freed;
std::size_t g_nNext = 0;

bool IsFilled(const unsigned char* pBlock, std::size_t nBytes) {
    return pBlock[0] == kFilling && std::memcmp(pBlock, pBlock + 1, nBytes - 1) == 0;
}

[[noreturn]] void Report(const char* szWhat) {
    if (g_pScheduler == nullptr) {
        std::abort();
    }
    g_pScheduler->Fail(szWhat);
}

}  // namespace

void BeginBlock(void* pBlock) {
    *static_cast<unsigned char*>(pBlock) = 0;
}

void GiveBack(void* pBlock) {
    if (pBlock == nullptr) {
        return;
    }
    const std::size_t nBytes = malloc_usable_size(pBlock);
    if (nBytes > kLargest) {
        std::free(pBlock);
        return;
    }
    Freed freed{static_cast<unsigned char*>(pBlock), std::min(nBytes, kFilled)};
    if (IsFilled(freed.pBlock, freed.nFilled)) {
        Report("memory is freed twice");
    }
    std::memset(freed.pBlock, kFilling, freed.nFilled);
    std::swap(freed, g_freed[g_nNext]);
    g_nNext = (g_nNext + 1) % kBlocks;
    if (freed.pBlock == nullptr) {
        return;
    }
    if (!IsFilled(freed.pBlock, freed.nFilled)) {
        Report("memory was written after it was freed");
    }
    std::free(freed.pBlock);
}

}  // namespace simulation
