// How long it takes from the request for a loading window until the screen shows it, against a window that has one
// colour and nothing else. Medians over interleaved rounds; the screen is looked at every millisecond.
//
//   splash_bench [ROUNDS]
#include "tests/support/http_test_server.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "bench/bench_table.h"
#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "support/loading/loading_layout.h"
#include "support/loading/loading_window.h"
#include "support/loading/wx_loading_wnd.h"

namespace {

constexpr DWORD kWaitMs = 30000;
constexpr UINT kEndMessage = WM_APP;

int Side() {
    return ScaleByDpi(kLoadingSide, SystemDpi());
}

// A place on the card that is neither text nor icon.
COLORREF ColourOfScreen() {
    const HDC screen = GetDC(nullptr);
    const COLORREF colour =
        GetPixel(screen, GetSystemMetrics(SM_CXSCREEN) / 2, GetSystemMetrics(SM_CYSCREEN) / 2 - Side() * 2 / 5);
    ReleaseDC(nullptr, screen);
    return colour;
}

bool WaitForScreen(bool bLit) {
    for (const double end = Milliseconds() + kWaitMs; Milliseconds() < end; Sleep(1)) {
        if ((ColourOfScreen() != 0) == bLit) {
            return true;
        }
    }
    return false;
}

// The least that puts a layered window of that size on the screen; it stays until its thread is asked to end.
void ShowBareWindow() {
    const int side = Side();
    const HWND window =
        CreateWindowExW(WS_EX_LAYERED | WS_EX_TOOLWINDOW | WS_EX_TOPMOST, L"STATIC", nullptr, WS_POPUP,
                        (GetSystemMetrics(SM_CXSCREEN) - side) / 2, (GetSystemMetrics(SM_CYSCREEN) - side) / 2, side,
                        side, nullptr, nullptr, nullptr, nullptr);
    const HDC dc = CreateCompatibleDC(nullptr);
    BITMAPINFO info{};
    info.bmiHeader = {sizeof(info.bmiHeader), side, side, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* bits = nullptr;
    const HBITMAP bitmap = CreateDIBSection(dc, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    std::fill_n(static_cast<std::uint32_t*>(bits), static_cast<std::size_t>(side) * static_cast<std::size_t>(side),
                0xFFFFFFFF);
    const HGDIOBJ old = SelectObject(dc, bitmap);
    ShowWindow(window, SW_SHOWNOACTIVATE);
    SIZE size{side, side};
    POINT source{0, 0};
    BLENDFUNCTION blend{AC_SRC_OVER, 0, 255, AC_SRC_ALPHA};
    UpdateLayeredWindow(window, nullptr, nullptr, &size, dc, &source, 0, &blend, ULW_ALPHA);
    SelectObject(dc, old);
    DeleteObject(bitmap);
    DeleteDC(dc);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0 && message.message != kEndMessage) {
        DispatchMessageW(&message);
    }
    DestroyWindow(window);
}

void ShowLoading(const std::wstring& iconUrl) {
    ShowLoadingWindow({Utf16ToUtf8(L"我的应用"), "no window has this title", Utf16ToUtf8(iconUrl), 600'000});
}

// Ends what a thread shows.
void EndThreadsWindow(DWORD threadId) {
    EnumThreadWindows(
        threadId, [](HWND window, LPARAM) -> BOOL { return PostMessageW(window, WM_CLOSE, 0, 0), TRUE; }, 0);
    PostThreadMessageW(threadId, kEndMessage, 0, 0);
}

// From the call on a thread of its own until the screen shows something; negative when it does not.
double TimeInProcess(const std::function<void()>& show) {
    std::atomic<DWORD> threadId{0};
    const double begin = Milliseconds();
    std::thread thread([&] {
        threadId = GetCurrentThreadId();
        show();
    });
    const bool bShown = WaitForScreen(true);
    const double elapsed = Milliseconds() - begin;
    EndThreadsWindow(threadId);
    thread.join();
    return bShown && WaitForScreen(false) ? elapsed : -1;
}

// The same for a new process of this program in a role.
double TimeNewProcess(const std::wstring& role) {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring commandLine = L"\"" + std::wstring(path) + L"\" " + role;
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
    const bool bShown = WaitForScreen(true);
    const double elapsed = Milliseconds() - begin;
    TerminateProcess(process.get(), 0);
    WaitForSingleObject(process.get(), kWaitMs);
    return bShown && WaitForScreen(false) ? elapsed : -1;
}

struct Row {
    const char* name;
    std::function<double()> time;
    std::vector<double> milliseconds;
};

// The first row is the floor.
bool Run(const char* title, std::vector<Row> rows, int rounds) {
    for (int round = 0; round < rounds; ++round) {
        for (Row& row : rows) {
            const double taken = row.time();
            if (taken < 0) {
                std::printf("%s: nothing came on the screen\n", row.name);
                return false;
            }
            row.milliseconds.push_back(taken);
        }
    }
    std::printf("\n%s\n", title);
    double floor = 0;
    for (Row& row : rows) {
        std::sort(row.milliseconds.begin(), row.milliseconds.end());
        const double median = row.milliseconds[row.milliseconds.size() / 2];
        floor = floor == 0 ? median : floor;
        std::printf("  %-44s %8.2f ms  %6.2f x floor\n", row.name, median, median / floor);
    }
    std::fflush(stdout);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string role = argc > 1 ? argv[1] : "";
    if (role == "bare") {
        ShowBareWindow();
        return 0;
    }
    if (role == "loading") {
        ShowLoading(L"");
        return 0;
    }
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 40;
    if (ColourOfScreen() != 0) {
        std::printf("the screen is not black in its middle, so nothing can be seen coming\n");
        return 1;
    }
    const HttpTestServer server([](const HttpTestRequest&) {
        const HRSRC icon = FindResourceW(nullptr, MAKEINTRESOURCEW(kLoadingIconResource), L"PNG");
        const auto* bytes = static_cast<const char*>(LockResource(LoadResource(nullptr, icon)));
        return HttpTestReply::Of(200, std::string(bytes, SizeofResource(nullptr, icon)));
    });
    const bool bInProcess = Run("from the request to the first pixel, in a running process",
                                {{"a layered window of one colour", [] { return TimeInProcess(&ShowBareWindow); }, {}},
                                 {"the loading window", [] { return TimeInProcess([] { ShowLoading(L""); }); }, {}},
                                 {"with an icon from a server on this machine",
                                  [&] { return TimeInProcess([&] { ShowLoading(server.Url(L"/icon.png")); }); },
                                  {}}},
                                rounds);
    const bool bNewProcess = Run("the same in a process that is started for it",
                                 {{"a layered window of one colour", [] { return TimeNewProcess(L"bare"); }, {}},
                                  {"the loading window", [] { return TimeNewProcess(L"loading"); }, {}}},
                                 rounds);
    return bInProcess && bNewProcess ? 0 : 1;
}
