// Opens a target of one of the three kinds and says how it ended. They differ in what an open needs and in how its end
// is seen.
//
//   targets miniApp|weChat|yyb [PROGRAM]    PROGRAM is the full path of nexlet.exe; without it the one beside
//                                           nexlet_client.dll
//
// Exit codes: 0 the target is open; 1 it is not, and the last lines say why; 2 usage.
#include <windows.h>

#include <cstdio>
#include <string>

#include <nexlet_client.hpp>

namespace {

constexpr std::uint32_t kWaitMs = 30000;
constexpr std::uint32_t kAskEveryMs = 100;

// The target of a kind. Records in place of JSON by hand: a key that is missing is named by nexlet_last_error_text.
bool MakeTarget(const std::string& kind, nexlet_app& app) {
    app.from = "example";
    app.task_id = "t";
    if (kind == "miniApp") {
        // Through the WeChat SDK beside the helper, which reports the end.
        app.type = "miniApp";
        app.app_id = "wx0123456789abcdef";
        app.app_path = "pages/index/index";
    } else if (kind == "weChat") {
        // Through the installed WeChat client, by the URL of its scheme. Only the window shows that it is open.
        app.type = "weChat";
        app.url_scheme = "nexlet-wechat://page";
        app.window_title = "A page";
    } else if (kind == "yyb") {
        // Through the YYB SDK beside the helper, which reports the end. With the three install flags a missing YYB is
        // installed first.
        app.type = "yyb";
        app.app_id = "com.example.app";
        app.yyb_param = "param";
    }
    return app.type != nullptr;
}

bool Step(const char* name, nexlet_result result) {
    std::printf("%s: %s\n", name, result == NEXLET_OK ? "done" : nexlet_last_error_text());
    std::fflush(stdout);
    return result == NEXLET_OK;
}

// A weChat task is forgotten with its first question, so the window is waited for before that. A title that is not
// ASCII needs FindWindowW.
void WaitForWindow(const char* title) {
    const ULONGLONG end = GetTickCount64() + kWaitMs;
    while (FindWindowA(nullptr, title) == nullptr && GetTickCount64() < end) {
        Sleep(kAskEveryMs);
    }
}

// Whether the target is open.
bool Open(nexlet::Client& client, const nexlet_app& app) {
    nexlet_app_question question = {};
    question.type = app.type;
    question.from = app.from;
    question.task_id = app.task_id;
    question.window_title = app.window_title;
    nexlet::Answer<std::string> word = client.OpenApp(app, kWaitMs);
    if (!Step("open", word.result)) {
        return false;
    }
    std::printf("accepted: %s (%s)\n", word.value.c_str(), nexlet_word_text(word.value.c_str()));
    // "install" is a success too: the open goes on when the program is installed.
    if (word.value != "1" && word.value != "Loading" && word.value != "install") {
        return false;
    }
    if (app.window_title != nullptr) {
        WaitForWindow(app.window_title);
        word = client.PollApp(question, kWaitMs);
    } else {
        word = client.AwaitApp(question, kAskEveryMs, kWaitMs);
    }
    if (!Step("wait", word.result)) {
        return false;
    }
    std::printf("opened: %s (%s)\n", word.value.c_str(), nexlet_word_text(word.value.c_str()));
    return word.value == "1";
}

}  // namespace

int main(int count, char** values) {
    nexlet_app app = {};
    if (count < 2 || count > 3 || !MakeTarget(values[1], app)) {
        std::fputs("usage: targets miniApp|weChat|yyb [PROGRAM]\n", stderr);
        return 2;
    }
    nexlet::Client client;
    nexlet_start_options start = {};
    start.program = count > 2 ? values[2] : nullptr;
    start.product = "example";
    start.from = "example";
    if (!Step("serve", client.Open("example")) || !Step("start", client.Start(start, kWaitMs))) {
        return 1;
    }
    const bool open = Open(client, app);
    return Step("exit", client.Exit(kWaitMs).result) && open ? 0 : 1;
}
