// Which logs "nexctl log prune" removes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "nexctl/log/log_choice.h"

struct PruneRule {
    std::optional<std::uint64_t> nWrittenBefore;  // a FILETIME
    std::optional<std::uint64_t> nLargerThan;     // bytes
};

struct PrunedLog {
    LogFile file;
    std::string strWhy;  // "last written 9 d 2 h ago", "of 61 MB", or both
};

// The logs that were written last before the time of the rule, and those that are larger than its size, in the order in
// which they came. The log of a process that runs is never among them. now is a FILETIME.
std::vector<PrunedLog> LogsToPrune(const std::vector<LogFile>& files, const PruneRule& rule, std::uint64_t now);

// "512 bytes", "12 KB", "61 MB", rounded up.
std::string SizeText(std::uint64_t bytes);
