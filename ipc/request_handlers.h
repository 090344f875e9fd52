// What an instance's pipe calls when a request arrives. Implemented by the service instance.
#pragma once

#include <string>

// Each takes the body text of one request. Called on the connection's worker thread, one at a time.
class IRequestHandlers {
  public:
    virtual void GetWxAppStatus(const std::string& strBody) = 0;
    virtual void GetWxAppStatusEncrypt(const std::string& strBody) = 0;
    virtual void GetWxAppQIMEI(const std::string& strBody) = 0;
    virtual void GetRSAEncrypt(const std::string& strBody) = 0;
    virtual void OpenMiniApp(const std::string& strBody) = 0;
    virtual void OpenMiniAppSuccessfully(const std::string& strBody) = 0;
    virtual void DelayCheckWndStatus(const std::string& strBody) = 0;
    // Type 9 is the host's business; the instance hands it on.
    virtual void DestroyWxServiceItme(const std::string& strBody) = 0;

  protected:
    ~IRequestHandlers() = default;
};
