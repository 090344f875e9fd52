// What a service instance and its watcher threads need of the host. Implemented by the host, which outlives them.
#pragma once

#include <string>

#include "service/instance_param.h"

// Every operation may be called on any thread.
class IServiceHost {
  public:
    virtual bool GetInstanceParam(const std::string& strServiceId, InstanceParam& param) = 0;
    virtual void SetInstanceParam(const std::string& strServiceId, const std::wstring& strPipeName,
                                  const std::string& strRunStatusParam, std::int32_t nInterval, std::int32_t nTaskOp,
                                  std::int32_t nDllOp, std::int32_t nDestroyOp) = 0;
    // The handler of the exit request. Takes the instance lock.
    virtual void DestroyWxServiceItme(const std::string& strBody) = 0;
    // One poll of a started open; fills strResult. Takes the instance lock.
    virtual void OpenMiniAppSuccessfullyByServiceId(const std::string& strServiceId, const std::string& strText,
                                                    std::string& strResult, bool bLastCall) = 0;

  protected:
    ~IServiceHost() = default;
};
