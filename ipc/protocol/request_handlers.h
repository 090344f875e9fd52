// What answers the requests of a caller. Implemented by the service instance.
#pragma once

#include "ipc/protocol/request.h"

// Each takes one request and may turn its content into that of the reply. Called on the worker thread of the connection
// that the request came on, one at a time.
class IRequestHandlers {
  public:
    virtual void GetWxAppStatus(Request& request) = 0;
    virtual void GetWxAppStatusEncrypt(Request& request) = 0;
    virtual void GetWxAppQIMEI(Request& request) = 0;
    virtual void GetRSAEncrypt(Request& request) = 0;
    virtual void OpenMiniApp(Request& request) = 0;
    virtual void OpenMiniAppSuccessfully(Request& request) = 0;
    virtual void DelayCheckWndStatus(Request& request) = 0;
    // The host handles type 9; the instance hands it on.
    virtual void DestroyWxServiceItme(Request& request) = 0;

  protected:
    ~IRequestHandlers() = default;
};
