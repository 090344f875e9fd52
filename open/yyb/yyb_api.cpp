// Finding, loading and starting the YYB SDK, and the login of its user. The opens are in yyb_open.cpp, the identity
// pair in yyb_qimei.cpp.
#include "open/yyb/yyb_api.h"

#include <ctime>
#include <set>
#include <utility>

#include "foundation/late_library.h"
#include "foundation/log.h"
#include "foundation/scoped_flag.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "open/probes/login_probes.h"
#include "open/yyb/yyb_rules.h"
#include "open/yyb/yyb_sdk_files.h"
#include "support/system/system_queries.h"

namespace YYB_API_CLIENT {

namespace {

const wchar_t kLibraryName[] = L"\\pcyyb_sdk_dll.dll";

// The binding that the SDK reports to: the SDK passes nothing back to tell one from another.
std::atomic<CYybApi*> g_pBound{nullptr};

}  // namespace

// A report that cannot be converted ends the process; it must not unwind through the SDK first.
void StateChangeThunk(const char* text, std::int32_t code) noexcept {
    const CYybApi* api = g_pBound.load(std::memory_order_acquire);
    if (api != nullptr && api->m_fnStateChange) {
        api->m_fnStateChange(text, code);
    }
}

// The machine as the login rule sees it. Without bMayInit the SDK is taken as it is.
class CYybApi::CLoginFacts final : public IYybLoginFacts {
  public:
    CLoginFacts(CYybApi& api, bool bMayInit) : m_api(api), m_bMayInit(bMayInit) {}

    void Prepare() override {
        if (m_bMayInit) {
            m_api.InitYybApi();
        }
    }
    std::uint32_t SecondsNow() override { return static_cast<std::uint32_t>(std::time(nullptr)); }
    bool CheckPcyyb() override { return m_api.CheckPcyyb(); }
    bool IsRunning() override {
        std::set<std::uint32_t> ids;
        return FindProcessesByName(L"Androws.exe", ids) || FindProcessesByName(L"AndrowsStore.exe", ids);
    }
    bool HasAppletLaunchSuccess() override {
        const SdkTable sdk = m_api.Sdk();
        return sdk.m_pHasAppletLaunchSuccess != nullptr && sdk.m_pHasAppletLaunchSuccess() != 0;
    }
    LoginCache ReadCache() override {
        LoginCache cache;
        ReadYybLoginCache(cache);
        return cache;
    }
    void WriteCache(const LoginCache& cache) override { WriteYybLoginCache(cache); }

