#include "host/watchdogs.h"

#include <array>
#include <cstddef>
#include <ctime>
#include <span>
#include <string>
#include <vector>

#include "foundation/handle.h"
#include "foundation/late_library.h"
#include "foundation/log.h"
#include "foundation/wide_format.h"
#include "host/cpu_rule.h"
#include "host/cpu_sample.h"
#include "host/crash_dump.h"
#include "host/helper_host.h"
#include "host/message_window.h"
#include "host/window_calls.h"
#include "settings.h"
#include "support/http/beacons.h"

std::atomic<std::uint8_t> g_bHangCheckPaused{0};

namespace {

constexpr wchar_t kCpuBeacon[] = L"https://" NEXLET_STATISTICS_HOST L"/static/a/1663.6932.gif?_referer=";
constexpr wchar_t kHangBeacon[] = L"https://" NEXLET_STATISTICS_HOST L"/static/a/1663.1965.gif";
// Marks the beacon of the forced exit.
constexpr wchar_t kForcedExitSuffix[] = L"_C12";

// The functions here are parts of two operations, by whose names people know their lines.
constexpr wchar_t kMonCPUUsage[] = L"MonCPUUsageThreadFunc";
constexpr wchar_t kHangWatcher[] = L"HangWatcherThreadFunc";

constexpr DWORD kCpuPauseMs = 10000;
constexpr DWORD kCpuMeasureMs = 1000;
constexpr ULONG kFirstListBytes = 65536;
constexpr ULONG kSystemProcessInformation = 5;
constexpr ULONG kSystemProcessorPerformanceInformation = 8;
constexpr auto kInfoLengthMismatch = static_cast<LONG>(0xC0000004);

constexpr UINT kProbeMessage = 1384;
constexpr DWORD kProbePauseMs = 1000;
// A probe that ran out of time earlier than this was interrupted by a sleep of the machine.
constexpr std::uint64_t kShortestTimeoutMs = kProbeTimeoutMs - 1000;

bool SleepPause(void*, DWORD milliseconds) {
    Sleep(milliseconds);
    return true;
}

void EndProcess(const wchar_t* operation) {
    const HANDLE process = GetCurrentProcess();
    if (process == nullptr) {
        NXL_LOG_AS(operation, L"[%s(%d)] GetCurrentProcess failed. Error: %d", GetLastError());
        return;
    }
    if (!TerminateProcess(process, 0)) {
        NXL_LOG_AS(operation, L"[%s(%d)] TerminateProcess failed. Error: %d", GetLastError());
    }
}

void EndBurningProcess(void*) {
    EndProcess(kMonCPUUsage);
}

void EndHungProcess(void*) {
    EndProcess(kHangWatcher);
}

bool ProbeWindow(void*, HWND window, DWORD_PTR& result) {
    return GetWindowCalls().pfnSendMessageTimeout(window, kProbeMessage, 0, 0, SMTO_BLOCK, kProbeTimeoutMs, &result) !=
           0;
}

std::uint64_t AwakeMs(void*) {
    ULONGLONG units = 0;  // of 100 ns
    QueryUnbiasedInterruptTime(&units);
    return units / 10000;
}

bool SampleThisProcess(void* query, double& usage) {
    return CalculateCpuUsage(GetCurrentProcessId(), reinterpret_cast<NtQuerySystemInformationFunction>(query), &usage);
}

// From here to the end of the process nothing is done that can need the loader's lock: the main thread may hang while
// it loads a library, which holds that lock. So no thread is started for the beacon and no library loaded.
void ReportAndEnd(std::int64_t elapsedSeconds, DWORD error, void (*kill)(void* context), void* context) {
    NXL_LOG_AS(kHangWatcher, L"[%s(%d)] wnd Hang error time is %lld last error %d", elapsedSeconds, error);
    // Kept: like the forced exit's, this beacon normally never leaves the process.
    ReportStaticWithMIDImp(kHangBeacon, /*bHasQuery=*/false, BeaconWorker::AsItIs);
    kill(context);
}

void ReportCpu(double usage, const wchar_t* suffix) {
    wchar_t text[512] = {};
    FormatWide(text, std::size(text), L"%f", usage);
    ReportStaticWithMIDImp(kCpuBeacon + std::wstring(text) + suffix, /*bHasQuery=*/true);
}

void AskWindowToClose(const CommzoltHelperS& host, double usage) {
    const std::wstring title = host.ExeWndTitle();
    if (title.empty()) {
        NXL_LOG_AS(kMonCPUUsage, L"[%s(%d)] strExeTitle is empty");
        return;
    }
    const HWND window = g_hWnd.load();
    if (window == nullptr) {
        NXL_LOG_AS(kMonCPUUsage, L"[%s(%d)] FindWindow failed.strExeTitle=%s, Error: %d", title.c_str(),
                   GetLastError());
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
        const std::uint64_t awakeAt = steps.pfnAwakeMs(steps.pContext);
        NXL_LOG_AS(kHangWatcher, L"[%s(%d)] start hang check.");
        if (g_bHangCheckPaused.load() == 0) {
            DWORD_PTR result = 0;
            if (steps.pfnProbe(steps.pContext, window, result)) {
                if (result != 0) {
                    NXL_LOG_AS(kHangWatcher, L"[%s(%d)] HangWatcherThreadFunc success return value=%d",
                               static_cast<int>(result));
                }
            } else {
                const DWORD error = GetLastError();
                const bool bSlept =
                    error == ERROR_TIMEOUT && steps.pfnAwakeMs(steps.pContext) - awakeAt < kShortestTimeoutMs;
                if (!bSlept && !IsCrashUnderWay()) {
                    ReportAndEnd(std::time(nullptr) - begin, error, steps.pfnKill, steps.pContext);
                }
            }
        }
        if (!steps.pfnPause(steps.pContext, kProbePauseMs)) {
            return;
        }
    }
}

void EndHangingStart() {
    if (IsCrashUnderWay()) {
        return;
    }
    ReportAndEnd(kProbeTimeoutMs / 1000, ERROR_TIMEOUT, &EndHungProcess, nullptr);
}

DWORD WINAPI MonCPUUsageThreadFunc(void*) {
    NXL_LOG(L"[%s(%d)] MonCPUUsageThreadFunc begin");
    const HMODULE module = LoadLibraryA("ntdll.dll");
    if (module == nullptr) {
        NXL_LOG(L"[%s(%d)] Failed to load ntdll.dll");
        return 0;
    }
    void* query = nullptr;
    if (!ResolveFunction(module, "NtQuerySystemInformation", query)) {
        NXL_LOG(L"[%s(%d)] Failed to get NtQuerySystemInformation address");
        return 0;
    }
    RunCpuWatch({&SleepPause, &SampleThisProcess, &EndBurningProcess, query, CommzoltHelperS::GetInstance()});
    return 0;
}

DWORD WINAPI HangWatcherThreadFunc(void* host) {
    NXL_LOG(L"[%s(%d)] HangWatcherThreadFunc begin");
    if (host == nullptr) {
        return 0;
    }
    RunHangWatch({&SleepPause, &ProbeWindow, &EndHungProcess, &AwakeMs, nullptr});
    NXL_LOG(L"[%s(%d)] HangWatcherThreadFunc end");
    return 0;
}
