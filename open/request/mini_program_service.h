// The record of one caller's texts, and what runs on it: the open and poll requests, and the status probe.
#pragma once

#include <string>

#include <json/value.h>

#include "open/record/app_open_info.h"

struct OpenPollInfo;

// Its operations keep no state here and may run on any thread.
class WxMiniProgramService {
  public:
    // Fills info from an open request. False, and info as it was, when it is not an object. No field is required. A
    // value that cannot be converted throws Json::LogicError, which nothing catches.
    static bool ParseAppOpenInfo(const Json::Value& open, AppOpenInfo& info);

    // Opens what the request asks for and writes the result word. Always false: callers judge by result alone.
    bool OpenApp(const Json::Value& open, std::string& result);

    // Asks for the state of a started open and writes the result word. True when the open has reached its end and is
    // forgotten; false when the caller should ask again or there is nothing to wait for.
    bool OpenMiniAppSuccessfully(const Json::Value& question, std::string& result, bool bLastCall);
    // The same for a question that was read before; null when it was not an object.
    bool OpenMiniAppSuccessfully(const OpenPollInfo* pInfo, std::string& result, bool bLastCall);

    // What is installed and logged in on this machine, as a JSON text. It is also written into the user's registry. The
    // three status operations are in status_edge.cpp.
    void GetWxAppStatus(std::string& result);

    // The same with the identity pair beside it, under the envelope and URL-escaped; empty when the envelope fails. The
    // pair is not written into the registry.
    void GetWxAppStatusEncrypt(std::string& result);

    // Refreshes the registry alone.
    void UpdatezoltStatus();

    std::string m_strConfig;    // JSON text of the channel, UTF-8
    std::wstring m_strSdkPath;  // folder with the folders of the SDKs
    std::wstring m_strMark;
};
