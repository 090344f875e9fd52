// A stand-in for another product's process: copied under that product's name it runs, and shows windows, until told to
// stop.
//
//   stand_in [--stop EVENT] [--ready EVENT] [--parent PID] [--window CLASS TITLE]... [anything else is ignored]
//
// It ends when the stop event is set or the parent process ends. ready is set once everything asked for is there.
#include "world/process/stay.h"

namespace {

struct WindowWish {
    std::wstring className;
    std::wstring title;
};

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
    const std::vector<std::wstring> words = CommandLineWords();
    CStay stay;
    std::vector<WindowWish> windows;
    for (std::size_t i = 1; i < words.size(); ++i) {
        if (!stay.Take(words, i) && words[i] == L"--window" && i + 2 < words.size()) {
            windows.push_back({words[i + 1], words[i + 2]});
            i += 2;
        }
    }
    if (const int failure = stay.Begin(); failure != 0) {
        return failure;
    }
    for (const WindowWish& wish : windows) {
        if (MakeWindow(wish.className, wish.title, DefWindowProcW) == nullptr) {
            return 4;
        }
    }
    if (!stay.SayReady()) {
        return 5;
    }
    stay.Stay(/*bDispatches=*/true);
    return 0;
}
