#include "host/watchdogs.h"

#include <array>
#include <cstddef>
#include <ctime>
#include <span>
#include <string>
#include <vector>

#include "foundation/handle.h"
#include "foundation/log.h"
#include "foundation/wide_format.h"
#include "host/cpu_rule.h"
#include "host/cpu_sample.h"
#include "host/helper_host.h"
#include "host/message_window.h"
#include "settings.h"
#include "support/beacons.h"

std::atomic<std::uint8_t> g_bHangCheckPaused{0};

namespace {

constexpr wchar_t kCpuBeacon[] = L"https://" NEXLET_STATISTICS_HOST L"/static/a/1663.6932.gif?_referer=";
constexpr wchar_t kHangBeacon[] = L"https://" NEXLET_STATISTICS_HOST L"/static/a/1663.1965.gif";
// Marks the beacon of the forced exit.
constexpr wchar_t kForcedExitSuffix[] = L"_C12";

constexpr DWORD kCpuPauseMs = 10000;
constexpr DWORD kCpuMeasureMs = 1000;
constexpr ULONG kFirstListBytes = 65536;
constexpr ULONG kSystemProcessInformation = 5;
constexpr ULONG kSystemProcessorPerformanceInformation = 8;
constexpr auto kInfoLengthMismatch = static_cast<LONG>(0xC0000004);

constexpr UINT kProbeMessage = 1384;
constexpr UINT kProbeTimeoutMs = 15000;
constexpr DWORD kProbePauseMs = 1000;

bool SleepPause(void*, DWORD milliseconds) {
    Sleep(milliseconds);
    return true;
}

void EndProcess(void*) {
    const HANDLE process = GetCurrentProcess();
    if (process == nullptr) {
        NXL_LOG(L"[%s(%d)] GetCurrentProcess failed. Error: %d", GetLastError());
        return;
    }
    if (!TerminateProcess(process, 0)) {
        NXL_LOG(L"[%s(%d)] TerminateProcess failed. Error: %d", GetLastError());
    }
}

bool ProbeWindow(void*, HWND window, DWORD_PTR& result) {
    return SendMessageTimeoutW(window, kProbeMessage, 0, 0, SMTO_BLOCK, kProbeTimeoutMs, &result) != 0;
}

bool SampleThisProcess(void* query, double& usage) {
    return CalculateCpuUsage(GetCurrentProcessId(), reinterpret_cast<NtQuerySystemInformationFunction>(query), &usage);
}

void ReportCpu(double usage, const wchar_t* suffix) {
    wchar_t text[512] = {};
    FormatWide(text, std::size(text), L"%f", usage);
    ReportStaticWithMIDImp(kCpuBeacon + std::wstring(text) + suffix, /*bHasQuery=*/true);
}

void AskWindowToClose(const CommzoltHelperS& host, double usage) {
    const std::wstring title = host.ExeWndTitle();
    if (title.empty()) {
        NXL_LOG(L"[%s(%d)] strExeTitle is empty");
        return;
    }
    const HWND window = g_hWnd.load();
    if (window == nullptr) {
        NXL_LOG(L"[%s(%d)] FindWindow failed.strExeTitle=%s, Error: %d", title.c_str(), GetLastError());
        return;
    }
    ReportCpu(usage, L"");
    PostMessageW(window, WM_CLOSE, 0, 0);
}

// The list of processes; grows until it fits. The status of the last query.
LONG QueryProcesses(NtQuerySystemInformationFunction query, std::vector<std::byte>& list) {
    for (;;) {
        const LONG status =
            query(kSystemProcessInformation, list.data(), static_cast<ULONG>(list.size()), /*needed=*/nullptr);
        if (status != kInfoLengthMismatch) {
            return status;
        }
        list.resize(list.size() * 2);
    }
}

}  // namespace

