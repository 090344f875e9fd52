// When a process that uses too much processor time is closed, and when it is killed.
#pragma once

#include <cstdint>

// Percent of the whole machine, inclusive.
inline constexpr double kCpuThreshold = 15.0;
inline constexpr std::int32_t kCpuRoundsToClose = 6;
inline constexpr std::int32_t kCpuRoundsToKill = 12;

enum class CpuAction {
    None,
    Close,  // ask the window to close; comes again each round until it did
    Kill,   // end the process at once
};

// Counts consecutive rounds at or above the threshold. A failed sample is not a round.
class CCpuRule {
  public:
    CpuAction OnSample(double usage);

  private:
    std::int32_t m_nRounds = 0;
};

// The counters of one moment, in units of 100 ns.
struct CpuTimes {
    std::uint64_t nProcess = 0;  // kernel and user time of the process, 0 when it was not listed
    std::uint64_t nSystem = 0;   // kernel (with idle) and user time of all processors
};

// The share of the whole machine in percent between two moments; false when no time passed on the processors. A
// process missing from one of the two lists gives a huge share, which counts as a breach.
bool CpuUsageBetween(const CpuTimes& first, const CpuTimes& second, double& usage);
