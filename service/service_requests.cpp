// The requests of an instance. A refusal is a line in the log and no reply; the caller times out.
#include <utility>

#include "foundation/json_text.h"
#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "ipc/envelope.h"
#include "open/mini_program_service.h"
#include "open/yyb_api.h"
#include "service/request_body.h"
#include "service/service_instance.h"
#include "service/watcher_edge.h"
#include "support/rsa_envelope.h"

void WxMiniProgramServiceEx::GetWxAppStatus(const std::string& strBody) {
    Json::Value root;
    if (!ParseRequestBody(strBody, root)) {
        NXL_LOG(L"[%s(%d)] parse error");
        return;
    }
    std::string strResult;
    GetService()->GetWxAppStatus(strResult);
    root["result"] = strResult;
    Reply(MessageType::S_MT_StatusReply, std::move(root));
}

void WxMiniProgramServiceEx::GetWxAppStatusEncrypt(const std::string& strBody) {
    Json::Value root;
    if (!ParseRequestBody(strBody, root)) {
        NXL_LOG(L"[%s(%d)] parse error");
        return;
    }
    std::string strResult;
    GetService()->GetWxAppStatusEncrypt(strResult);
    root["result"] = strResult;
    Reply(MessageType::S_MT_StatusEncryptReply, std::move(root));
}

void WxMiniProgramServiceEx::GetWxAppQIMEI(const std::string& strBody) {
    Json::Value root;
    if (!ParseRequestBody(strBody, root)) {
        NXL_LOG(L"[%s(%d)] parse error");
        return;
    }
    std::string strQ32;
    std::string strQ36;
    YYB_API_CLIENT::CYybApi::GetInstance().GetQimeiPair(strQ32, strQ36);
    root["strQ32"] = strQ32;
    root["strQ36"] = strQ36;
    Reply(MessageType::S_MT_QIMEIReply, std::move(root));
}

void WxMiniProgramServiceEx::GetRSAEncrypt(const std::string& strBody) {
    Json::Value root;
    const Json::Value* p1 = ParseRequestBody(strBody, root) ? FindJsonMember(root, "p1") : nullptr;
    if (p1 == nullptr) {
        NXL_LOG(L"[%s(%d)] parse error");
        return;
    }
    // An envelope that fails is an empty text, and the reply goes out with it.
    root["result"] = UrlEscapeString(RsaEncryptToString(TextToEncrypt(*p1)));
    Reply(MessageType::S_MT_RSAEncryptReply, std::move(root));
}

void WxMiniProgramServiceEx::OpenMiniApp(const std::string& strBody) {
    Json::Value root;
    if (!ParseRequestBody(strBody, root)) {
        NXL_LOG(L"[%s(%d)] parse error");
        return;
    }
    std::string strOpenText;
    if (!ReadOpenMiniApp(root, strOpenText)) {
        return;
    }
    std::string strResult;
    const bool bReturned = GetService()->OpenApp(strOpenText, strResult);
    AddOpenResult(root, strResult, bReturned);
    constexpr auto kType = static_cast<int>(MessageType::S_MT_OpenMiniAppReply);
    SendIPCMessage(kType, WriteEnvelope(kType, std::move(root)));
}

void WxMiniProgramServiceEx::OpenMiniAppSuccessfully(const std::string& strBody) {
    Json::Value root;
    if (!ParseRequestBody(strBody, root)) {
        NXL_LOG(L"[%s(%d)] parse error");
        return;
    }
    std::string strText;
    if (!TakeOpenMiniAppSuccessfully(root, strText)) {
        NXL_LOG(L"[%s(%d)] not contain p1");
        return;
    }
    std::string strResult;
    const bool bReturned = GetService()->OpenMiniAppSuccessfully(strText, strResult, true);
    AddOpenResult(root, strResult, bReturned);
    Reply(MessageType::S_MT_StatusReply, std::move(root));
}

void WxMiniProgramServiceEx::DelayCheckWndStatus(const std::string& strBody) {
    NXL_LOG(L"[%s(%d)] enter DelayCheckWndStatus param=%s", Utf8ToUtf16(strBody).c_str());
    {
        const CAutoLock guard(&m_lockFields);
        m_strRunStatusParam.clear();
    }
    Json::Value root;
    if (!ParseRequestBody(strBody, root)) {
        NXL_LOG(L"[%s(%d)] parse error");
        return;
    }
    const Json::Value* p1 = FindJsonMember(root, "p1");
    if (p1 == nullptr) {
        NXL_LOG(L"[%s(%d)] not contain p1");
        return;
    }
    InstanceParam param;
    param.strServiceId = m_strServiceId;
    param.strRunStatusParam = JsonToText(*p1);
    {
        const CAutoLock guard(&m_lockFields);
        m_strRunStatusParam = param.strRunStatusParam;
        m_nDelayInterval = DelayInterval(param.strRunStatusParam, m_nDelayInterval);
        param.nInterval = m_nDelayInterval;
    }
    // Written for first requests too, whatever it says.
    NXL_LOG(L"[%s(%d)]error second DelayCheckWndStatus");
    if (!m_pHost->SetInstanceParam(m_strServiceId, L"", param.strRunStatusParam, param.nInterval, kTaskAdd, kParamKeep,
                                   kParamKeep, *m_pWatchers)) {
        return;
    }
    // A running check is left alone: each request has a thread of its own.
    CKernelHandle hThread = StartWatcher([param = std::move(param)](IWatcherEdge& edge, IServiceHost& host) {
        DelayCheckWndThread(edge, host, std::make_unique<InstanceParam>(param));
    });
    if (!hThread) {
        // What was counted will never run.
        m_pHost->SetInstanceParam(m_strServiceId, L"", "", kParamKeep, kTaskRemove, kParamKeep, kParamKeep,
                                  *m_pWatchers);
        return;
    }
    const CAutoLock guard(&m_lockFields);
    m_hDelayCheckThread = std::move(hThread);
}

void WxMiniProgramServiceEx::DestroyWxServiceItme(const std::string& strBody) {
    m_pHost->DestroyWxServiceItme(strBody);
}

void WxMiniProgramServiceEx::Reply(MessageType type, Json::Value content) {
    const std::string strMessage = WriteEnvelope(static_cast<int>(type), std::move(content));
    if (strMessage.empty()) {
        NXL_LOG(L"[%s(%d)] Generated result data is empty");
        return;
    }
    SendIPCMessage(static_cast<int>(type), strMessage);
}
