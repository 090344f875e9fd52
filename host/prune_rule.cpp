#include "host/prune_rule.h"

InstanceVerdict JudgeInstance(const InstanceParamMap& records, const std::string& strServiceId) {
    const auto entry = records.find(strServiceId);
    if (entry == records.end()) {
        return {InstanceFate::EraseUnknown, nullptr};
    }
    return {IsInstanceFinished(entry->second) ? InstanceFate::EraseFinished : InstanceFate::Keep, &entry->second};
}

std::uint32_t WaitThatIsLeft(std::uint32_t limitMs, std::uint64_t passedMs) {
    return passedMs < limitMs ? static_cast<std::uint32_t>(limitMs - passedMs) : 0;
}