bool CalculateCpuUsage(DWORD processId, NtQuerySystemInformationFunction query, double* usage) {
    std::vector<std::byte> processes(kFirstListBytes);
    std::array<std::byte, kProcessorListBytes> processors = {};
    const auto failed = [](LONG status) {
        NXL_LOG(L"[%s(%d)] NtQuerySystemInformation failed with status 0x%08X", static_cast<unsigned>(status));
        return false;
    };
    const auto queryProcessors = [&] {
        return query(kSystemProcessorPerformanceInformation, processors.data(), static_cast<ULONG>(processors.size()),
                     /*needed=*/nullptr);
    };

    CpuTimes first;
    CpuTimes second;
    if (const LONG status = QueryProcesses(query, processes); status < 0) {
        return failed(status);
    }
    first.nProcess = ProcessTimeIn(processes, processId);
    if (const LONG status = queryProcessors(); status < 0) {
        return failed(status);
    }
    first.nSystem = ProcessorTimeIn(processors);

    Sleep(kCpuMeasureMs);

    if (const LONG status = queryProcessors(); status < 0) {
        return failed(status);
    }
    second.nSystem = ProcessorTimeIn(processors);
    // Into the same buffer, without growing it: a list that no longer fits fails the sample.
    if (const LONG status =
            query(kSystemProcessInformation, processes.data(), static_cast<ULONG>(processes.size()), nullptr);
        status < 0) {
        return failed(status);
    }
    second.nProcess = ProcessTimeIn(processes, processId);

    if (!CpuUsageBetween(first, second, *usage)) {
        NXL_LOG(L"[%s(%d)] Failed to calculate CPU usage.");
        return false;
    }
    NXL_LOG(L"[%s(%d)] CPU Usage for process %d: %.2f%%", processId, *usage);
    return true;
}

void RunCpuWatch(const CpuWatchSteps& steps) {
    CCpuRule rule;
    while (steps.pfnPause(steps.pContext, kCpuPauseMs)) {
        double usage = 0;
        if (!steps.pfnSample(steps.pContext, usage)) {
            continue;
        }
        switch (rule.OnSample(usage)) {
            case CpuAction::None:
                break;
            case CpuAction::Close:
                AskWindowToClose(*steps.pHost, usage);
                break;
            case CpuAction::Kill:
                // Kept: the process ends before the beacon's worker can send it, so it normally never leaves.
                ReportCpu(usage, kForcedExitSuffix);
                steps.pfnKill(steps.pContext);
                break;
        }
    }
}

void RunHangWatch(const HangWatchSteps& steps) {
    while (const HWND window = g_hMsgWnd.load()) {
        const std::int64_t begin = std::time(nullptr);
        NXL_LOG(L"[%s(%d)] start hang check.");
        if (g_bHangCheckPaused.load() == 0) {
            DWORD_PTR result = 0;
            if (steps.pfnProbe(steps.pContext, window, result)) {
                if (result != 0) {
                    NXL_LOG(L"[%s(%d)] HangWatcherThreadFunc success return value=%d", static_cast<int>(result));
                }
            } else {
                const DWORD error = GetLastError();
                const std::int64_t elapsed = std::time(nullptr) - begin;
                NXL_LOG(L"[%s(%d)] wnd Hang error time is %lld last error %d", elapsed, error);
                // Kept: like the forced exit's, this beacon normally never leaves the process.
                ReportStaticWithMIDImp(kHangBeacon, /*bHasQuery=*/false);
                steps.pfnKill(steps.pContext);
            }
        }
        if (!steps.pfnPause(steps.pContext, kProbePauseMs)) {
            return;
        }
    }
}

DWORD WINAPI MonCPUUsageThreadFunc(void*) {
    NXL_LOG(L"[%s(%d)] MonCPUUsageThreadFunc begin");
    const HMODULE module = LoadLibraryA("ntdll.dll");
    if (module == nullptr) {
        NXL_LOG(L"[%s(%d)] Failed to load ntdll.dll");
        return 0;
    }
    const FARPROC query = GetProcAddress(module, "NtQuerySystemInformation");
    if (query == nullptr) {
        NXL_LOG(L"[%s(%d)] Failed to get NtQuerySystemInformation address");
        return 0;
    }
    RunCpuWatch(
        {&SleepPause, &SampleThisProcess, &EndProcess, reinterpret_cast<void*>(query), CommzoltHelperS::GetInstance()});
    return 0;
}

DWORD WINAPI HangWatcherThreadFunc(void* host) {
    NXL_LOG(L"[%s(%d)] HangWatcherThreadFunc begin");
    if (host == nullptr) {
        return 0;
    }
    RunHangWatch({&SleepPause, &ProbeWindow, &EndProcess, nullptr});
    NXL_LOG(L"[%s(%d)] HangWatcherThreadFunc end");
    return 0;
}