  private:
    CYybApi& m_api;
    const bool m_bMayInit;
};

CYybApi& CYybApi::GetInstance() {
    // Lives to the end of the process: the SDK may still report while static objects are destroyed.
    static auto& api = *new CYybApi;
    return api;
}

CYybApi::CYybApi() = default;

CYybApi::~CYybApi() {
    CYybApi* self = this;
    g_pBound.compare_exchange_strong(self, nullptr);
}

void CYybApi::InitData(const std::string& config, const std::wstring& sdkPath, const std::wstring& hostTag) {
    m_host.Take(NXL_LOG_NAME, config, sdkPath, hostTag);
}

CYybApi::SdkTable CYybApi::Sdk() const {
    CAutoLock lock(&m_lockTable);
    return m_table;
}

std::wstring CYybApi::SdkDir() const {
    const SdkHostData host = m_host.Data();
    return WXMINI_PROGRAM_COMMON::GetYybSdkDir(host.m_strSdkPath, host.m_bMlHost);
}

bool CYybApi::ResolveSdk(HMODULE module, SdkTable& table) {
    // Every one is tried: those that are there can be used when another one is missing.
    bool bWhole = ResolveFunction(module, "Initialize", table.m_pInitialize);
    bWhole = ResolveFunction(module, "Uninitialize", table.m_pUninitialize) && bWhole;
    bWhole = ResolveFunction(module, "CheckPcyyb", table.m_pCheckPcyyb) && bWhole;
    bWhole = ResolveFunction(module, "GetQimei", table.m_pGetQimei) && bWhole;
    bWhole = ResolveFunction(module, "LaunchApplet", table.m_pLaunchApplet) && bWhole;
    bWhole = ResolveFunction(module, "HasAppletLaunchSuccess", table.m_pHasAppletLaunchSuccess) && bWhole;
    return ResolveFunction(module, "RegisterStateChangeHandler", table.m_pRegisterStateChangeHandler) && bWhole;
}

bool CYybApi::InitYybApi() {
    NXL_LOG(L"[%s(%d)] enter InitYybApi");
    if (IsInit()) {
        return true;
    }
    CAutoLock lock(&m_lockInit);
    // The SDK may call back on this very thread while it is loaded and started.
    if (IsInit() || m_bStarting) {
        return IsInit();
    }
    const CScopedFlag starting(m_bStarting);
    const std::wstring strYybSdk = SdkDir();
    NXL_LOG(L"[%s(%d)] enter InitYybApi strYybSdk=%s", strYybSdk.c_str());
    if (!WXMINI_PROGRAM_COMMON::IsYybSdkNewVersion(strYybSdk)) {
        NXL_LOG(L"[%s(%d)] Yyb sdk is not new version");
        return false;
    }
    if (!WXMINI_PROGRAM_COMMON::IsYybSDKOk(strYybSdk)) {
        NXL_LOG(L"[%s(%d)] Yyb sdk is not ok");
        return false;
    }
    NXL_LOG(L"----InitYybApi strYybSdk = %s", strYybSdk.c_str());
    CModule module(LoadLibraryW((strYybSdk + kLibraryName).c_str()));
    const DWORD error = GetLastError();
    NXL_LOG(L"[%s(%d)] load status=%d", error);
    if (!module) {
        return false;
    }
    SdkTable table;
    const bool bWhole = ResolveSdk(module.get(), table);
    m_modules.Keep(std::move(module));
    {
        CAutoLock lockData(&m_lockTable);
        m_table = table;
    }
    if (!bWhole) {
        return false;
    }
    if (!Initialize()) {
        NXL_LOG(L"----Initialize error =  %d", 0);
        return false;
    }
    m_fnStateChange = [this](const char* text, std::int32_t code) { OnDownloadStatus(*this, text, code); };
    g_pBound.store(this, std::memory_order_release);
    table.m_pRegisterStateChangeHandler(&StateChangeThunk);
    // Before any thread can see that the SDK is ready: a task that is stored from then on stays.
    m_tasks.Clear();
    m_bInit.store(true, std::memory_order_release);
    return true;
}

bool CYybApi::Initialize() {
    const SdkTable sdk = Sdk();
    if (sdk.m_pInitialize == nullptr) {
        return false;
    }
    const std::string strEscapedPath = DoubleBackslashes(Utf16ToUtf8(SdkDir()));
    const std::string text = YybInitializeText(Channel(), strEscapedPath);
    const std::int32_t ret = sdk.m_pInitialize(text.c_str(), static_cast<std::int32_t>(text.size()));
    NXL_LOG(L"[%s(%d)] m_pInitialize ret=%d, strEscapedPath = %s", ret, Utf8ToUtf16(strEscapedPath).c_str());
    return ret == 0;
}

bool CYybApi::CheckPcyyb() {
    NXL_LOG(L"[%s(%d)] enter CheckPcyyb");
    const SdkTable sdk = Sdk();
    if (sdk.m_pCheckPcyyb == nullptr) {
        NXL_LOG(L"[%s(%d)] end CheckPcyyb");
        return false;
    }
    const std::uint8_t ret = sdk.m_pCheckPcyyb();
    NXL_LOG(L"[%s(%d)] CheckPcyyb ret=%d", ret);
    return ret != 0;
}

bool CYybApi::IsYybLogined() {
    CLoginFacts facts(*this, true);
    return DecideYybLogin(facts);
}

bool CYybApi::IsYybLoginedNow() {
    // Held to the end: otherwise another thread could begin a start, which would hold up the questions to the SDK.
    const CAutoTryLock lock(&m_lockInit);
    return (IsInit() || lock.IsHeld()) && IsYybLogined();
}

void CYybApi::Settle(const std::string& pkgname, const char* word) {
    if (!IsInit()) {
        // The SDK is being given its handler: no task can be there, and the thread that loads it may wait for this one.
        // So no lock of an open or of the start is taken here.
        CLoginFacts facts(*this, false);
        DecideYybLogin(facts);
        return;
    }
    CAutoLock lock(&m_lockOpen);
    m_tasks.Settle(pkgname, word);
    // After a launch the login may have changed: this refreshes its cache, task or not.
    IsYybLogined();
}

void CYybApi::Uninit() {
    const SdkTable sdk = Sdk();
    if (IsInit() && sdk.m_pUninitialize != nullptr && !m_bUninit.exchange(true)) {
        sdk.m_pUninitialize();
    }
}

}  // namespace YYB_API_CLIENT
