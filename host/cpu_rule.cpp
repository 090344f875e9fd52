#include "host/cpu_rule.h"

CpuAction CCpuRule::OnSample(double usage) {
    // A comparison the other way round would let a usage that is not a number count as a breach.
    m_nRounds = usage >= kCpuThreshold ? m_nRounds + 1 : 0;
    if (m_nRounds >= kCpuRoundsToKill) {
        return CpuAction::Kill;
    }
    return m_nRounds >= kCpuRoundsToClose ? CpuAction::Close : CpuAction::None;
}

bool CpuUsageBetween(const CpuTimes& first, const CpuTimes& second, double& usage) {
    const std::uint64_t system = second.nSystem - first.nSystem;
    if (system == 0) {
        return false;
    }
    // Unsigned: a second list without the process wraps to a huge number.
    const std::uint64_t process = second.nProcess - first.nProcess;
    usage = static_cast<double>(process) / static_cast<double>(system) * 100.0;
    return true;
}
