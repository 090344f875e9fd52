// What the helper costs while it has nothing to do: two minutes of the real nexlet.exe with one service connected,
// beside a program with a window of the same kind and as many waiting threads, and beside the same program with the
// rounds of the helper's two watchdogs. All three in the same run, at the same time.
//
//   idle_bench                 NEXLET_IDLE_SECONDS shortens or lengthens the two minutes
#include "foundation/windows_headers.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/bench_record.h"
#include "foundation/handle.h"
#include "foundation/late_library.h"
#include "host/cpu_sample.h"
#include "ipc/transport/pipe_names.h"
#include "tests/support/helper_process.h"
#include "tests/support/raw_pipe.h"

namespace {

// How long the number of threads has to stay as it is before the helper counts as idle.
constexpr ULONGLONG kSettledMs = 5000;
constexpr ULONGLONG kSettleLimitMs = 90000;

struct Subject {
    const char* name;
    CRawPipe pipe;
    CHelperProcess process;
    double seconds = 0;
};

// CPU time so far, from the same list that the helper's own watch reads; whole ticks of the system.
double CpuSeconds(DWORD id) {
    LONG(WINAPI * query)(ULONG, void*, ULONG, ULONG*) = nullptr;
    ResolveFunction(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation", query);
    std::vector<std::byte> list(65536);
    constexpr ULONG kSystemProcessInformation = 5;
    constexpr auto kInfoLengthMismatch = static_cast<LONG>(0xC0000004);
    while (query(kSystemProcessInformation, list.data(), static_cast<ULONG>(list.size()), nullptr) ==
           kInfoLengthMismatch) {
        list.resize(list.size() * 2);
    }
    return static_cast<double>(ProcessTimeIn(list, id)) / 1e7;
}

// Starts a program and waits for its first word; false when it does not come.
bool Begin(Subject& subject, const std::wstring& pipeName, const std::wstring& exe, const std::wstring& arguments) {
    subject.pipe = CRawPipe::Serve(pipeName, 1);
    return subject.pipe.valid() && subject.process.Start(exe, arguments) && subject.pipe.WaitForClient() &&
           subject.pipe.Read(8).size() == 8;
}

DWORD SettledThreads(const CHelperProcess& process) {
    const ULONGLONG startedAt = GetTickCount64();
    ULONGLONG changedAt = startedAt;
    DWORD threads = process.ThreadCount();
    while (GetTickCount64() - changedAt < kSettledMs && GetTickCount64() - startedAt < kSettleLimitMs) {
        Sleep(250);
        const DWORD now = process.ThreadCount();
        if (now != threads) {
            threads = now;
            changedAt = GetTickCount64();
        }
    }
    return threads;
}

void Print(const char* name, double cpu, const CHelperProcess& process, const CHelperProcess& floor) {
    const auto ratio = [](std::size_t value, std::size_t base) {
        return static_cast<double>(value) / static_cast<double>(base);
    };
    std::printf("  %-32s %7.2f %12zu %5.2f %8lu %5.2f %8lu %5.2f\n", name, cpu, process.PrivateBytes(),
                ratio(process.PrivateBytes(), floor.PrivateBytes()), process.HandleCount(),
                ratio(process.HandleCount(), floor.HandleCount()), process.ThreadCount(),
                ratio(process.ThreadCount(), floor.ThreadCount()));
}

}  // namespace

int main() {
    const char* given = std::getenv("NEXLET_IDLE_SECONDS");
    const DWORD seconds = given != nullptr ? static_cast<DWORD>(std::strtoul(given, nullptr, 10)) : 120;
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder = path;
    folder.resize(folder.rfind(L'\\') + 1);
    const std::wstring mark = L"idle" + std::to_wstring(GetCurrentProcessId());

    // Keeps the desktop's own process alive, which the first window of all would have to start.
    CreateWindowExW(0, L"STATIC", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);

    Subject helper{"nexlet.exe, one service", {}, {}};
    Subject floor{"program that waits", {}, {}};
    Subject rounds{"program with watchdogs' rounds", {}, {}};
    if (!Begin(helper, ServicePipeName(mark, "1"), folder + L"nexlet.exe", L"/from:" + mark + L" /service_id:1")) {
        std::printf("the helper did not answer\n");
        return 1;
    }
    const std::wstring threads = std::to_wstring(SettledThreads(helper.process));
    const std::wstring floorPipe = LR"(\\.\pipe\NexletIdleFloor)" + mark;
    const std::wstring exe = folder + L"idle_floor.exe";
    if (!Begin(floor, floorPipe, exe, floorPipe + L" " + threads) ||
        !Begin(rounds, floorPipe + L"r", exe, floorPipe + L"r " + threads + L" rounds")) {
        std::printf("the floor did not answer\n");
        return 1;
    }
    Subject* const subjects[] = {&floor, &rounds, &helper};
    for (Subject* subject : subjects) {
        subject->seconds = CpuSeconds(subject->process.Id());
    }
    Sleep(seconds * 1000);
    for (Subject* subject : subjects) {
        subject->seconds = CpuSeconds(subject->process.Id()) - subject->seconds;
    }
    std::printf("idle for %lu s\n  %-32s %7s %12s %5s %8s %5s %8s %5s\n", seconds, "", "CPU s", "private", "x",
                "handles", "x", "threads", "x");
    for (const Subject* subject : subjects) {
        Print(subject->name, subject->seconds, subject->process, floor.process);
        RecordRounds("idle", subject->name, "seconds", "s", {static_cast<double>(seconds)});
        RecordRounds("idle", subject->name, "cpu", "s", {subject->seconds});
        RecordRounds("idle", subject->name, "private", "bytes", {static_cast<double>(subject->process.PrivateBytes())});
        RecordRounds("idle", subject->name, "handles", "", {static_cast<double>(subject->process.HandleCount())});
        RecordRounds("idle", subject->name, "threads", "", {static_cast<double>(subject->process.ThreadCount())});
    }
    return 0;
}
