// A binding of the YYB SDK for each test, with the stand-in SDK below a folder and a registry of its own.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "open/yyb/yyb_api.h"
#include "tests/support/log_capture.h"
#include "tests/support/private_registry.h"
#include "tests/support/stand_in_process.h"
#include "tests/support/stand_in_yyb.h"
#include "tests/support/temp_folder.h"
#include "tests/unit/open/wx_sdk/stand_in_sdk.h"

using Calls = std::vector<std::string>;

inline const char kYybConfig[] = R"({"channel_id":"12","product":"p","from":"f"})";

class YybFixture : public testing::Test {
  protected:
    YybFixture() {
        TakeBeacons();
        m_api.InitData(kYybConfig, m_folder.Path().wstring(), L"other");
    }
    // Ends the SDK's threads before its library is deleted.
    ~YybFixture() override { m_api.Uninit(); }

    // The word of an open.
    std::string Open(const char* appId, const char* taskId, bool bAllowInstall = false) {
        std::string result = "untouched";
        m_api.OpenWidthYybSDK("param", appId, taskId, bAllowInstall, result);
        return result;
    }
    // The word of a poll, with a mark after it when the task has ended.
    std::string Poll(const std::string& taskId, const std::string& wndname = "", std::uint32_t mon_wndexists = 0,
                     bool bLastCall = false) {
        std::string result = "untouched";
        return m_api.OpenProtocolTimeOut(wndname, taskId, result, mon_wndexists, bLastCall) ? result + " ended"
                                                                                            : result;
    }

    CTempFolder m_folder;
    CPrivateRegistry m_registry;
    CStandInYyb m_sdk{m_folder.Path() / L"yybsdk"};
    YYB_API_CLIENT::CYybApi m_api;
};
