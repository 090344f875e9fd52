#include "bench/bench_record.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

void RecordRounds(const std::string& table, const std::string& row, const char* measure, const char* unit,
                  const std::vector<double>& values) {
    if (std::getenv("NEXLET_BENCH_RECORD") == nullptr) {
        return;
    }
    std::printf("record\t%s\t%s\t%s\t%s\t", table.c_str(), row.c_str(), measure, unit);
    for (const double value : values) {
        std::printf("%.6g ", value);
    }
    std::printf("\n");
    std::fflush(stdout);
}

int BenchRounds(int usual) {
    const char* const given = std::getenv("NEXLET_BENCH_ROUNDS");
    const int rounds = given != nullptr ? std::atoi(given) : 0;
    return rounds > 0 ? rounds : usual;
}

double MedianOf(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}
