#include "simulation/kernel/trace.h"

#include <array>
#include <utility>

namespace simulation {

void CTrace::Begin(Line& line) {
    if (s_bKeepsAll) {
        m_vecAll.push_back({line, ++m_nOrder, 0});
        line.nCall = m_vecAll.size();
    }
}

void CTrace::Add(Line line) {
    if (s_pFile != nullptr) {
        PrintLine(line, s_pFile);
    }
    if (s_bKeepsAll) {
        if (line.nCall == 0) {
            Begin(line);
        } else {
            ++m_nOrder;
        }
        Call& call = m_vecAll[line.nCall - 1];
        call.line = line;
        call.nEnd = m_nOrder;
    }
    if (m_vecLines.size() < kLines) {
        m_vecLines.push_back(std::move(line));
    } else {
        m_vecLines[m_nNext] = std::move(line);
    }
    m_nNext = (m_nNext + 1) % kLines;
}

void CTrace::PrintLine(const Line& line, std::FILE* pFile) {
    std::fprintf(pFile, "%10llu.%06llu ms  thread %-3u %s\n", static_cast<unsigned long long>(line.nAt / kMillisecond),
                 static_cast<unsigned long long>(line.nAt % kMillisecond), line.nTask, TextOf(line).c_str());
}

void CTrace::Print(std::FILE* pFile) const {
    const std::size_t nBegin = m_vecLines.size() < kLines ? 0 : m_nNext;
    for (std::size_t i = 0; i < m_vecLines.size(); ++i) {
        const Line& line = m_vecLines[(nBegin + i) % m_vecLines.size()];
        PrintLine(line, pFile);
    }
}

std::string TextOf(const CTrace::Line& line) {
    std::string strText = line.szWhat;
    if (!line.strText.empty()) {
        strText += " " + line.strText;
    } else {
        std::array<char, 40> numbers{};
        std::snprintf(numbers.data(), numbers.size(), " %llx %llx", static_cast<unsigned long long>(line.nFirst),
                      static_cast<unsigned long long>(line.nSecond));
        strText += numbers.data();
    }
    return line.nError != 0 ? strText + " error " + std::to_string(line.nError) : strText;
}

}  // namespace simulation
