// The record of one caller's texts, and what runs on it: the open and poll requests, and the status probe.
#pragma once

#include <string>

#include "open/app_open_info.h"

// Its operations keep no state here and may run on any thread.
class WxMiniProgramService {
  public:
    // Fills info from a JSON text. False, and info as it was, when text is no JSON object. No field is required. A
    // value that cannot be converted throws Json::LogicError, which nothing catches.
    static bool ParseAppOpenInfo(const std::string& text, AppOpenInfo& info);

    // Opens what text asks for and writes the result word. Always false: callers judge by result alone. An empty
    // result means that there is nothing to answer.
    bool OpenApp(const std::string& text, std::string& result);

    // Asks how a started open stands and writes the result word. True when the open has reached its end and is
    // forgotten; false when the caller should ask again or there is nothing to wait for.
    bool OpenMiniAppSuccessfully(const std::string& text, std::string& result, bool bLastCall);

    // What is installed and logged in on this machine, as a JSON text. The same goes into the user's registry. The
    // three status operations are in service/status_edge.cpp.
    void GetWxAppStatus(std::string& result);

    // The same with the identity pair beside it, under the envelope and URL-escaped; empty when the envelope fails. The
    // pair does not go into the registry.
    void GetWxAppStatusEncrypt(std::string& result);

    // Refreshes the registry alone.
    void UpdatezoltStatus();

    std::string m_strConfig;    // JSON text of the channel, UTF-8
    std::wstring m_strSdkPath;  // folder under which the SDK libraries lie
    std::wstring m_strMark;
};
