// A failing run, shortened by runs in child processes.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "simulation/shrink/replay.h"

namespace simulation {

// Repeats the run that is in the file, shortens it for at most so many seconds, and writes the shorter run to the file.
// Tells its progress and what came out on the standard output. False when the run does not fail again, or the file
// cannot be written.
//
// runAndKeep runs one in a process of its own, which ends with 0 when the run does not fail, and otherwise first writes
// what was chosen to the file that it is given.
using RunAndKeep = std::function<void(const Replay& run, const std::string& strFile)>;
bool ShrinkFile(const std::string& strFile, std::uint64_t nSeconds, const RunAndKeep& runAndKeep);

}  // namespace simulation
