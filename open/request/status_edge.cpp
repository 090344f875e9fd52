// The three forms of the status probe on this machine. They may run side by side; of two writers of one registry value
// the last one wins.
#include "open/request/mini_program_service.h"

#include <ctime>
#include <set>

#include "foundation/handle.h"
#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "open/probes/install_probes.h"
#include "open/probes/login_probes.h"
#include "open/probes/registry_views.h"
#include "open/probes/status_probe.h"
#include "open/request/status_store.h"
#include "open/yyb/yyb_api.h"
#include "support/envelope/rsa_envelope.h"
#include "support/system/system_queries.h"

namespace {

using YYB_API_CLIENT::CYybApi;

const wchar_t kStatusTime[] = L"zolt_tm";

// What a probe does when another thread is starting the YYB SDK.
enum class SdkStart { WaitFor, GoOnWithout };

class CMachineFacts final : public IStatusFacts {
  public:
    explicit CMachineFacts(SdkStart start) : m_start(start) {}

    bool IsWeChatInstalled() override { return ::IsWeChatInstalled(); }
    std::int32_t WeChatKind() override { return g_nWeChatKind; }
    bool HasWindow(const wchar_t* className) override { return FindWindowW(className, nullptr) != nullptr; }
    bool HasProcess(const wchar_t* name) override {
        std::set<std::uint32_t> ids;
        return FindProcessesByName(name, ids);
    }
    bool IsWxMiniProgramInstalled() override { return ::IsWxMiniProgramInstalled(); }
    bool CheckWxMiniProgramIntalled() override { return ::CheckWxMiniProgramIntalled(); }
    bool IsAndrowsInstalled() override { return ::IsAndrowsInstalled(); }
    bool IsYybLogined() override {
        CYybApi& api = CYybApi::GetInstance();
        return m_start == SdkStart::WaitFor ? api.IsYybLogined() : api.IsYybLoginedNow();
    }

  private:
    const SdkStart m_start;
};

// One value of the status key; the key is made when it is missing. A failure is not noticed.
void WriteStatusValue(const wchar_t* name, DWORD type, const void* data, std::size_t size) {
    HKEY opened = nullptr;
    if (g_pfnCreateStatusKey(HKEY_CURRENT_USER, NXL_STATUS_KEY, 0, nullptr, 0, kWrite32BitView, nullptr, &opened,
                             nullptr) != ERROR_SUCCESS) {
        return;
    }
    const CRegistryKey key(opened);
    RegSetValueExW(key.get(), name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size));
}

struct TimedStatus {
    AppStatus status;
    std::wstring time;  // of the probe, in seconds since 1970
};

TimedStatus ProbeNow(SdkStart start = SdkStart::WaitFor) {
    CMachineFacts facts(start);
    const AppStatus status = ProbeAppStatus(facts);
    return {status, DecimalText(std::time(nullptr))};
}

void WriteRegistry(const TimedStatus& probed) {
    for (const auto& [name, number] : StatusValues(probed.status)) {
        WriteStatusValue(name, REG_DWORD, &number, sizeof number);
    }
    WriteStatusValue(kStatusTime, REG_SZ, probed.time.c_str(), (probed.time.size() + 1) * sizeof(wchar_t));
}

}  // namespace

void WxMiniProgramService::GetWxAppStatus(std::string& result) {
    result.clear();
    const TimedStatus probed = ProbeNow();
    result = WriteAppStatus(probed.status);
    WriteRegistry(probed);
}

void WxMiniProgramService::GetWxAppStatusEncrypt(std::string& result) {
    result.clear();
    const TimedStatus probed = ProbeNow();
    std::string qimei32;
    std::string qimei36;
    CYybApi::GetInstance().GetQimeiPair(qimei32, qimei36);
    result = UrlEscapeString(RsaEncryptToString(WriteAppStatus(probed.status, qimei32, qimei36)));
    WriteRegistry(probed);
}

void WxMiniProgramService::UpdatezoltStatus() {
    // This runs on the main thread, which must not stop for an SDK that hangs in a caller's request.
    const TimedStatus probed = ProbeNow(SdkStart::GoOnWithout);
    WriteRegistry(probed);
    const AppStatus& status = probed.status;
    NXL_LOG(
        L"[%s(%d)] UpdatezoltStatus wx_inst=%d, wx_login=%d, mini_wx_inst=%d, mini_wx_login=%d, yyb_inst=%d, "
        L"yyb_login=%d, time=%s ",
        status.wx_inst, status.wx_login, status.mini_wx_inst, status.mini_wx_login, status.yyb_inst, status.yyb_login,
        probed.time.c_str());
}
