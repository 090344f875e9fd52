// How long a start takes until its first word reaches the caller's pipe: the helper's ready notice, with a channel on
// its command line and without, against the word of a program that has a message window and nothing else. Medians over
// interleaved rounds. tools/bench runs it in a prefix with a display and in one without.
//
//   start_bench [ROUNDS]
#include "foundation/windows_headers.h"

#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

#include "bench/bench_record.h"
#include "bench/bench_table.h"
#include "client/helper_start.h"
#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "ipc/transport/pipe_names.h"

namespace {

constexpr DWORD kWaitMs = 30000;
// The end of a process goes on after its handle is signalled: its memory is given back, and the helper has much more
// than its peer.
constexpr DWORD kPauseMs = 30;

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

struct Row {
    const char* name;
    std::vector<double> milliseconds;
};

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : BenchRounds(30);
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder = path;
    folder.resize(folder.rfind(L'\\') + 1);
    const std::wstring unique = std::to_wstring(GetCurrentProcessId());

    // Keeps the desktop's own process alive, which the first window of all would have to start.
    CreateWindowExW(0, L"STATIC", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);

    const std::wstring helper = L"\"" + folder + L"nexlet.exe\" /from:";
    Row rows[] = {{"program with a message window", {}}, {"nexlet.exe", {}}, {"nexlet.exe, with a channel", {}}};
    for (int round = 0; round <= rounds; ++round) {
        for (std::size_t i = 0; i < std::size(rows); ++i) {
            const std::wstring mark = L"bench" + unique + L"x" + std::to_wstring(round) + L"r" + std::to_wstring(i);
            const std::wstring pipe = i == 0 ? LR"(\\.\pipe\NexletStartFloor)" + mark : ServicePipeName(mark, "1");
            std::wstring line = helper + mark;
            if (i == 0) {
                line = L"\"" + folder;
                line += L"start_floor.exe\" ";
                line += pipe;
            } else if (i == 1) {
                line += L" /service_id:1";
            } else {
                const std::string channel = Base64Encode(MakeChannelText(mark, "mid", 7, "product", "from"));
                line += L" /channel:" + Utf8ToUtf16(channel) + L" /service_id:1";
            }
            Sleep(kPauseMs);
            const double taken = TimeOneStart(pipe, line);
            if (taken < 0) {
                std::printf("a start did not answer\n");
                return 1;
            }
            if (round > 0) {  // the first only warms the machine
                rows[i].milliseconds.push_back(taken);
            }
        }
    }
    const double floor = MedianOf(rows[0].milliseconds);
    std::printf("start to first word, ms, median of %d\n", rounds);
    for (const Row& row : rows) {
        const double median = MedianOf(row.milliseconds);
        std::printf("  %-32s %8.2f  %.2f\n", row.name, median, median / floor);
        RecordRounds("start to first word", row.name, "time", "ms", row.milliseconds);
    }
    return 0;
}
