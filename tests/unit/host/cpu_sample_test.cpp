#include "host/cpu_sample.h"

#include <array>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr std::size_t kRecordBytes = 0x60;

void Put(std::vector<std::byte>& list, std::size_t offset, std::uint64_t value, std::size_t size) {
    std::memcpy(list.data() + offset, &value, size);
}

// One record after the others; the former last one is linked to it.
void AddProcess(std::vector<std::byte>& list, std::uint64_t id, std::uint64_t user, std::uint64_t kernel) {
    const std::size_t at = list.size();
    if (at != 0) {
        Put(list, at - kRecordBytes, kRecordBytes, 4);
    }
    list.resize(at + kRecordBytes);
    Put(list, at + 0x28, user, 8);
    Put(list, at + 0x30, kernel, 8);
    Put(list, at + 0x50, id, 8);
}

TEST(ProcessTimeTest, AddsKernelAndUserTimeOfTheProcess) {
    std::vector<std::byte> list;
    AddProcess(list, 4, 1, 2);
    AddProcess(list, 8, 30, 400);
    AddProcess(list, 12, 5, 6);
    EXPECT_EQ(ProcessTimeIn(list, 4), 3u);
    EXPECT_EQ(ProcessTimeIn(list, 8), 430u);
    EXPECT_EQ(ProcessTimeIn(list, 12), 11u);
}

TEST(ProcessTimeTest, UnknownProcessGivesZero) {
    std::vector<std::byte> list;
    AddProcess(list, 4, 1, 2);
    EXPECT_EQ(ProcessTimeIn(list, 5), 0u);
    EXPECT_EQ(ProcessTimeIn({}, 5), 0u);
}

TEST(ProcessTimeTest, ListThatBreaksOffEndsThere) {
    std::vector<std::byte> list;
    AddProcess(list, 4, 1, 2);
    AddProcess(list, 8, 3, 4);
    Put(list, 0, 0xFFFFFFFF, 4);
    EXPECT_EQ(ProcessTimeIn(list, 8), 0u);
    Put(list, 0, kRecordBytes, 4);
    EXPECT_EQ(ProcessTimeIn(std::span(list).first(kRecordBytes + 0x57), 8), 0u);
}

TEST(ProcessorTimeTest, SumsKernelAndUserTimeOverAllSlots) {
    std::array<std::byte, kProcessorListBytes> list = {};
    EXPECT_EQ(ProcessorTimeIn(list), 0u);
    const std::uint64_t times[] = {/*idle=*/1000000, /*kernel=*/7, /*user=*/5, /*dpc=*/1000000};
    std::memcpy(list.data(), times, sizeof(times));
    std::memcpy(list.data() + 63 * kProcessorRecordBytes, times, sizeof(times));
    EXPECT_EQ(ProcessorTimeIn(list), 24u);
}

}  // namespace
