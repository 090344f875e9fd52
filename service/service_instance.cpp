// Life of an instance: its names, its connection, its threads and its end. The requests are in service_requests.cpp.
#include "service/service_instance.h"

#include <utility>

#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "ipc/protocol/pipe_callbacks.h"
#include "ipc/transport/iocp_client.h"
#include "ipc/transport/pipe_names.h"
#include "open/request/mini_program_service.h"
#include "open/wx_sdk/wx_api.h"
#include "open/yyb/yyb_api.h"
#include "service/watcher_edge.h"

std::shared_ptr<WxMiniProgramServiceEx> WxMiniProgramServiceEx::Create(std::string strServiceId, IServiceHost* pHost) {
    return std::make_shared<WxMiniProgramServiceEx>(std::move(strServiceId), pHost);
}

WxMiniProgramServiceEx::WxMiniProgramServiceEx(std::string strServiceId, IServiceHost* pHost)
    : m_pHost(pHost), m_strServiceId(std::move(strServiceId)), m_pWatchers(std::make_shared<CWatcherEdge>()) {}

WxMiniProgramServiceEx::~WxMiniProgramServiceEx() {
    Destroy();
}

void WxMiniProgramServiceEx::Init(const std::string& config, const std::wstring& sdkPath, const std::wstring& mark,
                                  bool bHoldWatch) {
    if (m_bInit.load() || m_bDestroyed.load()) {
        return;
    }
    WxMiniProgramService* pService = GetService();
    pService->m_strConfig = config;
    pService->m_strSdkPath = sdkPath;
    pService->m_strMark = mark;
    // One binding of each SDK serves the whole process: the values of the latest instance hold.
    YYB_API_CLIENT::CYybApi::GetInstance().InitData(config, sdkPath, mark);
    MINI_API_CLIENT::CWxApi::GetInstance().InitData(config, sdkPath, mark);
    m_strMark = mark;
    m_strPipeName = ServicePipeName(m_strMark, m_strServiceId);
    m_strEventName = ServiceEventName(m_strMark, m_strServiceId);
    NXL_LOG(L"[%s(%d)]Init m_strMark=%s, m_strPipeName=%s, m_strEventName=%s", m_strMark.c_str(), m_strPipeName.c_str(),
            m_strEventName.c_str());
    m_pHost->SetInstanceParam(m_strServiceId, {.strPipeName = m_strPipeName}, *m_pWatchers);
    if (!HasCheckDllThread()) {
        CKernelHandle hThread =
            StartWatcher([strServiceId = m_strServiceId](
                             IWatcherEdge& edge, IServiceHost& host) { CheckzoltDLLThread(edge, host, strServiceId); },
                         bHoldWatch);
        if (!hThread) {
            NXL_LOG(L"[%s(%d)]Failed to create thread for CheckzoltDLL");
        }
        const CAutoLock guard(&m_lockFields);
        m_bWatchHeld = bHoldWatch && hThread;
        m_hCheckDllThread = std::move(hThread);
    }
    m_bInit.store(true);
    Connect();
}

void WxMiniProgramServiceEx::ReleaseWatch() {
    const CAutoLock guard(&m_lockFields);
    if (m_bWatchHeld) {
        m_bWatchHeld = false;
        ResumeThread(m_hCheckDllThread.get());
    }
}

void WxMiniProgramServiceEx::Connect() {
    const std::shared_ptr<CIOCP_Client> pClient = CIOCP_Client::Create();
    const auto pPipeCallback = std::make_shared<CPipeClientCallback>();
    pPipeCallback->SetClient(pClient);
    pClient->SetCallback(pPipeCallback);
    pClient->SetNames(m_strPipeName, m_strEventName);
    pClient->SetOwner(weak_from_this());
    {
        const CAutoLock guard(&m_lockFields);
        m_pClient = pClient;
        m_pPipeCallback = pPipeCallback;
    }
    if (!pClient->CreateClientContext() || !pClient->StartThread()) {
        NXL_LOG_AS(L"WxMiniProgramServiceEx::Init", L"[%s(%d)]Failed to connect to server!");
        return;
    }
    // Before the first read: the worker may have a request at once, and its reply finds the connection ready.
    m_bIpcReady.store(true);
    pClient->PostRead();
}

