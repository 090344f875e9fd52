#include "service/instance_param.h"

void SetInstanceParamIn(InstanceParamMap& table, const std::string& strServiceId, const std::wstring& strPipeName,
                        const std::string& strRunStatusParam, std::int32_t nInterval, std::int32_t nTaskOp,
                        std::int32_t nDllOp, std::int32_t nDestroyOp) {
    if (strServiceId.empty()) {
        return;
    }
    const auto [entry, inserted] = table.try_emplace(strServiceId);
    InstanceParam& param = entry->second;
    if (inserted) {
        param.strServiceId = strServiceId;
        param.strPipeName = strPipeName;
        param.nInterval = 0;
        return;
    }
    if (!strPipeName.empty()) {
        param.strPipeName = strPipeName;
    }
    if (!strRunStatusParam.empty()) {
        param.strRunStatusParam = strRunStatusParam;
    }
    if (nInterval != kParamKeep) {
        param.nInterval = nInterval;
    }
    if (nTaskOp == kTaskAdd) {
        ++param.nDelayedTaskCount;
    } else if (nTaskOp == kTaskRemove) {
        --param.nDelayedTaskCount;
    }
    if (nDllOp == kDllGone) {
        param.bDLLWndExist = false;
    }
    if (nDestroyOp != kParamKeep) {
        param.bIsDelayedDestroy = nDestroyOp == kDestroyNow;
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
