#include "service/watcher_threads.h"

#include <utility>

#include "foundation/json_text.h"
#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "service/delay_check.h"

void DelayCheckWndThread(IWatcherEdge& edge, IServiceHost& host, std::unique_ptr<InstanceParam> param,
                         const CSharedJson& question) {
    NXL_LOG(L"[%s(%d)] DelayCheckWndThread begin");
    if (param == nullptr) {
        NXL_LOG(L"[%s(%d)] Failed to get instance parameters");
        return;
    }
    const std::int32_t nInterval = param->nInterval;
    const std::string& strServiceId = param->strServiceId;
    NXL_LOG(L"[%s(%d)]DelayCheckWndThread strServiceId = %s, interval %d", Utf8ToUtf16(strServiceId).c_str(),
            nInterval);
    if (nInterval <= 0) {
        NXL_LOG(L"[%s(%d)] Invalid interval, exiting thread");
        return;
    }

    std::string strResult;
    CDelayCheckSchedule schedule(nInterval);
    do {
        if (!edge.Wait(kDelayCheckPeriodMs)) {
            return;
        }
        const bool bLastCall = schedule.IsLastCall();
        host.OpenMiniAppSuccessfullyByServiceId(strServiceId, question, strResult, bLastCall, edge);
        if (edge.StopRequested()) {
            return;
        }
        NXL_LOG(L"[%s(%d)] print strResult=%s, bLastCall = %s", Utf8ToUtf16(strResult).c_str(),
                bLastCall ? L"1" : L"0");
    } while (!IsOpenSuccess(strResult) && schedule.Next());

    const Json::Value& root = question.Value();
    if (root.type() != Json::objectValue) {
        NXL_LOG(L"[%s(%d)] Failed to parse RunStatusParam JSON");
        return;
    }
    const bool bSuccess = IsOpenSuccess(strResult);
    if (const Json::Value* urls = SelectLogUrls(root, bSuccess)) {
        for (const Json::Value& element : *urls) {
            if (edge.StopRequested()) {
                return;
            }
            const std::wstring strUrl = Utf8ToUtf16(JsonToText(element));
            if (bSuccess) {
                NXL_LOG(L"[%s(%d)] successLog url=%s", strUrl.c_str());
            } else {
                NXL_LOG(L"[%s(%d)] errorLog url=%s", strUrl.c_str());
            }
            if (!strUrl.empty()) {
                edge.Fetch(strUrl);
            }
        }
    }
    if (!host.SetInstanceParam(strServiceId, {.nTaskOp = kTaskRemove}, edge)) {
        return;
    }
    NXL_LOG(L"[%s(%d)] DelayCheckWndThread end");
}

void CheckzoltDLLThread(IWatcherEdge& edge, IServiceHost& host, const std::string& serviceId) {
    NXL_LOG(L"[%s(%d)] CheckzoltDLLThread begin");
    if (serviceId.empty()) {
        NXL_LOG(L"[%s(%d)] Invalid service ID");
        return;
    }
    InstanceParam param;
    if (!host.GetInstanceParam(serviceId, param)) {
        NXL_LOG(L"[%s(%d)] Failed to get instance parameters for service ID: %s", Utf8ToUtf16(serviceId).c_str());
        return;
    }
    const std::wstring strPipeName = std::move(param.strPipeName);
    for (;;) {
        if (!edge.Wait(kPipeWatchPeriodMs)) {
            return;
        }
        const bool bExists = edge.DoesNamedPipeExist(strPipeName);
        if (edge.StopRequested()) {
            return;
        }
        if (!bExists) {
            break;
        }
        NXL_LOG(L"[%s(%d)] but %s pipe exist, do not quit process", strPipeName.c_str());
    }
    NXL_LOG(L"[%s(%d)] %s pipe not exist, quit process ", strPipeName.c_str());
    if (!host.SetInstanceParam(serviceId, {.nDllOp = kDllGone}, edge)) {
        return;
    }
    // There is no name before the equals sign: readers of the log know the line like this.
    NXL_LOG(L"[%s(%d)] CheckzoltDLLThread end,     = %s", Utf8ToUtf16(serviceId).c_str());
}

void DelayedDestroyThread(IWatcherEdge& edge, IServiceHost& host, const std::string& serviceId) {
    NXL_LOG(L"[%s(%d)] DelayedDestroyThread begin");
    if (serviceId.empty()) {
        NXL_LOG(L"[%s(%d)] Invalid service ID");
        return;
    }
    InstanceParam param;
    if (!host.GetInstanceParam(serviceId, param)) {
        NXL_LOG(L"[%s(%d)] Failed to get instance parameters for service ID: %s", Utf8ToUtf16(serviceId).c_str());
        return;
    }
    NXL_LOG(L"[%s(%d)] DelayedDestroy strServiceId = %s, nInterval = %d", Utf8ToUtf16(serviceId).c_str(),
            param.nInterval);
    if (!edge.Wait(static_cast<std::uint32_t>(param.nInterval))) {
        return;
    }
    if (!host.SetInstanceParam(serviceId, {.nDestroyOp = kDestroyNow}, edge)) {
        return;
    }
    NXL_LOG(L"[%s(%d)] DelayedDestroyThread end, strServiceId = %s", Utf8ToUtf16(serviceId).c_str());
}

std::uint32_t HttpResponseCallback(std::uint32_t status, const void* data, std::uint32_t /*size*/, void* /*context*/) {
    if (data == nullptr) {
        NXL_LOG(L"[%s(%d)]HttpResponseCallback: lpRetData is NULL");
        return 1;
    }
    NXL_LOG(L"[%s(%d)]HttpResponseCallback: dwStatus=%d", status);
    return 0;
}
