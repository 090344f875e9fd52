#include "support/envelope/rsa_random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

RsaRandomState SeededState(std::uint8_t lastByte) {
    RsaRandomState state;
    state.bytesNeeded = 0;
    state.state.fill(0xFF);
    state.state.back() = lastByte;
    return state;
}

std::uint32_t Word(const std::array<std::uint8_t, 36>& record, std::size_t index) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;) {
        value = value << 8 | record[4 * index + i];
    }
    return value;
}

TEST(RsaRandomUpdate, AddsTheDigestAsABigEndianNumberAndDropsTheFinalCarry) {
    const std::string seed = "seed";
    const Md5Digest digest = Md5Of({reinterpret_cast<const std::uint8_t*>(seed.data()), seed.size()});
    RsaRandomState state;
    RsaRandomUpdate(state, seed.data(), seed.size());
    EXPECT_EQ(state.state, digest);
    EXPECT_EQ(state.bytesNeeded, 508u);

    // All ones plus the digest is the digest less one.
    RsaRandomState ones = SeededState(0xFF);
    RsaRandomUpdate(ones, seed.data(), seed.size());
    std::array<std::uint8_t, 16> expected = digest;
    for (std::size_t i = expected.size(); i-- > 0 && expected[i]-- == 0;) {
    }
    EXPECT_EQ(ones.state, expected);
}

TEST(RsaRandomUpdate, SeedBytesWantedStopAtZero) {
    RsaRandomState state;
    const Bytes seed(500);
    RsaRandomUpdate(state, seed.data(), seed.size());
    EXPECT_EQ(state.bytesNeeded, 12u);
    RsaRandomUpdate(state, seed.data(), seed.size());
    EXPECT_EQ(state.bytesNeeded, 0u);
}

TEST(RsaGenerateBytes, ProducesNothingWhileSeedIsWanted) {
    RsaRandomState state;
    const Bytes seed(511);
    RsaRandomUpdate(state, seed.data(), seed.size());
    Bytes out(8, 0xEE);
    EXPECT_FALSE(RsaGenerateBytes(out.data(), out.size(), state));
    EXPECT_EQ(out, Bytes(8, 0xEE));
    RsaRandomUpdate(state, seed.data(), 1);
    EXPECT_TRUE(RsaGenerateBytes(out.data(), out.size(), state));
    EXPECT_NE(out, Bytes(8, 0xEE));
}

TEST(RsaGenerateBytes, HandsOutTheDigestsOfTheCounterInOrder) {
    RsaRandomState state = SeededState(0xFE);
    Bytes expected;
    std::array<std::uint8_t, 16> counter = state.state;
    for (int i = 0; i < 3; ++i) {  // ...FE, ...FF, then all zeros: the carry runs out at the top
        const Md5Digest digest = Md5Of(counter);
        expected.insert(expected.end(), digest.begin(), digest.end());
        for (std::size_t at = counter.size(); at-- > 0;) {
            counter[at] = static_cast<std::uint8_t>(counter[at] + 1);
            if (counter[at] != 0) {
                break;
            }
        }
    }
    Bytes whole(expected.size());
    RsaRandomState again = state;
    EXPECT_TRUE(RsaGenerateBytes(whole.data(), whole.size(), again));
    EXPECT_EQ(whole, expected);
    EXPECT_EQ(again.outputAvailable, 0u);
    EXPECT_EQ(again.state.front(), 0);

    Bytes single;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        std::uint8_t byte = 0;
        EXPECT_TRUE(RsaGenerateBytes(&byte, 1, state));
        EXPECT_EQ(state.outputAvailable, 15 - i % 16);
        single.push_back(byte);
    }
    EXPECT_EQ(single, expected);
}

// A clock that a test winds: every sample is the next of the list.
std::vector<RsaSeedSample> g_samples;
std::size_t g_sampled = 0;
RsaSeedSample NextSample() {
    return g_samples.at(g_sampled++);
}

