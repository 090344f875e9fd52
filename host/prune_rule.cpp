#include "host/prune_rule.h"

InstanceFate JudgeInstance(const InstanceParamMap& records, const std::string& strServiceId, InstanceParam& param) {
    if (!GetInstanceParamFrom(records, strServiceId, param)) {
        return InstanceFate::EraseUnknown;
    }
    return IsInstanceFinished(param) ? InstanceFate::EraseFinished : InstanceFate::Keep;
}
