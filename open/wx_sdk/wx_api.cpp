#include "open/wx_sdk/wx_api.h"

#include <utility>

#include "foundation/late_shlwapi.h"
#include "foundation/log.h"
#include "foundation/scoped_flag.h"
#include "foundation/windows_headers.h"
#include "settings.h"
#include "support/http/beacons.h"

namespace MINI_API_CLIENT {

namespace {

const wchar_t kLibraryName[] = L"\\ocean.dll";
const wchar_t kLoadFailureUrl[] = L"https://" NEXLET_STATISTICS_HOST L"/static/a/1663.4439.gif?_referer=";

// The binding whose delegate the SDK was given last: the SDK passes nothing back to tell one from another.
std::atomic<CWxApi*> g_pBound{nullptr};

void OnIgnoredEvent() noexcept {}

}  // namespace

// An answer allocates nothing, so nothing is thrown.
void OnOceanOpenResult(std::uint32_t id, std::int32_t status) noexcept {
    if (CWxApi* api = g_pBound.load(std::memory_order_acquire)) {
        api->OnOpenResult(id, status);
    }
}

CWxApi& CWxApi::GetInstance() {
    // Lives to the end of the process: the SDK may still answer while static objects are destroyed.
    static auto& api = *new CWxApi;
    return api;
}

CWxApi::CWxApi() = default;

CWxApi::~CWxApi() {
    CWxApi* self = this;
    g_pBound.compare_exchange_strong(self, nullptr);
}

void CWxApi::InitData(const std::string& config, const std::wstring& sdkPath, const std::wstring& hostTag) {
    m_host.Take(NXL_LOG_NAME, config, sdkPath, hostTag);
}

std::wstring CWxApi::WxSdkFolder() const {
    const SdkHostData host = m_host.Data();
    const std::wstring folder = host.m_bMlHost ? host.m_strSdkPath : host.m_strSdkPath + L"\\wxsdk";
    return Late::PathFileExistsW(folder.c_str()) ? folder : std::wstring();
}

bool CWxApi::IsWxSDKOk(const std::wstring& folder) {
    const std::wstring strDllSdk = folder + kLibraryName;
    NXL_LOG(L"----IsWxSDKOk strDllSdk = %s", strDllSdk.c_str());
    return Late::PathFileExistsW(strDllSdk.c_str()) != FALSE;
}

bool CWxApi::ResolveOcean(HMODULE module, OceanTable& table) {
    return ResolveFunction(module, "ocean_init", table.m_pfnOceanInit) &&
           ResolveFunction(module, "ocean_check_installation", table.m_pfnOceanCheckInstallation) &&
           ResolveFunction(module, "ocean_open_miniprogram", table.m_pfnOceanOpenMiniprogram) &&
           ResolveFunction(module, "ocean_download_web_installer", table.m_pfnOceanDownloadWebInstaller) &&
           ResolveFunction(module, "ocean_install", table.m_pfnOceanInstall) &&
           ResolveFunction(module, "ocean_uninit", table.m_pfnOceanUninit);
}

bool CWxApi::InitWxApi() {
    if (IsInit()) {
        return true;
    }
    CAutoLock lock(&m_lockInit);
    if (IsInit() || m_bStarting) {
        return IsInit();
    }
    const CScopedFlag starting(m_bStarting);
    const std::wstring strWxSdk = WxSdkFolder();
    NXL_LOG(L"[%s(%d)] enter InitWxApi strWxSdk=%s", strWxSdk.c_str());
    if (!IsWxSDKOk(strWxSdk)) {
        NXL_LOG(L"[%s(%d)] wx sdk Is not ok");
        return false;
    }
    CModule module(LoadLibraryW((strWxSdk + kLibraryName).c_str()));
    const DWORD error = GetLastError();
    NXL_LOG(L"[%s(%d)] load status=%d", error);
    if (!module) {
        ReportStaticWithMIDImp(kLoadFailureUrl + std::to_wstring(error), true);
        return false;
    }
    OceanTable table;
    const bool bWhole = ResolveOcean(module.get(), table);
    m_modules.Keep(std::move(module));
    if (!bWhole) {
        return false;
    }
    m_ocean = table;
    auto delegate = std::make_unique<OceanDelegate>();
    delegate->onEvent0 = &OnIgnoredEvent;
    delegate->onEvent1 = &OnIgnoredEvent;
    delegate->onOpenResult = &OnOceanOpenResult;
    m_pDelegate = std::move(delegate);
    g_pBound.store(this, std::memory_order_release);
    m_ocean.m_pfnOceanInit("official", m_pDelegate.get());
    CAutoLock lockApi(&m_lockApi);
    m_tasks.Clear();
    m_bInit.store(true, std::memory_order_release);
    return true;
}

void CWxApi::OpenWithWxSDK(const char* appId, const char* appPath, const char* taskId, std::string& result) {
    CAutoLock lock(&m_lockApi);
    result = "0";
    if (!IsInit() || m_ocean.m_pfnOceanOpenMiniprogram == nullptr) {
        return;
    }
    const std::uint32_t id = m_ocean.m_pfnOceanOpenMiniprogram(appId, appPath);
    // A refused open is stored as well, under the id 0: its poll says "Loading" until the next refused open takes its
    // place. Callers rely on it. Held by ARefusedOpenIsStoredUnderIdZero.
    m_tasks.Store(id, {taskId, appId, appPath, {}});
    result = id != 0 ? "1" : "0";
}

bool CWxApi::OpenProtocolTimeOut(const std::string& taskId, std::string& result) {
    CAutoLock lock(&m_lockApi);
    result = "0";
    if (taskId.empty()) {
        result = "OpenProtocolTimeOut type miniApp lack param";
        return false;
    }
    switch (m_tasks.Take(taskId, result)) {
        case WxTaskState::Unknown:
            return false;
        case WxTaskState::Waiting:
            result = "Loading";
            return false;
        case WxTaskState::Answered:
            return true;
    }
    return false;
}

void CWxApi::SetLastTaskId(const std::string& taskId) {
    m_tasks.SetLastTaskId(taskId);
}

void CWxApi::OnOpenResult(std::uint32_t id, std::int32_t status) noexcept {
    m_tasks.Answer(id, status);
}

void CWxApi::Uninit() {
    if (IsInit() && m_ocean.m_pfnOceanUninit != nullptr && !m_bUninit.exchange(true)) {
        m_ocean.m_pfnOceanUninit();
    }
}

}  // namespace MINI_API_CLIENT