TEST(RsaSeeder, ThirteenPassesOfBrokenDownTimeAndClockAsIfEachWereHashed) {
    g_samples.clear();
    g_sampled = 0;
    for (int pass = 0; pass < 26; ++pass) {  // the second turns within the first state, the clock at odd places
        g_samples.push_back({1'700'000'000 + (pass > 6 ? 1 : 0), static_cast<std::uint32_t>(90'000 + pass * pass / 9)});
    }
    CRsaSeeder seeder(&NextSample);
    for (std::size_t block = 0; block < 2; ++block) {
        RsaRandomState expected;
        for (std::size_t pass = 0; pass < 13; ++pass) {
            EXPECT_GT(expected.bytesNeeded, 0u);
            const RsaSeedSample& sample = g_samples[13 * block + pass];
            const auto record = BrokenDownUtc(sample.seconds);
            RsaRandomUpdate(expected, record.data(), record.size());
            const std::uint32_t clock = sample.processClockMs;
            const std::uint8_t bytes[4] = {static_cast<std::uint8_t>(clock), static_cast<std::uint8_t>(clock >> 8),
                                           static_cast<std::uint8_t>(clock >> 16),
                                           static_cast<std::uint8_t>(clock >> 24)};
            RsaRandomUpdate(expected, bytes, sizeof(bytes));
        }
        RsaRandomState state;
        state.outputAvailable = 5;  // left from an earlier use: a state is seeded afresh
        seeder.Seed(state);
        EXPECT_EQ(g_sampled, 13 * (block + 1));
        EXPECT_EQ(state.state, expected.state);
        EXPECT_EQ(state.bytesNeeded, 0u);
        EXPECT_EQ(state.outputAvailable, 0u);
    }
}

TEST(RsaSeeder, TheSystemsClockIsTheCalendarSecondAndTheTimeSinceTheProcessBegan) {
    const auto before = static_cast<std::int64_t>(std::time(nullptr));
    const RsaSeedSample first = SampleSeedClock();
    const RsaSeedSample second = SampleSeedClock();
    const auto after = static_cast<std::int64_t>(std::time(nullptr));
    EXPECT_LE(before, first.seconds);
    EXPECT_LE(first.seconds, second.seconds);
    EXPECT_LE(second.seconds, after + 1) << "a coarse clock may be late";
    EXPECT_LE(first.processClockMs, second.processClockMs);
    EXPECT_LT(second.processClockMs, 3'600'000u) << "this process runs for seconds";
}

TEST(BrokenDownUtc, HasTheNineFieldsOfTheCalendar) {
    const struct {
        std::int64_t seconds;
        std::array<std::uint32_t, 9> fields;  // second, minute, hour, day, month, year, week day, year day, daylight
    } cases[] = {
        {0, {0, 0, 0, 1, 0, 70, 4, 0, 0}},
        {951782399, {59, 59, 23, 28, 1, 100, 1, 58, 0}},     // 2000-02-28
        {951782400, {0, 0, 0, 29, 1, 100, 2, 59, 0}},        // 2000-02-29, a leap day of a century
        {951868800, {0, 0, 0, 1, 2, 100, 3, 60, 0}},         // 2000-03-01
        {1735689599, {59, 59, 23, 31, 11, 124, 2, 365, 0}},  // the last second of 2024
        {1735689600, {0, 0, 0, 1, 0, 125, 3, 0, 0}},
        {4107542400, {0, 0, 0, 1, 2, 200, 1, 59, 0}},  // 2100-03-01: no leap year before it
    };
    for (const auto& [seconds, fields] : cases) {
        const auto record = BrokenDownUtc(seconds);
        for (std::size_t i = 0; i < fields.size(); ++i) {
            EXPECT_EQ(Word(record, i), fields[i]) << "field " << i << " of " << seconds;
        }
    }
}

TEST(BrokenDownUtc, AgreesWithTheRuntimeOnEveryDay) {
    for (std::int64_t seconds = 12'345; seconds < 5'000'000'000; seconds += 86'400 + 3'607) {
        const auto time = static_cast<std::time_t>(seconds);
        const std::tm* expected = std::gmtime(&time);
        if (expected == nullptr) {
            break;  // beyond what this runtime knows
        }
        const auto record = BrokenDownUtc(seconds);
        const int fields[9] = {expected->tm_sec,  expected->tm_min,  expected->tm_hour,
                               expected->tm_mday, expected->tm_mon,  expected->tm_year,
                               expected->tm_wday, expected->tm_yday, expected->tm_isdst};
        for (std::size_t i = 0; i < 9; ++i) {
            ASSERT_EQ(Word(record, i), static_cast<std::uint32_t>(fields[i])) << "field " << i << " of " << seconds;
        }
    }
}

}  // namespace
