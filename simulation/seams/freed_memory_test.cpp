#include "simulation/seams/freed_memory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace simulation {
namespace {

// More blocks than are kept: the first of them are looked at and freed.
constexpr int kMoreThanKept = 3000;
constexpr std::size_t kBytes = 40;

void* Take() {
    void* const pBlock = std::malloc(kBytes);
    BeginBlock(pBlock);
    return pBlock;
}

TEST(FreedMemory, ABlockMayHoldAnyBytesWhenItIsGivenBack) {
    for (int nByte = 0; nByte < 256; ++nByte) {
        void* const pBlock = Take();
        std::memset(pBlock, nByte, kBytes);
        GiveBack(pBlock);
    }
}

TEST(FreedMemory, BlocksThatComeOnceAreNotReported) {
    for (int i = 0; i < kMoreThanKept; ++i) {
        GiveBack(Take());
    }
}

TEST(FreedMemoryDeathTest, ABlockThatComesTwiceIsReported) {
    EXPECT_DEATH(
        {
            void* const pBlock = Take();
            GiveBack(pBlock);
            GiveBack(pBlock);
        },
        "");
}

TEST(FreedMemoryDeathTest, AWriteToABlockThatWasGivenBackIsReported) {
    EXPECT_DEATH(
        {
            void* const pBlock = Take();
            GiveBack(pBlock);
            static_cast<char*>(pBlock)[kBytes - 1] ^= 1;
            for (int i = 0; i < kMoreThanKept; ++i) {
                GiveBack(Take());
            }
        },
        "");
}

}  // namespace
}  // namespace simulation
