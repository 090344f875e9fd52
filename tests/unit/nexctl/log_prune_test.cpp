#include <gtest/gtest.h>

#include "nexctl/log/log_prune.h"

namespace {

constexpr std::uint64_t kDay = 86400ull * 10000000;
constexpr std::uint64_t kNow = 100 * kDay;

LogFile Log(std::uint32_t id, std::uint64_t writtenAt, std::uint64_t bytes, bool running = false) {
    LogFile file;
    file.nProcessId = id;
    file.nWrittenAt = writtenAt;
    file.nBytes = bytes;
    file.bRunning = running;
    return file;
}

std::vector<std::uint32_t> IdsOf(const std::vector<PrunedLog>& logs) {
    std::vector<std::uint32_t> ids;
    ids.reserve(logs.size());
    for (const PrunedLog& log : logs) {
        ids.push_back(log.file.nProcessId);
    }
    return ids;
}

TEST(LogPrune, TakesWhatIsOlderAndWhatIsLarger) {
    const std::vector<LogFile> files = {Log(1, kNow, 10), Log(2, kNow - 9 * kDay, 10), Log(3, kNow, 100),
                                        Log(4, kNow - 9 * kDay, 100)};
    EXPECT_EQ(IdsOf(LogsToPrune(files, {kNow - 7 * kDay, std::nullopt}, kNow)), (std::vector<std::uint32_t>{2, 4}));
    EXPECT_EQ(IdsOf(LogsToPrune(files, {std::nullopt, 50}, kNow)), (std::vector<std::uint32_t>{3, 4}));
    const std::vector<PrunedLog> both = LogsToPrune(files, {kNow - 7 * kDay, 50}, kNow);
    EXPECT_EQ(IdsOf(both), (std::vector<std::uint32_t>{2, 3, 4}));
    EXPECT_EQ(both[2].strWhy, "last written 9 d 0 h ago, of 100 bytes");
    EXPECT_TRUE(LogsToPrune(files, {}, kNow).empty());
}

TEST(LogPrune, LimitItselfIsKept) {
    const std::vector<LogFile> files = {Log(1, kNow - 7 * kDay, 50)};
    EXPECT_TRUE(LogsToPrune(files, {kNow - 7 * kDay, 50}, kNow).empty());
}

TEST(LogPrune, LogOfARunningProcessIsKept) {
    EXPECT_TRUE(LogsToPrune({Log(1, 0, 1000, /*running=*/true)}, {kNow, 1}, kNow).empty());
}

TEST(LogPrune, SizeIsRoundedUp) {
    EXPECT_EQ(SizeText(1023), "1023 bytes");
    EXPECT_EQ(SizeText(1024), "1 KB");
    EXPECT_EQ(SizeText(1025), "2 KB");
    EXPECT_EQ(SizeText(60 * 1024 * 1024 + 1), "61 MB");
}

TEST(LogPrune, SizesAreReadWithAndWithoutAUnit) {
    EXPECT_EQ(ReadSize("50MB"), 50u * 1024 * 1024);
    EXPECT_EQ(ReadSize("1GB"), 1024u * 1024 * 1024);
    EXPECT_EQ(ReadSize("200KB"), 200u * 1024);
    EXPECT_EQ(ReadSize("512"), 512u);
    for (const char* text : {"", "MB", "5 MB", "-1", "1TB", "99999999999999999999", "17179869184GB"}) {
        EXPECT_EQ(ReadSize(text), std::nullopt) << text;
    }
}

}  // namespace
