// Keeps a helper running: when its process ends unexpectedly, it is started again on the same pipe.
//
//   restart [PROGRAM]    PROGRAM is the full path of nexlet.exe; without it the one beside nexlet_client.dll
//
// To have something to show, the example ends the helper's process itself, as a crash would.
// Exit codes: 0 the helper was lost, started again, and answered; 1 a step failed.
#include <windows.h>

#include <cstdio>

#include <nexlet_client.hpp>

namespace {

constexpr std::uint32_t kWaitMs = 30000;

bool Step(const char* name, nexlet_result result) {
    std::printf("%s: %s\n", name, nexlet_result_text(result));
    std::fflush(stdout);
    return result == NEXLET_OK;
}

// As a crash would.
bool EndHelper(DWORD processId) {
    const HANDLE process = OpenProcess(PROCESS_TERMINATE, FALSE, processId);
    const bool ended = process != nullptr && TerminateProcess(process, 1);
    if (process != nullptr) {
        CloseHandle(process);
    }
    return ended;
}

}  // namespace

int main(int count, char** values) {
    const HANDLE gone = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    nexlet::Callbacks callbacks;
    // Comes on a thread of the library, where no request may be sent: it tells another thread.
    callbacks.onGone = [gone] { SetEvent(gone); };

    nexlet::Client client;
    if (!Step("serve", client.Open("example", std::move(callbacks)))) {
        return 1;
    }
    nexlet_start_options start = {};
    start.program = count > 1 ? values[1] : nullptr;
    start.product = "example";
    start.from = "example";
    if (!Step("start", client.Start(start, kWaitMs)) || !Step("status", client.Status(kWaitMs).result)) {
        return 1;
    }
    const std::uint32_t first = client.Helper().process_id;
    if (!EndHelper(first)) {
        std::puts("the helper's process could not be ended");
        return 1;
    }

    // A product waits for this event in its own loop. A request that was under way has given NEXLET_GONE.
    if (WaitForSingleObject(gone, kWaitMs) != WAIT_OBJECT_0) {
        std::puts("the loss was not told");
        return 1;
    }
    std::printf("lost: a status gives \"%s\"\n", client.Status(kWaitMs).Text());
    // The pipe is still served, so the next helper finds it. What was open in the first is not known to the second.
    if (!Step("start again", client.Start(start, kWaitMs)) || !Step("status", client.Status(kWaitMs).result)) {
        return 1;
    }
    std::printf("another process: %s\n", client.Helper().process_id != first ? "yes" : "no");
    const nexlet::Answer<bool> exit = client.Exit(kWaitMs);
    CloseHandle(gone);
    return Step("exit", exit.result) && exit.value ? 0 : 1;
}
