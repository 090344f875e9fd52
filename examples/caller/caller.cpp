// Opens one mini-program through the helper and says how it ended: "1" is the word of success, and the exit code 0.
//
//   caller [PROGRAM]    PROGRAM is the full path of nexlet.exe; without it the one beside nexlet_client.dll
#include <windows.h>

#include <cstdio>
#include <string>

#include <nexlet_client.hpp>

namespace {

constexpr char kOpen[] =
    R"({"type":"miniApp","appId":"wx0123456789abcdef","appPath":"pages/index/index","taskId":"first","from":"example"})";
constexpr char kQuestion[] = R"({"type":"miniApp","taskId":"first","from":"example"})";
constexpr std::uint32_t kWaitMs = 30000;
constexpr std::uint32_t kAskEveryMs = 50;

int Fail(const char* step, const std::string& why) {
    std::fprintf(stderr, "%s: %s\n", step, why.c_str());
    return 1;
}

}  // namespace

int main(int count, char** values) {
    CNexletClient client;
    // An id of its own for each run, so that a helper which still holds the service of an earlier one is not in the
    // way.
    nexlet_result result = client.Open("example", "caller-" + std::to_string(GetCurrentProcessId()));
    if (result != NEXLET_OK) {
        return Fail("open the pipe", nexlet_result_text(result));
    }
    nexlet_start_options start = {};
    start.program = count > 1 ? values[1] : nullptr;
    start.product = "example";
    start.from = "example";
    result = client.Start(start, kWaitMs);
    if (result != NEXLET_OK) {
        return Fail("start the helper", nexlet_result_text(result));
    }
    NexletAnswer<std::string> word = client.OpenTarget(kOpen, kWaitMs);
    if (word && (word.value == "1" || word.value == "Loading")) {
        word = client.AwaitTarget(kQuestion, kAskEveryMs, kWaitMs);
    }
    if (!word) {
        return Fail("open a mini-program", word.Text());
    }
    std::printf("the open ended with \"%s\": %s\n", word.value.c_str(), nexlet_word_text(word.value.c_str()));

    const NexletAnswer<bool> exit = client.Exit(kWaitMs);
    if (!exit) {
        return Fail("let the helper go", exit.Text());
    }
    std::printf("the helper %s\n", exit.value ? "ended" : "runs on for others");
    return word.value == "1" ? 0 : 1;
}
