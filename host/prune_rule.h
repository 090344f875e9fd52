// When an instance of the table has had its day.
#pragma once

#include <string>

#include "service/instance_param.h"

enum class InstanceFate {
    Keep,
    EraseUnknown,   // no record: the instance goes without a word
    EraseFinished,  // no task is running and the caller left: the instance and its record go
};

// param gets the record, when there is one. The caller holds the lock of records.
InstanceFate JudgeInstance(const InstanceParamMap& records, const std::string& strServiceId, InstanceParam& param);
