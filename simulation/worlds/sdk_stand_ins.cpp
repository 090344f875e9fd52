#include "simulation/worlds/sdk_stand_ins.h"

#include <cstring>
#include <functional>
#include <string>

#include "foundation/handle.h"
#include "foundation/thread.h"
#include "foundation/windows_headers.h"
#include "open/wx_sdk/ocean_delegate.h"
#include "simulation/kernel/export.h"
#include "simulation/kernel/faults.h"
#include "simulation/kernel/machine.h"

namespace simulation {
namespace {

constexpr wchar_t kOceanFolder[] = L"C:\\product\\wxsdk";
constexpr wchar_t kYybFolder[] = L"C:\\product\\yybsdk";
constexpr wchar_t kMiniProgramKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\WeChatMiniProgram";
constexpr DWORD kHourMs = 3600 * 1000;

struct Sdks {
    SdkHabits habits;
    CRandom random;
    OceanDelegate* pDelegate = nullptr;
    void (*pfnReport)(const char* text, std::int32_t code) = nullptr;
    std::uint32_t nNextOpen = 1;
};

Sdks* g_pSdks = nullptr;

// Not interrupted by the scheduler: the stream is one for all threads.
std::uint64_t Below(std::uint64_t nLimit) {
    const CScheduler::CInside inside(*g_pScheduler);
    return g_pSdks->random.Below(nLimit);
}

// How long a call takes.
void Work() {
    if (g_pSdks->habits.bHangs && Below(8) == 0) {
        Sleep(kHourMs);
    } else if (g_pSdks->habits.bSlow && Below(3) == 0) {
        Sleep(static_cast<DWORD>(Below(4000)));
    }
}

bool Refuses() {
    return g_pSdks->habits.bRefuses && Below(3) == 0;
}

void OnAnotherThread(bool bWait, DWORD nDelayMs, std::function<void()> answer) {
    const CFaults::CHold noFaults;
    const CKernelHandle hThread = LaunchThread([nDelayMs, answer = std::move(answer)] {
        const CFaults::CHold none;
        Sleep(nDelayMs);
        answer();
        return 0U;
    });
    if (bWait) {
        WaitForSingleObject(hThread.get(), INFINITE);
    }
}

// Answers as this call's draw says. bMayWait: the call may wait for its own thread.
void Answer(bool bMayWait, const std::function<void()>& answer) {
    switch (Below(6)) {
        case 0:
            answer();
            break;
        case 1:
            OnAnotherThread(bMayWait, 0, answer);
            break;
        case 2:
            OnAnotherThread(/*bWait=*/false, static_cast<DWORD>(Below(20000)), answer);
            break;
        case 3:
            answer();
            OnAnotherThread(/*bWait=*/false, static_cast<DWORD>(Below(50)), answer);
            break;
        case 4:
            OnAnotherThread(/*bWait=*/false, 0, answer);
            OnAnotherThread(/*bWait=*/false, 1, answer);
            break;
        default:
            break;
    }
}

void OceanInit(const char*, OceanDelegate* pDelegate) {
    Work();
    g_pSdks->pDelegate = pDelegate;
    if (Below(2) == 0) {
        pDelegate->onEvent0();
    }
}

std::uint32_t OceanOpen(const char*, const char*) {
    const CFaults::CHold noFaults;
    Work();
    const std::uint32_t nId = Refuses() ? 0 : g_pSdks->nNextOpen++;
    const auto nStatus = static_cast<std::int32_t>(Below(2));
    Answer(/*bMayWait=*/true, [nId, nStatus] { g_pSdks->pDelegate->onOpenResult(nId, nStatus); });
    return nId;
}

void Nothing() {}

std::int32_t YybInitialize(const char*, std::int32_t) {
    Work();
    return Refuses() ? 1 : 0;
}
std::uint8_t YybCheck() {
    return Below(3) != 0 ? 1 : 0;
}
std::int32_t YybQimei(char* szBuffer, std::int32_t nSize) {
    Work();
    constexpr char kAnswer[] = R"({"qimei32":"qone_32","qimei36":"36"})";
    std::strncpy(szBuffer, kAnswer, static_cast<std::size_t>(nSize));
    return Refuses() ? 1 : 0;
}
// A report on another thread waits for the launch's end, so the launch does not wait for it.
std::int32_t YybLaunch(const char* szText, std::int32_t) {
    const CFaults::CHold noFaults;
    Work();
    const std::string strReport = std::string(R"({"status":")") + (Below(2) == 0 ? "CompleteLaunch" : "LaunchError") +
                                  R"(","pkgname":")" + szText + R"("})";
    Answer(/*bMayWait=*/false, [strReport] {
        if (g_pSdks->pfnReport != nullptr) {
            g_pSdks->pfnReport(strReport.c_str(), 0);
        }
    });
    return Refuses() ? 1 : 0;
}
std::uint8_t YybHasLaunched() {
    return static_cast<std::uint8_t>(Below(2));
}
void YybRegister(void (*pfnReport)(const char* text, std::int32_t code)) {
    g_pSdks->pfnReport = pfnReport;
    if (Below(4) == 0) {
        pfnReport(R"({"status":"INIT"})", 0);
    }
}

}  // namespace

void InstallSdks(const SdkHabits& habits, CRandom random) {
    static auto& sdks = *new Sdks{habits, random};
    g_pSdks = &sdks;
    if (!habits.bThere) {
        return;
    }
    g_pMachine->m_disk.AddFolder(kOceanFolder);
    g_pMachine->m_disk.AddFolder(kYybFolder);
    g_pMachine->m_modules.Add(
        std::wstring(kOceanFolder) + L"\\ocean.dll",
        {Export("ocean_init", &OceanInit), Export("ocean_check_installation", &Nothing),
         Export("ocean_open_miniprogram", &OceanOpen), Export("ocean_download_web_installer", &Nothing),
         Export("ocean_install", &Nothing), Export("ocean_uninit", &Nothing)});
    g_pMachine->m_modules.Add(
        std::wstring(kYybFolder) + L"\\pcyyb_sdk_dll.dll",
        {Export("Initialize", &YybInitialize), Export("Uninitialize", &Nothing), Export("CheckPcyyb", &YybCheck),
         Export("GetQimei", &YybQimei), Export("LaunchApplet", &YybLaunch),
         Export("HasAppletLaunchSuccess", &YybHasLaunched), Export("RegisterStateChangeHandler", &YybRegister)});
    const CFaults::CHold noFaults;
    HKEY hKey = nullptr;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, kMiniProgramKey, 0, nullptr, 0, KEY_WRITE, nullptr, &hKey, nullptr);
    const CRegistryKey key(hKey);
    constexpr wchar_t kText[] = L"C:\\mini\\uninstall.exe";
    RegSetValueExW(key.get(), L"UninstallString", 0, REG_SZ, reinterpret_cast<const BYTE*>(kText), sizeof kText);
}

}  // namespace simulation
