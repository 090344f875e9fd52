// How an open ended: asked of the instance, and told to the monitor program.
#include "host/helper_host.h"

#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "host/monitor_notice.h"
#include "open/mini_program_service.h"
#include "settings.h"
#include "support/beacons.h"

namespace {

constexpr wchar_t kMonitorWindowClass[] = L"QOvrinSafeMonClass";
constexpr ULONG_PTR kNoticeKind = 0x4D47534D;  // "MSGM" in memory order
constexpr UINT kMonitorWaitMs = 1000;

constexpr char kOpenSucceeded[] = "1";
// Helpers of other marks never reach the monitor.
constexpr wchar_t kMonitoredMark[] = L"ml";

}  // namespace

static bool SendTrayCopyData(const std::string& notice) {
    const HWND window = FindWindowW(kMonitorWindowClass, nullptr);
    if (window == nullptr) {
        NXL_LOG(L"[%s(%d)] send WD MSG failed");
        return false;
    }
    std::string bytes = notice;
    COPYDATASTRUCT record = {};
    record.dwData = kNoticeKind;
    record.cbData = static_cast<DWORD>(bytes.size());
    record.lpData = bytes.data();
    DWORD_PTR reply = 0;  // what the monitor answers does not count
    if (SendMessageTimeoutW(window, WM_COPYDATA, /*wParam=*/0, reinterpret_cast<LPARAM>(&record), SMTO_NORMAL,
                            kMonitorWaitMs, &reply) == 0) {
        NXL_LOG(L"[%s(%d)] send WD MSG failed");
        return false;
    }
    return true;
}

void CommzoltHelperS::OpenMiniAppSuccessfullyByServiceId(const std::string& strServiceId, const std::string& strText,
                                                         std::string& strResult, bool bLastCall,
                                                         const IStopToken& stop) {
    {
        const CAutoLock lock(&m_lockInstance);
        if (stop.StopRequested()) {
            return;
        }
        const auto entry = m_mWxExInstance.find(strServiceId);
        if (entry != m_mWxExInstance.end()) {
            entry->second->GetService()->OpenMiniAppSuccessfully(strText, strResult, bLastCall);
        }
    }
    // Without the lock: the monitor may take its time.
    std::string referer;
    if (NotifyWDMonitorMsg(strResult, strText, referer)) {
        NXL_LOG(L"[%s(%d)] send to WD success");
        ReportStaticWithMIDImp(
            L"https://" NEXLET_STATISTICS_HOST L"/static/a/1687.8948.gif?_referer=" + Utf8ToUtf16(referer),
            /*bHasQuery=*/true);
    }
}

bool CommzoltHelperS::NotifyWDMonitorMsg(const std::string& strResult, const std::string& strText,
                                         std::string& strReferer) {
    NXL_LOG(L"[%s(%d)] enter to NotifyWDMonitorMsg");
    const std::wstring mark = Mark();
    if (strResult != kOpenSucceeded || mark != kMonitoredMark) {
        NXL_LOG(L"[%s(%d)] strResult is not 1, strResult=%s, m_mark=%s", Utf8ToUtf16(strResult).c_str(), mark.c_str());
        return false;
    }
    bool sent = false;
    MonitorRequest request;
    switch (ReadMonitorRequest(strText, request)) {
        case MonitorRequestStatus::BadText:
            break;
        case MonitorRequestStatus::NotShown:
            NXL_LOG(L"[%s(%d)] isWxPopShow is not 1");
            break;
        case MonitorRequestStatus::Ok:
            strReferer = request.strReferer;
            if (const auto notice = request.bag.Serialize()) {
                sent = SendTrayCopyData(*notice);
            }
            break;
    }
    NXL_LOG(L"[%s(%d)] send WD MSG ret=%d", sent ? 1 : 0);
    return sent;
}
