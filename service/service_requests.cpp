// The requests of an instance. A refusal is a line in the log and no reply; the caller times out.
#include <optional>
#include <utility>

#include "foundation/json_text.h"
#include "foundation/log.h"
#include "foundation/shared_json.h"
#include "foundation/text_helpers.h"
#include "ipc/protocol/envelope.h"
#include "ipc/protocol/request_table.h"
#include "open/request/mini_program_service.h"
#include "open/yyb/yyb_api.h"
#include "service/request_body.h"
#include "service/service_instance.h"
#include "service/watcher_edge.h"
#include "support/envelope/rsa_envelope.h"

bool WxMiniProgramServiceEx::Accept(const wchar_t* operation, const Request& request) {
    switch (CheckContent(*FindRequest(request.nType), request.content)) {
        case ContentStatus::Ok:
            return true;
        case ContentStatus::ParseError:
            NXL_LOG_AS(operation, L"[%s(%d)] parse error");
            return false;
        case ContentStatus::NotContainP1:
            NXL_LOG_AS(operation, L"[%s(%d)] not contain p1");
            return false;
        default:
            return false;
    }
}

void WxMiniProgramServiceEx::GetWxAppStatus(Request& request) {
    if (!Accept(NXL_LOG_NAME, request)) {
        return;
    }
    std::string strResult;
    GetService()->GetWxAppStatus(strResult);
    request.content["result"] = strResult;
    Reply(NXL_LOG_NAME, request);
}

void WxMiniProgramServiceEx::GetWxAppStatusEncrypt(Request& request) {
    if (!Accept(NXL_LOG_NAME, request)) {
        return;
    }
    std::string strResult;
    GetService()->GetWxAppStatusEncrypt(strResult);
    request.content["result"] = strResult;
    Reply(NXL_LOG_NAME, request);
}

void WxMiniProgramServiceEx::GetWxAppQIMEI(Request& request) {
    if (!Accept(NXL_LOG_NAME, request)) {
        return;
    }
    std::string strQ32;
    std::string strQ36;
    YYB_API_CLIENT::CYybApi::GetInstance().GetQimeiPair(strQ32, strQ36);
    request.content["strQ32"] = strQ32;
    request.content["strQ36"] = strQ36;
    Reply(NXL_LOG_NAME, request);
}

void WxMiniProgramServiceEx::GetRSAEncrypt(Request& request) {
    if (!Accept(NXL_LOG_NAME, request)) {
        return;
    }
    // An envelope that fails is an empty text, and the reply is sent with it.
    request.content["result"] = UrlEscapeString(RsaEncryptToString(TextToEncrypt(request.content["p1"])));
    Reply(NXL_LOG_NAME, request);
}

void WxMiniProgramServiceEx::OpenMiniApp(Request& request) {
    if (!Accept(NXL_LOG_NAME, request)) {
        return;
    }
    std::string strResult;
    const bool bReturned = GetService()->OpenApp(request.content["p1"], strResult);
    AddOpenResult(request.content, strResult, bReturned);
    Reply(NXL_LOG_NAME, request);
}

void WxMiniProgramServiceEx::OpenMiniAppSuccessfully(Request& request) {
    if (!Accept(NXL_LOG_NAME, request)) {
        return;
    }
    const Json::Value& question = TakeOpenMiniAppSuccessfully(request.content);
    std::string strResult;
    const bool bReturned = GetService()->OpenMiniAppSuccessfully(question, strResult, true);
    AddOpenResult(request.content, strResult, bReturned);
    Reply(NXL_LOG_NAME, request);
}

void WxMiniProgramServiceEx::DelayCheckWndStatus(Request& request) {
    NXL_LOG(L"[%s(%d)] enter DelayCheckWndStatus param=%s", Utf8ToUtf16(request.ContentText()).c_str());
    {
        const CAutoLock guard(&m_lockFields);
        m_strRunStatusParam = {};
    }
    if (!Accept(NXL_LOG_NAME, request)) {
        return;
    }
    const CSharedJson question(JsonToText(request.content["p1"]));
    InstanceParam param;
    param.strServiceId = m_strServiceId;
    param.strRunStatusParam = question.Text();
    const std::optional<std::int32_t> interval = DelayInterval(question.Value());
    {
        const CAutoLock guard(&m_lockFields);
        m_strRunStatusParam = param.strRunStatusParam;
        m_nDelayInterval = interval.value_or(m_nDelayInterval);
        param.nInterval = m_nDelayInterval;
    }
    // Written for first requests too, also when it is empty.
    NXL_LOG(L"[%s(%d)]error second DelayCheckWndStatus");
    if (!m_pHost->SetInstanceParam(
            m_strServiceId, {.strRunStatusParam = question.Text(), .nInterval = param.nInterval, .nTaskOp = kTaskAdd},
            *m_pWatchers)) {
        return;
    }
    // A running check is left alone: each request has a thread of its own.
    CKernelHandle hThread = StartWatcher([param = std::move(param), question](IWatcherEdge& edge, IServiceHost& host) {
        DelayCheckWndThread(edge, host, std::make_unique<InstanceParam>(param), question);
    });
    if (!hThread) {
        // The thread that was counted will never run.
        m_pHost->SetInstanceParam(m_strServiceId, {.nTaskOp = kTaskRemove}, *m_pWatchers);
        return;
    }
    const CAutoLock guard(&m_lockFields);
    m_hDelayCheckThread = std::move(hThread);
}

void WxMiniProgramServiceEx::DestroyWxServiceItme(Request& request) {
    m_pHost->DestroyWxServiceItme(request, *m_pWatchers);
}

void WxMiniProgramServiceEx::Reply(const wchar_t* operation, Request& request) {
    const int nType = ReplyTypeOf(request.nType);
    const std::string strMessage = WriteEnvelope(nType, std::move(request.content));
    if (strMessage.empty()) {
        NXL_LOG_AS(operation, L"[%s(%d)] Generated result data is empty");
        return;
    }
    SendIPCMessage(nType, strMessage);
}
