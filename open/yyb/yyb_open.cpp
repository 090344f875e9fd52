// Opening an applet through the YYB SDK, and asking for the state of that open.
#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "open/yyb/yyb_api.h"
#include "settings.h"
#include "support/http/beacons.h"

namespace YYB_API_CLIENT {

namespace {

const wchar_t kInstallUrl[] = L"https://" NEXLET_INSTALL_STATISTICS_HOST L"/stats/yybinst";
const wchar_t kInstallBeacon[] = L"https://" NEXLET_STATISTICS_HOST L"/static/a/1663.9650.gif";

}  // namespace

void CYybApi::OpenWidthYybSDK(const std::string& yybParam, const std::string& appId, const std::string& taskId,
                              bool bAllowInstall, std::string& result) {
    CAutoLock lock(&m_lockOpen);
    result = "0";
    NXL_LOG(L"[%s(%d)] enter open yyb");
    if (!InitYybApi()) {
        result = "InitYybApi error";
        NXL_LOG(L"[%s(%d)] init yyb error");
        return;
    }
    const auto launch = [sdk = Sdk(), &yybParam] {
        return sdk.m_pLaunchApplet(yybParam.c_str(), static_cast<std::int32_t>(yybParam.size()));
    };
    if (CheckPcyyb()) {
        // Stored before the launch: a report inside it finds the task. A launch that fails leaves it there, and its
        // poll says "Loading" until a report comes or a window is found: callers rely on it. Held by
        // AFailedLaunchIsStoredAllTheSame.
        m_tasks.Store(taskId, {appId, yybParam, {}});
        result = launch() == 0 ? "1" : "0";
        NXL_LOG(L"[%s(%d)] end open yyb result=%s", Utf8ToUtf16(result).c_str());
        return;
    }
    if (!bAllowInstall) {
        result = "uninstalled";
        return;
    }
    NXL_LOG(L"[%s(%d)] install yyb");
    const std::int32_t launched = launch();
    const DWORD error = GetLastError();
    ReportYYBInstWithMID(kInstallUrl);
    ReportStaticWithMIDImp(kInstallBeacon, false);
    if (launched != 0) {
        NXL_LOG(L"[%s(%d)] LaunchApplet error %d", error);
    }
    // Stored after the launch: a report on this thread inside it finds nothing. Held by
    // AReportInsideAnInstallingLaunchFindsNoTask.
    m_tasks.Store(taskId, {appId, yybParam, {}});
    result = "install";
}

bool CYybApi::OpenProtocolTimeOut(const std::string& wndname, const std::string& taskId, std::string& result,
                                  std::uint32_t mon_wndexists, bool bLastCall) {
    CAutoLock lock(&m_lockOpen);
    result = "0";
    NXL_LOG(L"[%s(%d)] bLastCall = %s", bLastCall ? L"1" : L"0");
    if (taskId.empty()) {
        result = "OpenProtocolTimeOut type yyb lack param";
        return false;
    }
    const auto windowExists = [&wndname] { return FindWindowW(nullptr, Utf8ToUtf16(wndname).c_str()) != nullptr; };
    switch (m_tasks.Poll(taskId, mon_wndexists == 1, bLastCall, windowExists, result)) {
        case YybPoll::Unknown:
        case YybPoll::Waiting:
            return false;
        case YybPoll::Answered:
            return true;
        case YybPoll::Erased:
            NXL_LOG(L"[%s(%d)] erase %s", Utf8ToUtf16(taskId).c_str());
            return true;
    }
    return false;
}

}  // namespace YYB_API_CLIENT
