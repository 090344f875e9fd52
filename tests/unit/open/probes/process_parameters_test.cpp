#include "open/probes/process_parameters.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr std::uint64_t kPeb = 0x7FF000000000;
constexpr std::uint64_t kParameters = 0x20000;
constexpr std::uint64_t kText = 0x30000;

// Made-up memory: blocks at addresses; what is not inside one block cannot be read.
class CMadeUpMemory final : public IProcessMemory {
  public:
    bool Read(std::uint64_t address, void* target, std::size_t size) override {
        auto block = m_mapBlocks.upper_bound(address);
        if (block == m_mapBlocks.begin()) {
            return false;
        }
        --block;
        const std::uint64_t offset = address - block->first;
        if (offset > block->second.size() || block->second.size() - offset < size) {
            return false;
        }
        std::copy_n(block->second.begin() + static_cast<std::ptrdiff_t>(offset), size,
                    static_cast<std::uint8_t*>(target));
        return true;
    }

    std::map<std::uint64_t, std::vector<std::uint8_t>> m_mapBlocks;
};

template <typename T>
void Put(std::vector<std::uint8_t>& block, std::size_t at, T value) {
    std::memcpy(block.data() + at, &value, sizeof value);
}

// The memory of a process with this command line.
CMadeUpMemory MemoryOf(const std::u16string& line) {
    CMadeUpMemory memory;
    std::vector<std::uint8_t> peb(896, 0xCC);
    Put(peb, 32, kParameters);
    std::vector<std::uint8_t> parameters(128, 0xCC);
    Put(parameters, 112, static_cast<std::uint16_t>(2 * line.size()));
    Put(parameters, 114, static_cast<std::uint16_t>(2 * line.size() + 2));
    Put(parameters, 120, kText);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(line.data());
    const std::vector<std::uint8_t> text(bytes, bytes + 2 * line.size());
    memory.m_mapBlocks = {{kPeb, peb}, {kParameters, parameters}, {kText, text}};
    return memory;
}

TEST(ReadCommandLineAt, TheLineIsReadWhole) {
    CMadeUpMemory memory = MemoryOf(u"\"C:\\程序\\WeChatAppEx.exe\" --type=renderer");
    EXPECT_EQ(ReadCommandLineAt(kPeb, memory), u"\"C:\\程序\\WeChatAppEx.exe\" --type=renderer");
}

TEST(ReadCommandLineAt, ALineIsCutAtItsFirstZero) {
    CMadeUpMemory memory = MemoryOf(std::u16string(u"a.exe\0--type=renderer", 21));
    EXPECT_EQ(ReadCommandLineAt(kPeb, memory), u"a.exe");
}

TEST(ReadCommandLineAt, ALineBelowFourThousandNinetySixBytesIsRead) {
    const std::u16string line(2047, u'x');
    CMadeUpMemory memory = MemoryOf(line);
    EXPECT_EQ(ReadCommandLineAt(kPeb, memory), line);
}

TEST(ReadCommandLineAt, ALongerLineCountsAsNone) {
    CMadeUpMemory exact = MemoryOf(std::u16string(2048, u'x'));
    EXPECT_EQ(ReadCommandLineAt(kPeb, exact), u"");
    CMadeUpMemory more = MemoryOf(std::u16string(20000, u'x'));
    EXPECT_EQ(ReadCommandLineAt(kPeb, more), u"");
}

TEST(ReadCommandLineAt, AnOddLengthIsReadToItsLastByte) {
    CMadeUpMemory memory = MemoryOf(u"ab");
    Put(memory.m_mapBlocks[kParameters], 112, std::uint16_t{3});
    EXPECT_EQ(ReadCommandLineAt(kPeb, memory), u"ab");
    CMadeUpMemory longest = MemoryOf(std::u16string(2048, u'x'));
    Put(longest.m_mapBlocks[kParameters], 112, std::uint16_t{4095});
    EXPECT_EQ(ReadCommandLineAt(kPeb, longest).size(), 2048u);
}

TEST(ReadCommandLineAt, AnEmptyLineIsEmpty) {
    CMadeUpMemory memory = MemoryOf(u"");
    EXPECT_EQ(ReadCommandLineAt(kPeb, memory), u"");
}

TEST(ReadCommandLineAt, ABufferOfNullCountsAsNone) {
    CMadeUpMemory memory = MemoryOf(u"a.exe");
    Put(memory.m_mapBlocks[kParameters], 120, std::uint64_t{0});
    memory.m_mapBlocks[0] = std::vector<std::uint8_t>(64, 'x');
    EXPECT_EQ(ReadCommandLineAt(kPeb, memory), u"");
}

TEST(ReadCommandLineAt, ALengthAboveItsMaximumCountsAsNone) {
    CMadeUpMemory memory = MemoryOf(u"a.exe");
    Put(memory.m_mapBlocks[kParameters], 114, std::uint16_t{9});
    EXPECT_EQ(ReadCommandLineAt(kPeb, memory), u"");
    Put(memory.m_mapBlocks[kParameters], 114, std::uint16_t{10});
    EXPECT_EQ(ReadCommandLineAt(kPeb, memory), u"a.exe");
}

TEST(ReadCommandLineAt, AShortReadAnywhereEndsIt) {
    CMadeUpMemory noPeb = MemoryOf(u"a.exe");
    noPeb.m_mapBlocks[kPeb].resize(895);
    EXPECT_EQ(ReadCommandLineAt(kPeb, noPeb), u"");
    CMadeUpMemory noParameters = MemoryOf(u"a.exe");
    noParameters.m_mapBlocks[kParameters].resize(127);
    EXPECT_EQ(ReadCommandLineAt(kPeb, noParameters), u"");
    CMadeUpMemory noText = MemoryOf(u"a.exe");
    noText.m_mapBlocks[kText].resize(9);
    EXPECT_EQ(ReadCommandLineAt(kPeb, noText), u"");
}

TEST(ReadCommandLineAt, AddressesOutOfTheMemoryEndIt) {
    CMadeUpMemory memory = MemoryOf(u"a.exe");
    Put(memory.m_mapBlocks[kPeb], 32, ~std::uint64_t{0});
    EXPECT_EQ(ReadCommandLineAt(kPeb, memory), u"");
    EXPECT_EQ(ReadCommandLineAt(~std::uint64_t{0}, memory), u"");
}

}  // namespace
