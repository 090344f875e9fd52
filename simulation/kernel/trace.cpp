#include "simulation/kernel/trace.h"

#include <utility>

namespace simulation {

void CTrace::Add(Line line) {
    if (s_pFile != nullptr) {
        PrintLine(line, s_pFile);
    }
    if (m_vecLines.size() < kLines) {
        m_vecLines.push_back(std::move(line));
    } else {
        m_vecLines[m_nNext] = std::move(line);
    }
    m_nNext = (m_nNext + 1) % kLines;
}

void CTrace::PrintLine(const Line& line, std::FILE* pFile) {
    std::fprintf(pFile, "%10llu.%06llu ms  thread %-3u %s", static_cast<unsigned long long>(line.nAt / kMillisecond),
                 static_cast<unsigned long long>(line.nAt % kMillisecond), line.nTask, line.szWhat);
    if (!line.strText.empty()) {
        std::fprintf(pFile, " %s", line.strText.c_str());
    } else {
        std::fprintf(pFile, " %llx %llx", static_cast<unsigned long long>(line.nFirst),
                     static_cast<unsigned long long>(line.nSecond));
    }
    if (line.nError != 0) {
        std::fprintf(pFile, " error %u", line.nError);
    }
    std::fputc('\n', pFile);
}

void CTrace::Print(std::FILE* pFile) const {
    const std::size_t nBegin = m_vecLines.size() < kLines ? 0 : m_nNext;
    for (std::size_t i = 0; i < m_vecLines.size(); ++i) {
        const Line& line = m_vecLines[(nBegin + i) % m_vecLines.size()];
        PrintLine(line, pFile);
    }
}

}  // namespace simulation
