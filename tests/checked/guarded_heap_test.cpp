#include "tests/checked/guarded_heap.h"

#include <gtest/gtest.h>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

// What ends a process: the exit codes of Windows.
constexpr int kAccessViolation = static_cast<int>(0xC0000005);
constexpr int kHeapCorruption = static_cast<int>(0xC0000374);

// The compiler must not see that an access is wrong, or what becomes of it.
volatile char g_byte;
template <typename T>
T* Opaque(T* pointer) {
    T* volatile hidden = pointer;
    return hidden;
}

TEST(GuardedHeapDeathTest, AReadOneByteAfterTheEndOfANewBlockEndsTheProcess) {
    EXPECT_EXIT(
        {
            const std::unique_ptr<char[]> block(new char[13]);
            g_byte = Opaque(block.get())[13];
        },
        testing::ExitedWithCode(kAccessViolation),
        "a read outside a block, 0 bytes after the end of a block of 13 bytes");
}

TEST(GuardedHeapDeathTest, AWriteOneByteAfterTheEndOfANewBlockEndsTheProcess) {
    EXPECT_EXIT(
        {
            const std::unique_ptr<char[]> block(new char[4096]);
            Opaque(block.get())[4096] = 1;
        },
        testing::ExitedWithCode(kAccessViolation),
        "a write outside a block, 0 bytes after the end of a block of 4096 bytes");
}

TEST(GuardedHeapDeathTest, AReadAfterTheLastElementOfAVectorEndsTheProcess) {
    EXPECT_EXIT(
        {
            std::vector<std::uint32_t> numbers(7);
            g_byte = static_cast<char>(*Opaque(numbers.data() + 7));
        },
        testing::ExitedWithCode(kAccessViolation),
        "a read outside a block, 0 bytes after the end of a block of 28 bytes");
}

TEST(GuardedHeapDeathTest, AReadAfterTheFreeEndsTheProcessAndSaysWhoFreed) {
    EXPECT_EXIT(
        {
            auto* const block = new int(1);
            int* const kept = Opaque(block);
            delete block;
            g_byte = static_cast<char>(*kept);
        },
        testing::ExitedWithCode(kAccessViolation),
        "a read after the free, 0 bytes into a block of 4 bytes.*\n.*at guarded_heap_test\\.exe\\+0x");
}

TEST(GuardedHeapDeathTest, AWriteAfterTheFreeEndsTheProcess) {
    EXPECT_EXIT(
        {
            auto* const block = static_cast<char*>(std::malloc(100));
            char* const kept = Opaque(block);
            std::free(block);
            kept[40] = 1;
        },
        testing::ExitedWithCode(kAccessViolation), "a write after the free, 40 bytes into a block of 100 bytes");
}

TEST(GuardedHeapDeathTest, ASecondFreeEndsTheProcess) {
    EXPECT_EXIT(
        {
            auto* const block = new int(1);
            int* const kept = Opaque(block);
            delete block;
            delete kept;
        },
        testing::ExitedWithCode(kHeapCorruption), "a second free, 0 bytes into a block of 4 bytes");
}

TEST(GuardedHeapDeathTest, AFreeInTheMiddleOfABlockEndsTheProcess) {
    EXPECT_EXIT(
        {
            auto* const block = new char[8];
            ::operator delete(Opaque(block + 1));
        },
        testing::ExitedWithCode(kHeapCorruption),
        "a free of what is not the start of a block, 1 bytes into a block of 8 bytes");
}

TEST(GuardedHeapDeathTest, AWriteBeforeABlockEndsTheProcessAtTheFree) {
    EXPECT_EXIT(
        {
            const std::unique_ptr<char[]> block(new char[8]);
            Opaque(block.get())[-1] = 1;
        },
        testing::ExitedWithCode(kHeapCorruption),
        "found at the free: a write outside a block, 1 bytes before a block of 8 bytes");
}

TEST(GuardedHeapDeathTest, AWriteAfterAMallocBlockWhoseSizeIsNotAMultipleOf16EndsTheProcessAtTheFree) {
    EXPECT_EXIT(
        {
            auto* const block = static_cast<char*>(std::malloc(13));
            Opaque(block)[13] = 1;
            std::free(block);
        },
        testing::ExitedWithCode(kHeapCorruption),
        "found at the free: a write outside a block, 0 bytes after the end of a block of 13 bytes");
}

TEST(GuardedHeapDeathTest, AnOverrunOfABlockOfAnotherThreadIsFoundToo) {
    EXPECT_EXIT(
        {
            char* block = nullptr;
            std::thread([&block] { block = new char[24]; }).join();
            Opaque(block)[24] = 1;
        },
        testing::ExitedWithCode(kAccessViolation), "a write outside a block");
}

TEST(GuardedHeap, ABlockIsAlignedForEveryObjectOfItsSize) {
    for (std::size_t size = 1; size <= 5000; ++size) {
        const std::unique_ptr<char[]> block(new char[size]);
        EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(block.get()) % AlignmentOfSize(size)) << size;
        void* const fromC = std::malloc(size);
        EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(fromC) % 16) << size;
        std::free(fromC);
    }
    struct alignas(64) CWide {
        char bytes[64];
    };
    const auto wide = std::make_unique<CWide>();
    EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(wide.get()) % 64);
}

TEST(GuardedHeap, AFreedBlockIsNotGivenOutAgainSoon) {
    std::set<std::uintptr_t> given;
    for (int i = 0; i < 10000; ++i) {
        const auto block = std::make_unique<int>(i);
        EXPECT_TRUE(given.insert(reinterpret_cast<std::uintptr_t>(block.get())).second);
    }
}

TEST(GuardedHeap, ReallocKeepsTheContentAndCallocGivesZeros) {
    auto* text = static_cast<char*>(std::calloc(3, 7));
    ASSERT_NE(nullptr, text);
    EXPECT_EQ(std::string(21, '\0'), std::string(text, 21));
    std::memcpy(text, "abcdefghijklmnopqrstu", 21);
    text = static_cast<char*>(std::realloc(text, 9000));
    EXPECT_EQ("abcdefghijklmnopqrstu", std::string(text, 21));
    text = static_cast<char*>(std::realloc(text, 3));
    EXPECT_EQ("abc", std::string(text, 3));
    std::free(text);
    EXPECT_EQ(nullptr, std::calloc(SIZE_MAX, 2));
}

TEST(GuardedHeap, WhatTheCLibraryOfTheSystemAllocatedIsFreedThere) {
    wchar_t* const copy = _wcsdup(L"twelve signs");
    EXPECT_STREQ(L"twelve signs", copy);
    std::free(copy);
}

TEST(GuardedHeap, ManyBlocksAreAllocatedAndFreedOneAfterTheOther) {
    for (int i = 0; i < 300000; ++i) {
        const std::unique_ptr<char[]> block(new char[100]);
        g_byte = block[0];
    }
}

TEST(GuardedHeap, MoreBlocksThanItHasPlaceForAreAllocatedToo) {
    std::vector<std::unique_ptr<int>> blocks;
    for (int i = 0; i < 40000; ++i) {
        blocks.push_back(std::make_unique<int>(i));
    }
    for (int i = 0; i < 40000; ++i) {
        EXPECT_EQ(i, *blocks[static_cast<std::size_t>(i)]);
    }
}

}  // namespace
