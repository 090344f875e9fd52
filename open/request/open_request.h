// How an open request and a poll are read and decided. IOpenRoutes does what needs Windows.
#pragma once

#include <cstdint>
#include <string>

#include <json/value.h>

#include "open/record/app_open_info.h"

// The answer-side request of a poll.
struct OpenPollInfo {
    std::string type;
    std::string wndname;
    std::string taskId;
    std::string from;
    std::uint32_t mon_wndexists = 0;  // 1 asks the YYB route to watch for the window wndname
};

// Fills info from a question; false when it is not an object. A mon_wndexists that cannot be converted throws
// Json::LogicError, which nothing catches.
bool ParseOpenPollInfo(const Json::Value& question, OpenPollInfo& info);

// The targets of an open request, and the questions that decide between them. The operations named after routes
// write result; a poll is true when the open has ended and is forgotten.
class IOpenRoutes {
  public:
    virtual bool IsSystemPicStart() = 0;

    virtual void OpenWithWeChat(const AppOpenInfo& info, std::string& result) = 0;
    virtual bool PollWeChat(const OpenPollInfo& info, std::string& result, bool bLastCall) = 0;

    virtual bool IsWxMiniProgramInstalled() = 0;
    virtual bool InitWxApi() = 0;
    virtual void OpenWithWxSDK(const AppOpenInfo& info, std::string& result) = 0;
    virtual void SetLastTaskId(const std::string& taskId) = 0;
    virtual bool PollWxSDK(const OpenPollInfo& info, std::string& result) = 0;

    virtual void OpenWidthYybSDK(const AppOpenInfo& info, bool bAllowInstall, std::string& result) = 0;
    virtual bool PollYyb(const OpenPollInfo& info, std::string& result, bool bLastCall) = 0;

  protected:
    ~IOpenRoutes() = default;
};

// Refuses the request with a result word or sends it down the route of its type.
void DecideOpen(const Json::Value& open, IOpenRoutes& routes, std::string& result);

// Refuses the poll with a result word or asks the route of its type. A null pointer means a question that is not an
// object. True when that open has ended.
bool DecideOpenPoll(const OpenPollInfo* pInfo, IOpenRoutes& routes, std::string& result, bool bLastCall);
