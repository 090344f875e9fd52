#include "tests/support/stand_in_monitor.h"

#include <fstream>

#include "foundation/json_text.h"

CStandInMonitor::CStandInMonitor(const std::filesystem::path& folder, Mood mood)
    : m_out(folder / L"notices.txt"),
      m_process(folder / L"monitor.exe",
                L"--out \"" + m_out.wstring() + L"\"" + (mood == Mood::Hangs ? L" --hang" : L""), L"monitor.exe") {}

std::vector<Json::Value> CStandInMonitor::Notices() const {
    std::ifstream file(m_out);
    std::vector<Json::Value> notices;
    for (std::string line; std::getline(file, line);) {
        ParseJson(line, notices.emplace_back());
    }
    return notices;
}
