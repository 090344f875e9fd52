#include "nexctl/log/log_prune.h"

#include "nexctl/helpers/helper_list.h"

namespace {

constexpr std::uint64_t kTicksPerSecond = 10000000;

}  // namespace

std::vector<PrunedLog> LogsToPrune(const std::vector<LogFile>& files, const PruneRule& rule, std::uint64_t now) {
    std::vector<PrunedLog> pruned;
    for (const LogFile& file : files) {
        if (file.bRunning) {
            continue;
        }
        std::string why;
        if (rule.nWrittenBefore && file.nWrittenAt < *rule.nWrittenBefore) {
            const std::uint64_t ticks = now > file.nWrittenAt ? now - file.nWrittenAt : 0;
            why = "last written " + AgeText(ticks / kTicksPerSecond) + " ago";
        }
        if (rule.nLargerThan && file.nBytes > *rule.nLargerThan) {
            why += (why.empty() ? "of " : ", of ") + SizeText(file.nBytes);
        }
        if (!why.empty()) {
            pruned.push_back({file, why});
        }
    }
    return pruned;
}

std::string SizeText(std::uint64_t bytes) {
    constexpr std::uint64_t kKilobyte = 1024;
    constexpr std::uint64_t kMegabyte = 1024 * kKilobyte;
    const auto rounded = [&](std::uint64_t unit) { return std::to_string(bytes / unit + (bytes % unit != 0 ? 1 : 0)); };
    return bytes < kKilobyte   ? std::to_string(bytes) + " bytes"
           : bytes < kMegabyte ? rounded(kKilobyte) + " KB"
                               : rounded(kMegabyte) + " MB";
}
