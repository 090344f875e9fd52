// How an open ended: asked of the instance, and told to the monitor program.
#include "host/helper_host.h"

#include <optional>

#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "host/monitor_notice.h"
#include "host/window_calls.h"
#include "open/request/mini_program_service.h"
#include "open/request/open_request.h"
#include "settings.h"
#include "support/http/beacons.h"

namespace {

constexpr wchar_t kMonitorWindowClass[] = L"QOvrinSafeMonClass";
constexpr ULONG_PTR kNoticeKind = 0x4D47534D;  // "MSGM" in memory order
constexpr UINT kMonitorWaitMs = 1000;

constexpr char kOpenSucceeded[] = "1";
// Helpers of other marks never reach the monitor.
constexpr wchar_t kMonitoredMark[] = L"ml";

}  // namespace

// notice: nothing when it cannot be written down, which fails like a notice that no monitor takes.
static bool SendTrayCopyData(const std::optional<std::string>& notice) {
    if (!notice) {
        NXL_LOG(L"[%s(%d)] send WD MSG failed");
        return false;
    }
    const HWND window = FindWindowW(kMonitorWindowClass, nullptr);
    if (window == nullptr) {
        NXL_LOG(L"[%s(%d)] send WD MSG failed");
        return false;
    }
    std::string bytes = *notice;
    COPYDATASTRUCT record = {};
    record.dwData = kNoticeKind;
    record.cbData = static_cast<DWORD>(bytes.size());
    record.lpData = bytes.data();
    DWORD_PTR reply = 0;  // what the monitor answers does not count
    if (GetWindowCalls().pfnSendMessageTimeout(window, WM_COPYDATA, /*wParam=*/0, reinterpret_cast<LPARAM>(&record),
                                               SMTO_NORMAL, kMonitorWaitMs, &reply) == 0) {
        NXL_LOG(L"[%s(%d)] send WD MSG failed");
        return false;
    }
    return true;
}

void CommzoltHelperS::OpenMiniAppSuccessfullyByServiceId(const std::string& strServiceId, const CSharedJson& question,
                                                         std::string& strResult, bool bLastCall,
                                                         const IStopToken& stop) {
    // Before the lock: the texts in it are as long as the caller made them.
    OpenPollInfo info;
    const bool read = ParseOpenPollInfo(question.Value(), info);
    {
        const CAutoLock lock(&m_lockInstance);
        if (stop.StopRequested()) {
            return;
        }
        const auto entry = m_mWxExInstance.find(strServiceId);
        if (entry != m_mWxExInstance.end()) {
            entry->second->GetService()->OpenMiniAppSuccessfully(read ? &info : nullptr, strResult, bLastCall);
        }
    }
    // Without the lock: the monitor may be slow.
    std::string referer;
    if (NotifyWDMonitorMsg(strResult, question, referer)) {
        NXL_LOG(L"[%s(%d)] send to WD success");
        ReportStaticWithMIDImp(
            L"https://" NEXLET_STATISTICS_HOST L"/static/a/1687.8948.gif?_referer=" + Utf8ToUtf16(referer),
            /*bHasQuery=*/true);
    }
}

bool CommzoltHelperS::NotifyWDMonitorMsg(const std::string& strResult, const CSharedJson& question,
                                         std::string& strReferer) {
    NXL_LOG(L"[%s(%d)] enter to NotifyWDMonitorMsg");
    const std::wstring mark = Mark();
    if (strResult != kOpenSucceeded || mark != kMonitoredMark) {
        NXL_LOG(L"[%s(%d)] strResult is not 1, strResult=%s, m_mark=%s", Utf8ToUtf16(strResult).c_str(), mark.c_str());
        return false;
    }
    bool sent = false;
    MonitorRequest request;
    switch (ReadMonitorRequest(question.Value(), request)) {
        case MonitorRequestStatus::BadText:
            break;
        case MonitorRequestStatus::NotShown:
            NXL_LOG(L"[%s(%d)] isWxPopShow is not 1");
            break;
        case MonitorRequestStatus::Ok:
            strReferer = request.strReferer;
            sent = SendTrayCopyData(request.bag.Serialize());
            break;
    }
    NXL_LOG(L"[%s(%d)] send WD MSG ret=%d", sent ? 1 : 0);
    return sent;
}
