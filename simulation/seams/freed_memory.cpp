#include "simulation/seams/freed_memory.h"

#include <malloc.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <utility>

#include "simulation/kernel/scheduler.h"

namespace simulation {
namespace {

constexpr std::size_t kBlocks = 1024;
// Larger blocks are buffers of texts and bytes, and go back at once.
constexpr std::size_t kLargest = 2048;
// How much of a block is filled, from its beginning: at most so many words.
constexpr std::size_t kWords = 32;

struct Freed {
    std::uint64_t* pBlock = nullptr;
    std::size_t nWords = 0;
};

std::array<Freed, kBlocks> g_freed;
std::size_t g_nNext = 0;

// Another one for each block: no content of a block in use is it by chance. Its lowest byte is not 0, see BeginBlock.
std::uint64_t Filling(const std::uint64_t* pBlock) {
    return (reinterpret_cast<std::uintptr_t>(pBlock) * 0x9E3779B97F4A7C15) | 1;
}

bool IsFilled(const Freed& freed) {
    return std::all_of(freed.pBlock, freed.pBlock + freed.nWords,
                       [nFilling = Filling(freed.pBlock)](std::uint64_t nWord) { return nWord == nFilling; });
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
    Freed freed{static_cast<std::uint64_t*>(pBlock), std::min(nBytes / sizeof(std::uint64_t), kWords)};
    if (IsFilled(freed)) {
        Report("memory is freed twice");
    }
    std::fill_n(freed.pBlock, freed.nWords, Filling(freed.pBlock));
    std::swap(freed, g_freed[g_nNext]);
    g_nNext = (g_nNext + 1) % kBlocks;
    if (freed.pBlock == nullptr) {
        return;
    }
    if (!IsFilled(freed)) {
        Report("memory was written after it was freed");
    }
    std::free(freed.pBlock);
}

}  // namespace simulation
