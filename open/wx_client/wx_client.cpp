#include "open/wx_client/wx_client.h"

#include "foundation/windows_headers.h"

#include <objbase.h>
#include <process.h>
#include <shellapi.h>

#include <memory>

#include "foundation/handle.h"
#include "foundation/late_shlwapi.h"
#include "foundation/log.h"
#include "foundation/path_helpers.h"
#include "foundation/registry_names.h"
#include "open/probes/install_probes.h"
#include "open/wx_client/app_shortcut.h"
#include "open/wx_client/wx_client_flow.h"
#include "settings.h"
#include "support/http/beacons.h"
#include "support/loading/loading_window.h"
#include "support/picture/cos_op.h"
#include "support/system/late_ole32.h"
#include "support/system/late_shell32.h"
#include "support/system/replace_file.h"

namespace WX_CLIENT {

namespace {

const wchar_t kCacheFolder[] = L"NxlShortcutCache";
const wchar_t kCodeBeacon[] = L"https://" NEXLET_STATISTICS_HOST L"/static/a/1663.8991.gif?_referer=";
// ShellExecuteW gives a number above this for success.
constexpr INT_PTR kLastShellError = 32;

// The shell may run extensions that need an apartment; without one here they would refuse.
class CApartment {
  public:
    CApartment()
        : m_bEntered(SUCCEEDED(Late::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE))) {}
    ~CApartment() {
        if (m_bEntered) {
            Late::CoUninitialize();
        }
    }
    CApartment(const CApartment&) = delete;
    CApartment& operator=(const CApartment&) = delete;

  private:
    const bool m_bEntered;
};

// Runs Work on a thread of its own, which gets a copy of info, or null when there is no memory for one.
template <unsigned (*Work)(const AppOpenInfo*)>
void StartOnACopy(const AppOpenInfo& info) {
    // noexcept: an exception of ours must not reach the runtime's own frames below.
    const auto run = [](void* argument) noexcept -> unsigned {
        const std::unique_ptr<AppOpenInfo> copy(static_cast<AppOpenInfo*>(argument));
        return Work(copy.get());
    };
    std::unique_ptr<AppOpenInfo> copy = CopyForThread(info);
    unsigned(__stdcall* const procedure)(void*) = run;
    const CKernelHandle thread(reinterpret_cast<HANDLE>(
        _beginthreadex(/*security=*/nullptr, /*stack_size=*/0, procedure, copy.get(), /*initflag=*/0, nullptr)));
    if (thread) {
        (void)copy.release();  // the thread has it now
    }
}

class CWeChatEdge final : public IWeChatEdge {
  public:
    bool IsWeChatInstalled() override { return ::IsWeChatInstalled(); }
    void StartLoadingWnd(const AppOpenInfo& info) override { StartOnACopy<&PopWxLoadingWnd>(info); }
    void StartAppShortcut(const AppOpenInfo& info) override {
        StartOnACopy<static_cast<unsigned (*)(const AppOpenInfo*)>(&CreateAppShortcut)>(info);
    }
    std::uint32_t AppShortcutSwitch() override {
        std::uint32_t value = 0;
        DWORD type = REG_DWORD;
        DWORD size = sizeof value;
        Late::SHGetValueW(HKEY_CURRENT_USER, kProgramKey, kAppShortcutCreateValue, &type, &value, &size);
        return value;
    }
    bool OpenUrl(const std::wstring& urlScheme) override {
        const CApartment apartment;
        const HINSTANCE answer =
            Late::ShellExecuteW(/*hwnd=*/nullptr, L"open", urlScheme.c_str(), /*lpParameters=*/nullptr,
                                /*lpDirectory=*/nullptr, SW_SHOWNORMAL);
        return reinterpret_cast<INT_PTR>(answer) > kLastShellError;
    }
    bool WindowExists(const std::wstring& title) override { return FindWindowW(nullptr, title.c_str()) != nullptr; }
};

class CAppShortcutEdge final : public IAppShortcutEdge {
  public:
    std::wstring CacheFolder() override { return TemporarySubfolder(kCacheFolder); }
    bool DownLoadFile(const std::wstring& url, const std::wstring& folder, const std::wstring& fileName) override {
        return CosOp::DownLoadFile(url, folder, fileName);
    }
    ImageFormat GetImageFormatFromFile(const std::wstring& path) override {
        return CosOp::GetImageFormatFromFile(path);
    }
    void RemoveFile(const std::wstring& path) override { ::RemoveFile(path); }
    void RenameFile(const std::wstring& path, const std::wstring& newPath) override { MoveFileOver(path, newPath); }
    bool TuFileToIcoFile(const std::wstring& sourcePath, const std::wstring& icoPath) override {
        return CosOp::TuFileToIcoFile(sourcePath, icoPath);
    }
    bool CreateDesktopShortcut(const std::wstring& name, const std::wstring& target, const std::wstring& description,
                               const std::wstring& iconPath) override {
        return CosOp::CreateDesktopShortcut(name, target, description, iconPath);
    }
    void ReportDot(const std::wstring& url) override { ::ReportDot(url); }
    void ReportCode(AppShortcutCode code) override {
        // The URL has its question mark already and gets another one before the number: the servers that count these
        // beacons read them so. Held by TheCodeIsBetweenTwoQuestionMarks.
        ReportStaticWithMIDImp(kCodeBeacon + std::to_wstring(static_cast<int>(code)), /*bHasQuery=*/false);
    }
};

// Lives to the end of the process: a thread may still ask while static objects are destroyed.
CWeChatTasks& WeChatTasks() {
    static auto& tasks = *new CWeChatTasks;
    return tasks;
}

}  // namespace

void OpenWithWeChat(const AppOpenInfo& info, std::string& result) {
    CWeChatEdge edge;
    OpenWithWeChat(info, edge, WeChatTasks(), result);
}

bool OpenProtocolTimeOut(const std::string& wndname, const std::string& taskId, std::string& result, bool bLastCall) {
    CWeChatEdge edge;
    return OpenProtocolTimeOut(wndname, taskId, edge, WeChatTasks(), result, bLastCall);
}

unsigned PopWxLoadingWnd(const AppOpenInfo* info) {
    NXL_LOG(L"[%s(%d)] PopWxLoadingWnd begin");
    if (info == nullptr) {
        return 0xFFFFFFFF;
    }
    if (info->show) {
        LoadingWindowRequest request;
        request.name = info->name;
        request.wndname = info->wndname;
        request.iconUrl = info->iconUrl;
        request.timeOut = static_cast<std::uint32_t>(info->timeOut);
        ShowLoadingWindow(request);
    }
    return 0;
}

unsigned CreateAppShortcut(const AppOpenInfo* info) {
    CAppShortcutEdge edge;
    return CreateAppShortcut(info, edge);
}

}  // namespace WX_CLIENT
