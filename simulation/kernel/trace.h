// What happened last, for the report of a failure.
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
    };

    // From now on every line is also written here at once; null: no longer. For all runs.
    static void WriteTo(std::FILE* pFile) { s_pFile = pFile; }

    void Add(Line line);
    void Print(std::FILE* pFile) const;

  private:
    static constexpr std::size_t kLines = 150;
    static void PrintLine(const Line& line, std::FILE* pFile);
    static inline std::FILE* s_pFile = nullptr;

    std::vector<Line> m_vecLines;
    std::size_t m_nNext = 0;
};

}  // namespace simulation
