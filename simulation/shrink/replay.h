// One run of a world as a file: what is in it, and what was chosen.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "simulation/kernel/choices.h"

namespace simulation {

struct Replay {
    std::string strWorld;
    std::uint64_t nSeed = 1;               // what is in the world
    std::uint64_t nSchedule = 1;           // the strategy, the places of points, the machine's flavour
    bool bDraws = true;                    // choices are drawn, as in a run by a seed; else those below are followed
    std::optional<std::uint64_t> nFaults;  // in place of what the seed says: one call in so many fails
    std::optional<std::uint64_t> nEdges;   // in place of what the schedule's seed says
    std::optional<std::uint64_t> memory;   // in place of what the seed says: one allocation in so many fails
    std::uint64_t nAllocation = 0;         // the allocation of this number fails, counted from 1; 0: none
    bool bForGood = false;                 // so do all after the first that fails
    std::set<std::string> off;             // parts that are left out
    std::vector<std::string> parts;        // those that are there
    Choices choices;
    std::string strReport;  // the failure, in words that are the same for every run that fails by it
};

// Lines of text: a word and what belongs to it.
std::string TextOf(const Replay& replay);
// Nothing when a line is not of the format.
std::optional<Replay> ReplayOf(const std::string& strText);

bool WriteReplay(const std::string& strFile, const Replay& replay);
std::optional<Replay> ReadReplay(const std::string& strFile);

// The failure that a run's error output tells; empty when it tells none.
std::string ReportOf(const std::string& strOutput);

}  // namespace simulation
