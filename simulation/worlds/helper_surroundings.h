// What else is on the helper's machine: a server, a monitor program, and how busy the processors are.
#pragma once

#include <cstdint>

#include "simulation/kernel/random.h"

namespace simulation {

enum class ServerKind { Absent, Refuses, Breaks, Answers, AnswersNonsense };
enum class MonitorKind { Absent, Answers, Hangs };

struct Surroundings {
    ServerKind server = ServerKind::Absent;
    std::uint32_t nSlowServerMs = 0;
    MonitorKind monitor = MonitorKind::Absent;
    bool bProcessorTimes = false;  // the system tells them
    bool bBurns = false;           // the helper uses all of one processor
    std::uint32_t nBurnsForS = 0;
};

Surroundings DrawSurroundings(CRandom& random);
// The calling thread belongs to the world's process.
void InstallSurroundings(const Surroundings& surroundings);
void EndMonitor();

}  // namespace simulation
