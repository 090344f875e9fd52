#include "bench/bench_table.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "bench/bench_record.h"

namespace {

constexpr int kUsualRounds = 15;
constexpr double kRoundNanoseconds = 10e6;

double TimeOnce(const BenchTable::Work& work, std::size_t count) {
    const auto start = std::chrono::steady_clock::now();
    work(count);
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

// What else the machine does only ever adds: the best round is nearest to the work itself.
double Best(const std::vector<double>& values) {
    return *std::min_element(values.begin(), values.end());
}

}  // namespace

double Milliseconds() {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

BenchTable::Work Each(std::function<void()> piece) {
    return [piece = std::move(piece)](std::size_t count) {
        for (; count > 0; --count) {
            piece();
        }
    };
}

void BenchTable::Add(std::string name, Work work, std::size_t bytes) {
    m_vecRows.push_back({std::move(name), std::move(work), bytes, 1, {}});
}

void BenchTable::Run() {
    for (Row& row : m_vecRows) {
        double taken = TimeOnce(row.work, row.count);
        while (taken < kRoundNanoseconds) {
            row.count *= 2;
            taken = TimeOnce(row.work, row.count);
        }
    }
    const int rounds = BenchRounds(kUsualRounds);
    for (int round = 0; round < rounds; ++round) {
        for (Row& row : m_vecRows) {
            row.nanoseconds.push_back(TimeOnce(row.work, row.count) / static_cast<double>(row.count));
        }
    }
    std::printf("\n%s\n", m_strTitle.c_str());
    const double floor = Best(m_vecRows.front().nanoseconds);
    for (const Row& row : m_vecRows) {
        const double best = Best(row.nanoseconds);
        std::printf("  %-44s %12.2f ns  %8.2f x floor", row.name.c_str(), best, best / floor);
        if (row.bytes > 0) {
            std::printf("  %8.0f MB/s", static_cast<double>(row.bytes) * 1e3 / best);
        }
        std::printf("\n");
    }
    for (const Row& row : m_vecRows) {
        RecordRounds(m_strTitle, row.name, "time", "ns", row.nanoseconds);
    }
    std::fflush(stdout);
}
