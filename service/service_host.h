// What a service instance and its watcher threads need of the host. Implemented by the host, which outlives them.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/shared_json.h"
#include "ipc/protocol/request.h"
#include "service/instance_param.h"
#include "service/stop_token.h"

// Every operation may be called on any thread.
//
// Watcher threads and requests can outlast their instance for a moment, and a new instance may by then have the
// same id. The operations that change something therefore take the token of the instance they act for and look at it
// with their lock held: when it says stop they do nothing at all.
class IServiceHost {
  public:
    virtual bool GetInstanceParam(const std::string& strServiceId, InstanceParam& param) = 0;
    // SetInstanceParamIn under the parameter lock; stop is looked at under it. False when stopped: nothing was changed.
    virtual bool SetInstanceParam(const std::string& strServiceId, const InstanceParamChange& change,
                                  const IStopToken& stop) = 0;
    // The handler of the exit request. Takes the instance lock and looks at stop under it: when stopped, nothing is
    // destroyed.
    virtual void DestroyWxServiceItme(const Request& request, const IStopToken& stop) = 0;
    // One poll of a started open; fills strResult. Takes the instance lock and looks at stop under it: when stopped, it
    // asks neither the open nor the monitor.
    virtual void OpenMiniAppSuccessfullyByServiceId(const std::string& strServiceId, const CSharedJson& question,
                                                    std::string& strResult, bool bLastCall, const IStopToken& stop) = 0;

  protected:
    ~IServiceHost() = default;
};
