#include "open/yyb_api.h"

namespace YYB_API_CLIENT {

CYybApi& CYybApi::GetInstance() {
    static auto& api = *new CYybApi;
    return api;
}

void CYybApi::OpenWidthYybSDK(const std::string& /*yybParam*/, const std::string& /*appId*/,
                              const std::string& /*taskId*/, bool /*bAllowInstall*/, std::string& result) {
    result.clear();
}

bool CYybApi::OpenProtocolTimeOut(const std::string& /*wndname*/, const std::string& taskId, std::string& result,
                                  std::uint32_t /*mon_wndexists*/, bool /*bLastCall*/) {
    result = taskId.empty() ? "OpenProtocolTimeOut type yyb lack param" : "0";
    return false;
}

}  // namespace YYB_API_CLIENT
