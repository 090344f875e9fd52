// How long a start takes until its first word reaches the caller's pipe: the helper's ready notice against the word of
// a program that has a message window and nothing else. Medians over interleaved rounds.
//
//   start_bench [ROUNDS]
#include "foundation/windows_headers.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/bench_table.h"
#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "ipc/transport/pipe_names.h"

namespace {

constexpr DWORD kWaitMs = 30000;

// Starts a program and waits for the first eight bytes on the pipe; negative when they do not come.
double TimeOneStart(const std::wstring& pipeName, std::wstring commandLine) {
    const CFileHandle pipe(
        CreateNamedPipeW(pipeName.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, 0, 1, 4096, 4096, 0, nullptr));
    const CKernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    OVERLAPPED overlapped = {};
    overlapped.hEvent = event.get();
    ConnectNamedPipe(pipe.get(), &overlapped);

    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION information = {};
    const double begin = Milliseconds();
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &information)) {
        return -1;
    }
    const CKernelHandle process(information.hProcess);
    const CKernelHandle thread(information.hThread);
    char word[8];
    DWORD moved = 0;
    bool arrived = WaitForSingleObject(event.get(), kWaitMs) == WAIT_OBJECT_0;
    if (arrived) {
        ResetEvent(event.get());
        ReadFile(pipe.get(), word, sizeof(word), nullptr, &overlapped);
        arrived = WaitForSingleObject(event.get(), kWaitMs) == WAIT_OBJECT_0 &&
                  GetOverlappedResult(pipe.get(), &overlapped, &moved, FALSE) && moved == sizeof(word);
    }
    const double elapsed = Milliseconds() - begin;
    TerminateProcess(process.get(), 0);
    WaitForSingleObject(process.get(), kWaitMs);
    return arrived ? elapsed : -1;
}

double Median(std::vector<double>& values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 40;
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder = path;
    folder.resize(folder.rfind(L'\\') + 1);
    const std::wstring unique = std::to_wstring(GetCurrentProcessId());

    // Keeps the desktop's own process alive, which the first window of all would have to start.
    CreateWindowExW(0, L"STATIC", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);

    std::vector<double> floor;
    std::vector<double> helper;
    for (int round = 0; round <= rounds; ++round) {
        const std::wstring number = unique + L"x" + std::to_wstring(round);
        const std::wstring floorPipe = LR"(\\.\pipe\NexletStartFloor)" + number;
        const double floorTime = TimeOneStart(floorPipe, L"\"" + folder + L"start_floor.exe\" " + floorPipe);
        const std::wstring mark = L"bench" + number;
        const double helperTime = TimeOneStart(ServicePipeName(mark, "1"),
                                               L"\"" + folder + L"nexlet.exe\" /from:" + mark + L" /service_id:1");
        if (floorTime < 0 || helperTime < 0) {
            std::printf("a start did not answer\n");
            return 1;
        }
        if (round > 0) {  // the first only warms the machine
            floor.push_back(floorTime);
            helper.push_back(helperTime);
        }
    }
    const double floorMedian = Median(floor);
    const double helperMedian = Median(helper);
    std::printf("start to first word, ms, median and best of %d\n", rounds);
    std::printf("  %-32s %8.2f  1.00 %8.2f  1.00\n", "program with a message window", floorMedian, floor.front());
    std::printf("  %-32s %8.2f  %.2f %8.2f  %.2f\n", "nexlet.exe, ready notice", helperMedian,
                helperMedian / floorMedian, helper.front(), helper.front() / floor.front());
    return 0;
}
