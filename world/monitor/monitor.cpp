// A stand-in for the monitor program: a window of the class that notices are sent to, and a record of what comes.
//
//   monitor --out FILE [--hang] [--stop EVENT] [--ready EVENT] [--parent PID]
//
// Every WM_COPYDATA becomes a line of FILE, see notice_text.h, written before the sender gets its answer. With --hang
// the window is there and takes no message. It ends when the stop event is set or the parent process ends.
#include <cstdio>

#include "world/monitor/notice_text.h"
#include "world/process/stay.h"

namespace {

constexpr wchar_t kMonitorClass[] = L"QOvrinSafeMonClass";

std::FILE* g_pOut = nullptr;

LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message != WM_COPYDATA) {
        return DefWindowProcW(window, message, wParam, lParam);
    }
    const auto* record = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
    const std::string bytes(static_cast<const char*>(record->lpData), record->cbData);
    std::fprintf(g_pOut, "%s\n", NoticeText(record->dwData, bytes).c_str());
    std::fflush(g_pOut);
    // The helper does not read this answer: a value that looks like a refusal shows it.
    return 0;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
    const std::vector<std::wstring> words = CommandLineWords();
    CStay stay;
    bool bHangs = false;
    for (std::size_t i = 1; i < words.size(); ++i) {
        if (stay.Take(words, i)) {
            continue;
        }
        if (words[i] == L"--hang") {
            bHangs = true;
        } else if (words[i] == L"--out" && i + 1 < words.size()) {
            g_pOut = _wfopen(words[++i].c_str(), L"wb");
        }
    }
    if (const int failure = stay.Begin(); failure != 0) {
        return failure;
    }
    if (g_pOut == nullptr || MakeWindow(kMonitorClass, L"monitor", &Procedure) == nullptr) {
        return 4;
    }
    if (!stay.SayReady()) {
        return 5;
    }
    stay.Stay(/*bDispatches=*/!bHangs);
    return 0;
}