WxMiniProgramService* WxMiniProgramServiceEx::GetService() {
    const CAutoLock guard(&m_lockFields);
    if (m_pService == nullptr) {
        m_pService = std::make_unique<WxMiniProgramService>();
    }
    return m_pService.get();
}

int WxMiniProgramServiceEx::SendIPCMessage(int nType, const std::string& strMessage) {
    NXL_LOG(L"[%s(%d)] SendIPCMessage begin");
    NXL_LOG(L"[%s(%d)] Type=%d, Message=%s", nType, Utf8ToUtf16(strMessage).c_str());
    std::shared_ptr<CIOCP_Client> pClient;
    if (m_bInit.load() && m_bIpcReady.load()) {
        const CAutoLock guard(&m_lockFields);
        pClient = m_pClient;
    }
    if (pClient != nullptr) {
        if (pClient->Send(strMessage) != 0) {
            return 1;
        }
        NXL_LOG(L"[%s(%d)] InvokeFunc failed");
        return -1;
    }
    NXL_LOG(L"[%s(%d)] service ipc not init");
    NXL_LOG(L"[%s(%d)] SendIPCMessage end");
    return -1;
}

void WxMiniProgramServiceEx::DelayedDestroy() {
    NXL_LOG(L"[%s(%d)] DelayedDestroy begin");
    m_pHost->SetInstanceParam(m_strServiceId, {.nInterval = DelayIntervalNow()}, *m_pWatchers);
    CKernelHandle hThread = StartWatcher([strServiceId = m_strServiceId](IWatcherEdge& edge, IServiceHost& host) {
        DelayedDestroyThread(edge, host, strServiceId);
    });
    {
        const CAutoLock guard(&m_lockFields);
        m_hDelayedDestroyThread = std::move(hThread);
    }
    NXL_LOG(L"[%s(%d)] DelayedDestroy end");
}

void WxMiniProgramServiceEx::Destroy(std::uint32_t nWaitMs) {
    if (m_bDestroyed.exchange(true)) {
        return;
    }
    NXL_LOG_AS(L"WxMiniProgramServiceEx::~WxMiniProgramServiceEx", L"[%s(%d)]begin destruct strServiceId = %s ",
               Utf8ToUtf16(m_strServiceId).c_str());
    m_pWatchers->RequestStop();
    ReleaseWatch();
    std::shared_ptr<CIOCP_Client> pClient;
    {
        const CAutoLock guard(&m_lockFields);
        pClient = m_pClient;
    }
    if (m_bIpcReady.load() && pClient != nullptr) {
        pClient->End();
        pClient->WaitForThread(nWaitMs);
    }
    m_bIpcReady.store(false);
    m_bInit.store(false);
    const CAutoLock guard(&m_lockFields);
    m_hDelayedDestroyThread.reset();
    m_hCheckDllThread.reset();
    m_hDelayCheckThread.reset();
    m_pClient.reset();
    m_pPipeCallback.reset();
}

CKernelHandle WxMiniProgramServiceEx::StartWatcher(std::function<void(IWatcherEdge&, IServiceHost&)> work, bool bHeld) {
    return g_pfnLaunchWatcher(
        [pEdge = m_pWatchers, pHost = m_pHost, work = std::move(work)] {
            work(*pEdge, *pHost);
            return 0U;
        },
        bHeld);
}

bool WxMiniProgramServiceEx::HasCheckDllThread() {
    const CAutoLock guard(&m_lockFields);
    return m_hCheckDllThread.valid();
}

std::int32_t WxMiniProgramServiceEx::DelayIntervalNow() {
    const CAutoLock guard(&m_lockFields);
    return m_nDelayInterval;
}

CSharedText WxMiniProgramServiceEx::RunStatusParam() {
    const CAutoLock guard(&m_lockFields);
    return m_strRunStatusParam;
}
