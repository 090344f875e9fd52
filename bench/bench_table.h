// Measures pieces of work against a floor in the same run and prints them as one table.
//
//   BenchTable table("base64 decode, 64 KiB");
//   table.Add("memcpy", [&](std::size_t count) { for (...) ... });       // the first row is the floor, 1.00
//   table.Add("Base64Decode", [&](std::size_t count) { ... }, bytesPerTime);
//   table.Run();
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

// Keeps the compiler from dropping work whose result is not read, and from reading memory only once.
template <typename T>
inline void Keep(const T& value) {
    asm volatile("" : : "g"(&value) : "memory");
}
inline void Barrier() {
    asm volatile("" : : : "memory");
}

// Of a monotonic clock.
double Milliseconds();

class BenchTable {
  public:
    // Does the work count times.
    using Work = std::function<void(std::size_t count)>;

    explicit BenchTable(std::string title) : m_strTitle(std::move(title)) {}

    // The first row is the floor that the others are divided by. With bytes, the row also shows a rate.
    void Add(std::string name, Work work, std::size_t bytes = 0);

    // Measures all rows in interleaved rounds, so that a change of the machine's pace meets them alike, and prints the
    // best round of each.
    void Run();

  private:
    struct Row {
        std::string name;
        Work work;
        std::size_t bytes;
        std::size_t count = 1;
        std::vector<double> nanoseconds;
    };

    std::string m_strTitle;
    std::vector<Row> m_vecRows;
};

// Work that does one piece at a time.
BenchTable::Work Each(std::function<void()> piece);
