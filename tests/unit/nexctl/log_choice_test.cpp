#include "nexctl/log/log_choice.h"

#include <gtest/gtest.h>

namespace {

LogFile File(std::uint32_t id, const char* mark, std::uint64_t writtenAt, std::vector<std::string> services = {}) {
    LogFile file;
    file.strPath = std::to_string(id);
    file.nProcessId = id;
    file.nWrittenAt = writtenAt;
    file.summary.strMark = mark;
    file.summary.services = std::move(services);
    return file;
}

std::string Ids(const std::vector<LogFile>& files) {
    std::string ids;
    for (const LogFile& file : files) {
        ids += file.strPath + " ";
    }
    return ids;
}

TEST(LogChoice, LatestWrittenIsFirstWhetherOrNotItsProcessRuns) {
    std::vector<LogFile> files = {File(1, "m", 10), File(2, "m", 30), File(3, "m", 20)};
    files[0].bRunning = true;
    EXPECT_EQ(Ids(ChooseLogs(files, {})), "2 3 1 ");
}

TEST(LogChoice, MarkServiceProcessAndTimeChoose) {
    const std::vector<LogFile> files = {File(1, "m", 10, {"a"}), File(2, "n", 30, {"a", "b"}), File(3, "m", 20, {"b"})};
    LogWish wish;
    wish.strMark = "m";
    EXPECT_EQ(Ids(ChooseLogs(files, wish)), "3 1 ");
    wish.strService = "a";
    EXPECT_EQ(Ids(ChooseLogs(files, wish)), "1 ");
    wish = {};
    wish.processIds = {1, 2};
    EXPECT_EQ(Ids(ChooseLogs(files, wish)), "2 1 ");
    wish = {};
    wish.nWrittenSince = 20;
    EXPECT_EQ(Ids(ChooseLogs(files, wish)), "2 3 ");
}

TEST(LogChoice, SecondStartThatHandedOverComesLast) {
    std::vector<LogFile> files = {File(1, "m", 10), File(2, "m", 30)};
    files[1].summary.end = LogEnd::HandedOver;
    EXPECT_EQ(Ids(ChooseLogs(files, {})), "1 2 ");
}

TEST(LogChoice, SpanHasAUnit) {
    EXPECT_EQ(ReadSpan("90s"), 90000u);
    EXPECT_EQ(ReadSpan("15m"), 900000u);
    EXPECT_EQ(ReadSpan("2h"), 7200000u);
    EXPECT_EQ(ReadSpan("7d"), 604800000u);
    for (const char* text : {"", "s", "5", "5w", "-1s", "1.5h", "99999999999999999999s"}) {
        EXPECT_FALSE(ReadSpan(text).has_value()) << text;
    }
}

}  // namespace
