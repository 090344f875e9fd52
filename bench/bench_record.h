// What tools/bench reads of a benchmark beside the tables that people read: every round of every row, on lines of their
// own. Nothing is printed unless NEXLET_BENCH_RECORD is set.
#pragma once

#include <string>
#include <vector>

// Prints "record", table, row, measure, unit and the values of all rounds, with tabs between them. Measures are "time",
// "p50", "p99", "rate", "private", "handles", "threads" and "cpu". Rows of one table that took turns have as many
// rounds, and round i of one belongs to round i of the other.
void RecordRounds(const std::string& table, const std::string& row, const char* measure, const char* unit,
                  const std::vector<double>& values);

// The number of rounds to make: NEXLET_BENCH_ROUNDS, which tools/bench --rounds sets, or usual.
int BenchRounds(int usual);

// Partly sorts a copy. The values are not empty.
double MedianOf(std::vector<double> values);
