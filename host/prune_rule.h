// When an instance of the table is erased.
#pragma once

#include <cstdint>
#include <string>

#include "service/instance_param.h"

enum class InstanceFate {
    Keep,
    EraseUnknown,   // no record: the instance is erased without a log line
    EraseFinished,  // no task is running and the caller left: the instance and its record go
};

struct InstanceVerdict {
    InstanceFate fate;
    // The record itself, or null when there is none. Nothing of it is copied: the walk comes every 10 seconds, with
    // locks held, and a record holds texts of the caller.
    const InstanceParam* pParam;
};

// The caller holds the lock of records.
InstanceVerdict JudgeInstance(const InstanceParamMap& records, const std::string& strServiceId);

// How long a walk that may wait limitMs in all, and has taken passedMs so far, may still wait.
std::uint32_t WaitThatIsLeft(std::uint32_t limitMs, std::uint64_t passedMs);
