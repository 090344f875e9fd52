// The way of a message: from the envelope to the handler, and from the handler to the instance.
#include "host/helper_host.h"

#include "foundation/json_text.h"
#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "host/message_window.h"
#include "host/request_rules.h"
#include "host/window_calls.h"
#include "ipc/protocol/dispatch.h"
#include "ipc/protocol/request_table.h"

int CommzoltHelperS::ReceiveIPCMessage(const unsigned char* data, int length) {
    const wchar_t* operation = NXL_LOG_NAME;
    Request request;
    if (!ReceiveRequest(operation, data, length, request)) {
        return 0;
    }
    if (request.nType == static_cast<int>(MessageType::S_MT_InitWxApp)) {
        NXL_LOG(L"[%s(%d)] receive MessageType::S_MT_InitWxApp");
        Init(Utf8ToUtf16(request.strCommandLine));
        return 1;
    }
    return DispatchRequest(operation, request, *this);
}

void CommzoltHelperS::DealWithMsg(std::int32_t type, const std::string& param) {
    NXL_LOG(L"[%s(%d)] DealWithMsg begin");
    if (type == static_cast<std::int32_t>(MessageType::S_MT_InitWxApp)) {
        NXL_LOG(L"[%s(%d)] type is MessageType::S_MT_InitWxApp");
        return;
    }
    if (IsDispatchedAtStart(type)) {
        ReceiveIPCMessage(reinterpret_cast<const unsigned char*>(param.c_str()), static_cast<int>(param.size()));
    }
    NXL_LOG(L"[%s(%d)] DealWithMsg end");
}

void CommzoltHelperS::GetWxAppStatus(Request& request) {
    NXL_LOG(L"[%s(%d)] enter GetWxAppStatus param=%s", Utf8ToUtf16(request.ContentText()).c_str());
    HandleRequest(NXL_LOG_NAME, request);
}

void CommzoltHelperS::GetWxAppStatusEncrypt(Request& request) {
    NXL_LOG(L"[%s(%d)] enter GetWxAppStatusEncrypt param=%s", Utf8ToUtf16(request.ContentText()).c_str());
    HandleRequest(NXL_LOG_NAME, request);
}

void CommzoltHelperS::GetWxAppQIMEI(Request& request) {
    NXL_LOG(L"[%s(%d)] enter GetWxAppQIMEI param=%s", Utf8ToUtf16(request.ContentText()).c_str());
    HandleRequest(NXL_LOG_NAME, request);
}

void CommzoltHelperS::GetRSAEncrypt(Request& request) {
    NXL_LOG(L"[%s(%d)] enter GetRSAEncrypt param=%s", Utf8ToUtf16(request.ContentText()).c_str());
    HandleRequest(NXL_LOG_NAME, request);
}

void CommzoltHelperS::OpenMiniApp(Request& request) {
    NXL_LOG(L"[%s(%d)] enter OpenMiniApp param=%s", Utf8ToUtf16(request.ContentText()).c_str());
    HandleRequest(NXL_LOG_NAME, request);
}

void CommzoltHelperS::OpenMiniAppSuccessfully(Request& request) {
    NXL_LOG(L"[%s(%d)] enter OpenMiniAppSuccessfully param=%s", Utf8ToUtf16(request.ContentText()).c_str());
    HandleRequest(NXL_LOG_NAME, request);
}

void CommzoltHelperS::DelayCheckWndStatus(Request& request) {
    NXL_LOG(L"[%s(%d)] enter DelayCheckWndStatus param=%s", Utf8ToUtf16(request.ContentText()).c_str());
    HandleRequest(NXL_LOG_NAME, request);
}

void CommzoltHelperS::HandleRequest(const wchar_t* operation, Request& request) {
    const RequestRules rules = RulesOfRequest(static_cast<MessageType>(request.nType));
    if (rules.bReArmsExitTimer) {
        ReArmExitTimer();
    }
    if (rules.bStartsStatusTimer) {
        StartStatusTimer(operation);
    }
    std::string serviceId;
    switch (ReadRequestServiceId(request.content, rules.bNeedsP1, serviceId)) {
        case ContentStatus::ParseError:
            NXL_LOG_AS(operation, L"[%s(%d)] parse error");
            return;
        case ContentStatus::NotContainP1:
            NXL_LOG_AS(operation, L"[%s(%d)] not contain p1");
            return;
        case ContentStatus::Silent:
            return;
        case ContentStatus::Ok:
            break;
    }
    const CAutoLock lock(&m_lockInstance);
    IRequestHandlers& instance = *FindOrCreateInstance(serviceId);
    (instance.*FindRequest(request.nType)->pHandler)(request);
}

void CommzoltHelperS::DestroyWxServiceItme(Request& request) {
    DestroyWxServiceItme(request, CNeverStops());
}

void CommzoltHelperS::DestroyWxServiceItme(const Request& request, const IStopToken& stop) {
    NXL_LOG(L"[%s(%d)] DestroyWxServiceItme begin");
    std::string serviceId;
    switch (ReadRequestServiceId(request.content, /*bNeedsP1=*/false, serviceId)) {
        case ContentStatus::ParseError:
            NXL_LOG(L"[%s(%d)] parse error");
            return;
        case ContentStatus::Ok:
            break;
        default:
            return;
    }
    {
        const CAutoLock lock(&m_lockInstance);
        if (stop.StopRequested()) {
            return;
        }
        const auto entry = m_mWxExInstance.find(serviceId);
        if (entry == m_mWxExInstance.end()) {
            return;
        }
        entry->second->DelayedDestroy();
    }
    NXL_LOG(L"[%s(%d)] DestroyWxServiceItme end");
}

// The system may refuse a timer call for a window of another thread. A timer that could not be killed runs on as it
// was.
void CommzoltHelperS::ReArmExitTimer() {
    const HWND window = g_hWnd.load();
    const WindowCalls& calls = GetWindowCalls();
    if (calls.pfnKillTimer(window, g_nExitTimerId.load())) {
        g_nExitTimerId.store(calls.pfnSetTimer(window, TIMER_ID_CHECK_TIMEOUT, kCheckTimeoutMs, nullptr));
    }
}

void CommzoltHelperS::StartStatusTimer(const wchar_t* operation) {
    if (g_nStatusTimerId.load() == 0) {
        NXL_LOG_AS(operation, L"[%s(%d)] Automatic recording zolt status timer begin");
        g_nStatusTimerId.store(
            GetWindowCalls().pfnSetTimer(g_hWnd.load(), TIMER_ID_UPDATE_STATUS, kUpdateStatusMs, nullptr));
    }
}
