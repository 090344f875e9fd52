#include "service/instance_param.h"

void SetInstanceParamIn(InstanceParamMap& table, const std::string& strServiceId, const InstanceParamChange& change) {
    if (strServiceId.empty()) {
        return;
    }
    const auto [entry, inserted] = table.try_emplace(strServiceId);
    InstanceParam& param = entry->second;
    if (inserted) {
        param.strServiceId = strServiceId;
        param.strPipeName = change.strPipeName;
        param.nInterval = 0;
        return;
    }
    if (!change.strPipeName.empty()) {
        param.strPipeName = change.strPipeName;
    }
    if (!change.strRunStatusParam.empty()) {
        param.strRunStatusParam = change.strRunStatusParam;
    }
    if (change.nInterval != kParamKeep) {
        param.nInterval = change.nInterval;
    }
    if (change.nTaskOp == kTaskAdd) {
        ++param.nDelayedTaskCount;
    } else if (change.nTaskOp == kTaskRemove) {
        --param.nDelayedTaskCount;
    }
    if (change.nDllOp == kDllGone) {
        param.bDLLWndExist = false;
    }
    if (change.nDestroyOp != kParamKeep) {
        param.bIsDelayedDestroy = change.nDestroyOp == kDestroyNow;
    }
}

bool GetInstanceParamFrom(const InstanceParamMap& table, const std::string& strServiceId, InstanceParam& param) {
    const auto entry = table.find(strServiceId);
    if (entry == table.end()) {
        return false;
    }
    param = entry->second;
    return true;
}

bool IsInstanceFinished(const InstanceParam& param) {
    return param.nDelayedTaskCount == 0 && (!param.bDLLWndExist || param.bIsDelayedDestroy);
}
