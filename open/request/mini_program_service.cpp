#include "open/request/mini_program_service.h"

#include "open/probes/install_probes.h"
#include "open/request/open_request.h"
#include "open/request/system_pic_start.h"
#include "open/wx_client/wx_client.h"
#include "open/wx_sdk/wx_api.h"
#include "open/yyb/yyb_api.h"

namespace {

using MINI_API_CLIENT::CWxApi;
using YYB_API_CLIENT::CYybApi;

// The routes of this machine.
class CMachineRoutes final : public IOpenRoutes {
  public:
    bool IsSystemPicStart() override { return WXMINI_PROGRAM_COMMON::IsSystemPicStart(); }

    void OpenWithWeChat(const AppOpenInfo& info, std::string& result) override {
        WX_CLIENT::OpenWithWeChat(info, result);
    }
    bool PollWeChat(const OpenPollInfo& info, std::string& result, bool bLastCall) override {
        return WX_CLIENT::OpenProtocolTimeOut(info.wndname, info.taskId, result, bLastCall);
    }

    bool IsWxMiniProgramInstalled() override { return ::IsWxMiniProgramInstalled(); }
    bool InitWxApi() override { return CWxApi::GetInstance().InitWxApi(); }
    void OpenWithWxSDK(const AppOpenInfo& info, std::string& result) override {
        CWxApi::GetInstance().OpenWithWxSDK(info.appId.c_str(), info.appPath.c_str(), info.taskId.c_str(), result);
    }
    void SetLastTaskId(const std::string& taskId) override { CWxApi::GetInstance().SetLastTaskId(taskId); }
    bool PollWxSDK(const OpenPollInfo& info, std::string& result) override {
        return CWxApi::GetInstance().OpenProtocolTimeOut(info.taskId, result);
    }

    void OpenWidthYybSDK(const AppOpenInfo& info, bool bAllowInstall, std::string& result) override {
        CYybApi::GetInstance().OpenWidthYybSDK(info.yybParam, info.appId, info.taskId, bAllowInstall, result);
    }
    bool PollYyb(const OpenPollInfo& info, std::string& result, bool bLastCall) override {
        return CYybApi::GetInstance().OpenProtocolTimeOut(info.wndname, info.taskId, result, info.mon_wndexists,
                                                          bLastCall);
    }
};

}  // namespace

bool WxMiniProgramService::OpenApp(const Json::Value& open, std::string& result) {
    CMachineRoutes routes;
    DecideOpen(open, routes, result);
    return false;
}

bool WxMiniProgramService::OpenMiniAppSuccessfully(const Json::Value& question, std::string& result, bool bLastCall) {
    OpenPollInfo info;
    return OpenMiniAppSuccessfully(ParseOpenPollInfo(question, info) ? &info : nullptr, result, bLastCall);
}

bool WxMiniProgramService::OpenMiniAppSuccessfully(const OpenPollInfo* pInfo, std::string& result, bool bLastCall) {
    CMachineRoutes routes;
    return DecideOpenPoll(pInfo, routes, result, bLastCall);
}
