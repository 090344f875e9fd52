// The way of a message: from the envelope to the handler, and from the handler to the instance.
#include "host/helper_host.h"

#include "foundation/json_text.h"
#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "host/message_window.h"
#include "host/request_rules.h"
#include "ipc/envelope.h"

int CommzoltHelperS::ReceiveIPCMessage(const unsigned char* data, int length) {
    NXL_LOG(L"[%s(%d)] ReceiveIPCMessage begin");
    if (length <= 0) {
        NXL_LOG(L"[%s(%d)] nlength is 0");
        return 0;
    }
    // Up to the first NUL: the length serves for the test alone.
    const std::string message = reinterpret_cast<const char*>(data);
    NXL_LOG(L"[%s(%d)] ReceiveIPCMessage szMessage=%s", Utf8ToUtf16(message).c_str());

    Envelope envelope;
    switch (ReadEnvelope(message, envelope)) {
        case EnvelopeStatus::ParseError:
            NXL_LOG(L"[%s(%d)] parse error");
            return 0;
        case EnvelopeStatus::NotObject:
            NXL_LOG(L"[%s(%d)] jvRoot is error");
            return 0;
        case EnvelopeStatus::NoMessageType:
            NXL_LOG(L"[%s(%d)] jvRoot not message_type");
            return 0;
        case EnvelopeStatus::NoContent:
            NXL_LOG(L"[%s(%d)] jvRoot not content");
            return 0;
        case EnvelopeStatus::Ok:
            break;
    }

    const std::string& body = envelope.strBody;
    switch (static_cast<MessageType>(envelope.nType)) {
        case MessageType::S_MT_InitWxApp:
            NXL_LOG(L"[%s(%d)] receive MessageType::S_MT_InitWxApp");
            Init(Utf8ToUtf16(body));
            return 1;
        case MessageType::S_MT_GetWxAppStatus:
            NXL_LOG(L"[%s(%d)] receive MessageType::S_MT_GetWxAppStatus");
            GetWxAppStatus(body);
            return 1;
        case MessageType::S_MT_GetWxAppStatusEncrypt:
            NXL_LOG(L"[%s(%d)] receive  MessageType::S_MT_GetWxAppStatusEncrypt");
            GetWxAppStatusEncrypt(body);
            return 1;
        case MessageType::S_MT_GetWxAppQIMEI:
            NXL_LOG(L"[%s(%d)] receive MessageType::S_MT_GetWxAppQIMEI");
            GetWxAppQIMEI(body);
            return 1;
        case MessageType::S_MT_GetRSAEncrypt:
            NXL_LOG(L"[%s(%d)] receive MessageType::S_MT_GetRSAEncrypt");
            GetRSAEncrypt(body);
            return 1;
        case MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN:
            NXL_LOG(L"[%s(%d)] receive WM_COPY_DATA_MSG_IPC_GET_OPEN");
            OpenMiniApp(body);
            return 1;
        case MessageType::S_MT_OpenMiniAppSuccessfully:
            NXL_LOG(L"[%s(%d)] receive MessageType::S_MT_OpenMiniAppSuccessfully");
            OpenMiniAppSuccessfully(body);
            return 1;
        case MessageType::S_MT_DelayCheckWndStatus:
            NXL_LOG(L"[%s(%d)] receive MessageType::S_MT_DelayCheckWndStatus");
            DelayCheckWndStatus(body);
            return 1;
        case MessageType::S_MT_ExitExeProcess:
            NXL_LOG(L"[%s(%d)] receive MessageType::S_MT_ExitExeProcess");
            DestroyWxServiceItme(body);
            return 1;
        default:
            NXL_LOG(L"[%s(%d)] receive extension msg");
            return 0;
    }
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

void CommzoltHelperS::GetWxAppStatus(const std::string& strBody) {
    NXL_LOG(L"[%s(%d)] enter GetWxAppStatus param=%s", Utf8ToUtf16(strBody).c_str());
    HandleRequest(MessageType::S_MT_GetWxAppStatus, strBody, &WxMiniProgramServiceEx::GetWxAppStatus);
}

void CommzoltHelperS::GetWxAppStatusEncrypt(const std::string& strBody) {
    NXL_LOG(L"[%s(%d)] enter GetWxAppStatusEncrypt param=%s", Utf8ToUtf16(strBody).c_str());
    HandleRequest(MessageType::S_MT_GetWxAppStatusEncrypt, strBody, &WxMiniProgramServiceEx::GetWxAppStatusEncrypt);
}

void CommzoltHelperS::GetWxAppQIMEI(const std::string& strBody) {
    NXL_LOG(L"[%s(%d)] enter GetWxAppQIMEI param=%s", Utf8ToUtf16(strBody).c_str());
    HandleRequest(MessageType::S_MT_GetWxAppQIMEI, strBody, &WxMiniProgramServiceEx::GetWxAppQIMEI);
}

void CommzoltHelperS::GetRSAEncrypt(const std::string& strBody) {
    NXL_LOG(L"[%s(%d)] enter GetRSAEncrypt param=%s", Utf8ToUtf16(strBody).c_str());
    HandleRequest(MessageType::S_MT_GetRSAEncrypt, strBody, &WxMiniProgramServiceEx::GetRSAEncrypt);
}

void CommzoltHelperS::OpenMiniApp(const std::string& strBody) {
    NXL_LOG(L"[%s(%d)] enter OpenMiniApp param=%s", Utf8ToUtf16(strBody).c_str());
    HandleRequest(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN, strBody, &WxMiniProgramServiceEx::OpenMiniApp);
}

void CommzoltHelperS::OpenMiniAppSuccessfully(const std::string& strBody) {
    NXL_LOG(L"[%s(%d)] enter OpenMiniAppSuccessfully param=%s", Utf8ToUtf16(strBody).c_str());
    HandleRequest(MessageType::S_MT_OpenMiniAppSuccessfully, strBody, &WxMiniProgramServiceEx::OpenMiniAppSuccessfully);
}

void CommzoltHelperS::DelayCheckWndStatus(const std::string& strBody) {
    NXL_LOG(L"[%s(%d)] enter DelayCheckWndStatus param=%s", Utf8ToUtf16(strBody).c_str());
    HandleRequest(MessageType::S_MT_DelayCheckWndStatus, strBody, &WxMiniProgramServiceEx::DelayCheckWndStatus);
}

void CommzoltHelperS::HandleRequest(MessageType type, const std::string& strBody, Handler handler) {
    const RequestRules rules = RulesOfRequest(type);
    if (rules.bReArmsExitTimer) {
        ReArmExitTimer();
    }
    if (rules.bStartsStatusTimer) {
        StartStatusTimer();
    }
    std::string serviceId;
    switch (ReadRequestServiceId(strBody, rules.bNeedsP1, serviceId)) {
        case RequestStatus::ParseError:
            NXL_LOG(L"[%s(%d)] parse error");
            return;
        case RequestStatus::NoP1:
            NXL_LOG(L"[%s(%d)] not contain p1");
            return;
        case RequestStatus::NoServiceId:
            return;
        case RequestStatus::Ok:
            break;
    }
    const CAutoLock lock(&m_lockInstance);
    (FindOrCreateInstance(serviceId).get()->*handler)(strBody);
}

void CommzoltHelperS::DestroyWxServiceItme(const std::string& strBody) {
    NXL_LOG(L"[%s(%d)] DestroyWxServiceItme begin");
    std::string serviceId;
    switch (ReadRequestServiceId(strBody, /*bNeedsP1=*/false, serviceId)) {
        case RequestStatus::ParseError:
            NXL_LOG(L"[%s(%d)] parse error");
            return;
        case RequestStatus::Ok:
            break;
        default:
            return;
    }
    {
        const CAutoLock lock(&m_lockInstance);
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
    if (KillTimer(window, g_nExitTimerId.load())) {
        g_nExitTimerId.store(SetTimer(window, TIMER_ID_CHECK_TIMEOUT, kCheckTimeoutMs, nullptr));
    }
}

void CommzoltHelperS::StartStatusTimer() {
    if (g_nStatusTimerId.load() == 0) {
        NXL_LOG(L"[%s(%d)] Automatic recording zolt status timer begin");
        g_nStatusTimerId.store(SetTimer(g_hWnd.load(), TIMER_ID_UPDATE_STATUS, kUpdateStatusMs, nullptr));
    }
}
