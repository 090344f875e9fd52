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

struct Target {
    const char* kind;
    const char* open;
    const char* question;
    // The title of the window that shows a weChat target, and nothing for the others.
    const wchar_t* window;
};
const Target kTargets[] = {
    // Through the WeChat SDK beside the helper, which reports the end.
    {"miniApp",
     R"({"type":"miniApp","from":"example","taskId":"t","appId":"wx0123456789abcdef","appPath":"pages/index/index"})",
     R"({"type":"miniApp","from":"example","taskId":"t"})", nullptr},
    // Through the installed WeChat client, by the URL of its scheme. The window is all that tells of the end.
    {"weChat",
     R"({"type":"weChat","from":"example","taskId":"t","urlScheme":"nexlet-wechat://page","wndname":"A page"})",
     R"({"type":"weChat","from":"example","taskId":"t","wndname":"A page"})", L"A page"},
    // Through the YYB SDK beside the helper, which reports the end. With "try_install", "AllowInstallYYB" and
    // "OvrinSafeExist" of 1 a missing YYB is installed first.
    {"yyb", R"({"type":"yyb","from":"example","taskId":"t","appId":"com.example.app","yybParam":"param"})",
     R"({"type":"yyb","from":"example","taskId":"t"})", nullptr}};

bool Step(const char* name, nexlet_result result) {
    std::printf("%s: %s\n", name, nexlet_result_text(result));
    std::fflush(stdout);
    return result == NEXLET_OK;
}

// A weChat task is forgotten with its first question, so the window is waited for before that.
void WaitForWindow(const wchar_t* title) {
    const ULONGLONG end = GetTickCount64() + kWaitMs;
    while (FindWindowW(nullptr, title) == nullptr && GetTickCount64() < end) {
        Sleep(kAskEveryMs);
    }
}

// Whether the target is open.
bool Open(nexlet::Client& client, const Target& target) {
    nexlet::Answer<std::string> word = client.OpenTarget(target.open, kWaitMs);
    if (!Step("open", word.result)) {
        return false;
    }
    std::printf("accepted: %s (%s)\n", word.value.c_str(), nexlet_word_text(word.value.c_str()));
    // "install" is a success too: the open goes on when the program is installed.
    if (word.value != "1" && word.value != "Loading" && word.value != "install") {
        return false;
    }
    if (target.window != nullptr) {
        WaitForWindow(target.window);
        word = client.PollTarget(target.question, kWaitMs);
    } else {
        word = client.AwaitTarget(target.question, kAskEveryMs, kWaitMs);
    }
    if (!Step("wait", word.result)) {
        return false;
    }
    std::printf("opened: %s (%s)\n", word.value.c_str(), nexlet_word_text(word.value.c_str()));
    return word.value == "1";
}

}  // namespace

int main(int count, char** values) {
    const Target* chosen = nullptr;
    for (const Target& target : kTargets) {
        if (count > 1 && std::string(values[1]) == target.kind) {
            chosen = &target;
        }
    }
    if (chosen == nullptr || count > 3) {
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
    const bool open = Open(client, *chosen);
    return Step("exit", client.Exit(kWaitMs).result) && open ? 0 : 1;
}
