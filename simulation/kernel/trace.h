// What happened last, for the report of a failure, and all that happened, for a page.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "simulation/kernel/task.h"

namespace simulation {

// Keeps the last lines. A line is put together when it is asked for.
class CTrace {
  public:
    struct Line {
        Nanoseconds nAt = 0;
        std::uint32_t nTask = 0;
        const char* szWhat = "";  // a literal
        std::uint64_t nFirst = 0;
        std::uint64_t nSecond = 0;
        std::uint32_t nError = 0;
        std::string strText;
        std::size_t nCall = 0;  // into All, from 1; 0: not begun
    };
    // A line with its place in the order of all beginnings and ends.
    struct Call {
        Line line;
        std::uint64_t nBegin = 0;
        std::uint64_t nEnd = 0;  // 0: has not ended
    };

    // From now on every line is also written here at once; null: no longer. For all runs.
    static void WriteTo(std::FILE* pFile) { s_pFile = pFile; }
    // From now on every line is kept. For all runs.
    static void KeepAll() { s_bKeepsAll = true; }

    // The call that line tells of begins: it may last, and others come meanwhile.
    void Begin(Line& line);
    // It has ended. What did not begin is a moment.
    void Add(Line line);
    void Print(std::FILE* pFile) const;
    // When they are kept, in the order of their beginnings.
    const std::vector<Call>& All() const { return m_vecAll; }

    // What szWhat of a line of the product's own log is.
    static constexpr char kLog[] = "log";
    // And of a line that tells where a replay took another thread than the one that would have run by itself.
    static constexpr char kSwitch[] = "-- the schedule goes to thread";

  private:
    static constexpr std::size_t kLines = 150;
    static void PrintLine(const Line& line, std::FILE* pFile);
    static inline std::FILE* s_pFile = nullptr;
    static inline bool s_bKeepsAll = false;

    std::vector<Line> m_vecLines;
    std::size_t m_nNext = 0;
    std::vector<Call> m_vecAll;
    std::uint64_t m_nOrder = 0;
};

// "ReadFile 8 2bc error 109", without its time and thread.
std::string TextOf(const CTrace::Line& line);

}  // namespace simulation
