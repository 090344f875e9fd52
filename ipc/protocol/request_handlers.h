// What answers the requests of a caller. Implemented by the service instance, and by the host, which finds the
// instance.
#pragma once

#include "ipc/protocol/request.h"

// The operations, in the order of the requests: DO(name) for each. The host handles type 9; the instance hands it on.
#define NXL_REQUEST_HANDLERS(DO) \
    DO(GetWxAppStatus)           \
    DO(GetWxAppStatusEncrypt)    \
    DO(GetWxAppQIMEI)            \
    DO(GetRSAEncrypt)            \
    DO(OpenMiniApp)              \
    DO(OpenMiniAppSuccessfully)  \
    DO(DelayCheckWndStatus)      \
    DO(DestroyWxServiceItme)

// The declaration of one operation, in the interface and in a class that implements it.
#define NXL_ABSTRACT_HANDLER(name) virtual void name(Request& request) = 0;
#define NXL_HANDLER(name) void name(Request& request) override;

// Each takes one request and may turn its content into that of the reply. Called on the worker thread of the connection
// that the request came on, one at a time.
class IRequestHandlers {
  public:
    NXL_REQUEST_HANDLERS(NXL_ABSTRACT_HANDLER)

  protected:
    ~IRequestHandlers() = default;
};
