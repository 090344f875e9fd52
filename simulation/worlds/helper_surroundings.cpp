#include "simulation/worlds/helper_surroundings.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>

#include "foundation/handle.h"
#include "foundation/windows_headers.h"
#include "host/cpu_sample.h"
#include "simulation/kernel/export.h"
#include "simulation/kernel/faults.h"
#include "simulation/kernel/machine.h"
#include "simulation/stand_ins/http_server.h"
#include "simulation/worlds/world.h"

namespace simulation {
namespace {

constexpr wchar_t kMonitorClass[] = L"QOvrinSafeMonClass";
constexpr std::string_view kNoticeBegin = "BVRS";
constexpr DWORD kHourMs = 3600 * 1000;

Surroundings g_surroundings;
HANDLE g_hMonitor = nullptr;

HttpAnswer Answer(const HttpAsk&) {
    HttpAnswer answer;
    answer.nAfterMs = g_surroundings.nSlowServerMs;
    switch (g_surroundings.server) {
        case ServerKind::Absent:
            answer.nStatus = 0;
            break;
        case ServerKind::Refuses:
            answer.nStatus = 404;
            break;
        case ServerKind::Breaks:
            answer.strBody = R"({"appShortcut":{"create":1}})";
            answer.nBytesBeforeBreak = 5;
            break;
        case ServerKind::Answers:
            answer.strBody = R"({"appShortcut":{"create":1}})";
            break;
        case ServerKind::AnswersNonsense:
            answer.strBody = "<html>";
            break;
    }
    return answer;
}

LRESULT CALLBACK MonitorProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    const CFaults::CHold noFaults;
    if (message == WM_COPYDATA) {
        const auto* const pRecord = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
        Hold(pRecord->cbData > kNoticeBegin.size() &&
                 std::memcmp(pRecord->lpData, kNoticeBegin.data(), kNoticeBegin.size()) == 0,
             "the monitor gets something else than a notice");
        if (g_surroundings.monitor == MonitorKind::Hangs) {
            Sleep(kHourMs);
        }
        return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

void RunMonitor() {
    const CFaults::CHold noFaults;
    WNDCLASSEXW record = {};
    record.cbSize = sizeof record;
    record.lpfnWndProc = &MonitorProcedure;
    record.lpszClassName = kMonitorClass;
    RegisterClassExW(&record);
    CreateWindowExW(0, kMonitorClass, L"monitor", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        DispatchMessageW(&message);
    }
}

// The lists of the system's processor times: one process and one processor.
LONG WINAPI QueryInformation(ULONG nClass, PVOID pBuffer, ULONG nSize, ULONG*) {
    const CFaults::CHold noFaults;
    constexpr ULONG kProcesses = 5;
    const std::uint64_t nNow = g_pScheduler->Now() / 100;
    std::memset(pBuffer, 0, nSize);
    const auto put = [&](std::size_t nOffset, std::uint64_t nValue) {
        std::memcpy(static_cast<std::byte*>(pBuffer) + nOffset, &nValue, sizeof nValue);
    };
    if (nClass == kProcesses) {
        constexpr std::size_t kUser = 0x28;
        constexpr std::size_t kProcessId = 0x50;
        const std::uint64_t nBurnt = std::min(nNow, std::uint64_t{g_surroundings.nBurnsForS} * kSecond / 100);
        put(kUser, g_surroundings.bBurns ? nBurnt : nNow / 1000);
        put(kProcessId, GetCurrentProcessId());
    } else {
        constexpr std::size_t kKernel = 0x08;
        put(kKernel, nNow);
    }
    return 0;
}

}  // namespace

Surroundings DrawSurroundings(CRandom& random) {
    Surroundings surroundings;
    surroundings.server = static_cast<ServerKind>(random.Below(5));
    surroundings.nSlowServerMs = static_cast<std::uint32_t>(random.OneIn(3) ? random.Below(5000) : 0);
    surroundings.monitor = static_cast<MonitorKind>(random.Below(3));
    surroundings.bProcessorTimes = random.OneIn(2);
    surroundings.bBurns = surroundings.bProcessorTimes && random.OneIn(8);
    surroundings.nBurnsForS = static_cast<std::uint32_t>(random.Below(200));
    surroundings.monitor = IsOn("monitor") ? surroundings.monitor : MonitorKind::Absent;
    surroundings.bProcessorTimes = surroundings.bProcessorTimes && IsOn("processor times");
    surroundings.bBurns = surroundings.bBurns && surroundings.bProcessorTimes;
    return surroundings;
}

void InstallSurroundings(const Surroundings& surroundings) {
    const CFaults::CHold noFaults;
    g_surroundings = surroundings;
    OverrideWinInetApi(&AnswerHttpBy(&Answer));
    if (surroundings.bProcessorTimes) {
        g_pMachine->m_modules.Add(std::wstring(CModules::kSystemFolder) + L"\\ntdll.dll",
                                  {Export("NtQuerySystemInformation", &QueryInformation)});
    }
    if (surroundings.monitor != MonitorKind::Absent) {
        g_hMonitor = StartProcess(
            [] {
                WatchNoRaces();
                RunMonitor();
            },
            L"C:\\monitor\\monitor.exe");
    }
}

void EndMonitor() {
    if (g_hMonitor != nullptr) {
        TerminateProcess(g_hMonitor, 0);
        CloseHandle(g_hMonitor);
        g_hMonitor = nullptr;
    }
}

}  // namespace simulation
