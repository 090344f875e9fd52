#include "open/wx_client.h"

namespace WX_CLIENT {

void OpenWithWeChat(const AppOpenInfo& /*info*/, std::string& result) {
    result.clear();
}

bool OpenProtocolTimeOut(const std::string& wndname, const std::string& taskId, std::string& result,
                         bool /*bLastCall*/) {
    result = wndname.empty() || taskId.empty() ? "OpenProtocolTimeOut type weChat lack param" : "0";
    return false;
}

}  // namespace WX_CLIENT
