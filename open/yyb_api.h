// The binding of the YYB SDK.
#pragma once

#include <cstdint>
#include <string>

namespace YYB_API_CLIENT {

class CYybApi {
  public:
    // The one binding of the process, made at first use and never destroyed.
    static CYybApi& GetInstance();

    // Opens an applet. Not built yet: result becomes empty, which means that there is no answer.
    void OpenWidthYybSDK(const std::string& yybParam, const std::string& appId, const std::string& taskId,
                         bool bAllowInstall, std::string& result);

    // Asks how the open of taskId stands. No open can have been started yet, so every task is unknown: "0", or the
    // error word when taskId is empty. False: nothing has ended.
    bool OpenProtocolTimeOut(const std::string& wndname, const std::string& taskId, std::string& result,
                             std::uint32_t mon_wndexists, bool bLastCall);
};

}  // namespace YYB_API_CLIENT
