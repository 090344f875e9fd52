#include "support/envelope/rsa_envelope.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/envelope/rsa_seed_clock.h"

namespace {

constexpr std::size_t kBlockText = 172;

std::vector<std::string> Blocks(const std::string& envelope) {
    std::vector<std::string> blocks;
    std::size_t at = 0;
    for (std::size_t end; (end = envelope.find("|&|", at)) != std::string::npos; at = end + 3) {
        blocks.push_back(envelope.substr(at, end - at));
    }
    blocks.push_back(envelope.substr(at));
    return blocks;
}

// Waits until the clock that the padding comes from has moved on.
void NextMillisecond() {
    const RsaSeedSample now = SampleSeedClock();
    while (SampleSeedClock() == now) {
    }
}

TEST(RsaEncryptToString, AnEmptyTextGivesAnEmptyResult) {
    EXPECT_EQ(RsaEncryptToString(""), "");
}

TEST(RsaEncryptToString, ATextOf117BytesGivesOneBlockWithoutSeparator) {
    const std::string envelope = RsaEncryptToString(std::string(117, 'x'));
    EXPECT_EQ(envelope.size(), kBlockText);
    EXPECT_EQ(envelope.find('|'), std::string::npos);
}

TEST(RsaEncryptToString, ATextOf118BytesGivesTwoBlocks) {
    EXPECT_EQ(Blocks(RsaEncryptToString(std::string(118, 'x'))).size(), 2u);
}

TEST(RsaEncryptToString, AnExactMultipleGivesNoEmptyBlock) {
    const auto blocks = Blocks(RsaEncryptToString(std::string(234, 'x')));
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_EQ(blocks[0].size(), kBlockText);
    EXPECT_EQ(blocks[1].size(), kBlockText);
}

TEST(RsaEncryptToString, EveryLengthGivesOneBlockAPiece) {
    for (std::size_t size = 1; size <= 500; ++size) {
        const auto blocks = Blocks(RsaEncryptToString(std::string(size, '\xE4')));
        ASSERT_EQ(blocks.size(), (size + 116) / 117) << size;
        for (const std::string& block : blocks) {
            ASSERT_EQ(block.size(), kBlockText);
            ASSERT_EQ(block.find_first_of("|&\r\n"), std::string::npos);
        }
    }
}

TEST(RsaEncryptToString, EqualTextsGiveDifferentEnvelopes) {
    const std::string first = RsaEncryptToString("the same text");
    NextMillisecond();
    EXPECT_NE(RsaEncryptToString("the same text"), first);
}

TEST(RsaEncryptBlocks, AnEmptyInputGivesCode1AndEmptiesTheOutput) {
    std::vector<std::uint8_t> out = {1, 2, 3};
    EXPECT_EQ(RsaEncryptBlocks(out, nullptr, 0), 1u);
    EXPECT_TRUE(out.empty());
}

TEST(RsaEncryptBlocks, ReplacesWhatTheOutputHeld) {
    std::vector<std::uint8_t> out = {1, 2, 3};
    EXPECT_EQ(RsaEncryptBlocks(out, "abc", 3), 0u);
    EXPECT_EQ(out.size(), kBlockText);
    EXPECT_EQ(out.back(), '=');
}

}  // namespace
