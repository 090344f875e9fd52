// Two services of one product share one helper. Each has a pipe, replies and callbacks of its own.
//
//   two_services [PROGRAM]    PROGRAM is the full path of nexlet.exe; without it the one beside nexlet_client.dll
//
// Exit codes: 0 both were served by one process, which ended after the second had let go; 1 something else happened.
#include <atomic>
#include <cstdio>
#include <string>

#include <nexlet_client.hpp>

namespace {

constexpr std::uint32_t kWaitMs = 30000;

struct Service {
    std::string name;
    // Callbacks may come on several threads at once.
    std::atomic<int> received{0};
    nexlet::Client client{};

    nexlet_result Start(const char* program) {
        nexlet::Callbacks callbacks;
        callbacks.onGone = [this] { std::printf("%s: the helper is gone\n", name.c_str()); };
        callbacks.onFrame = [this](std::int32_t direction, std::string_view) {
            received += direction == NEXLET_RECEIVED;
        };
        const nexlet_result result = client.Open("example", std::move(callbacks));
        if (result != NEXLET_OK) {
            return result;
        }
        nexlet_start_options start = {};
        start.program = program;
        start.product = "example";
        start.from = name.c_str();
        // The second start finds the helper of the mark and hands its command line over.
        return client.Start(start, kWaitMs);
    }
    nexlet_result Ask() {
        const nexlet::Answer<nexlet_app_status> status = client.Status(kWaitMs);
        std::printf("%s: status: %s\n", name.c_str(), status.Text());
        return status.result;
    }
    // Lets the helper go; ended becomes whether its process has ended.
    nexlet_result Exit(bool& ended) {
        const nexlet::Answer<bool> exit = client.Exit(kWaitMs);
        ended = exit.value;
        std::printf("%s: exit: %s, the helper %s\n", name.c_str(), exit.Text(), ended ? "ended" : "runs on for others");
        return exit.result;
    }
};

int Fail(const Service& service, nexlet_result result) {
    std::printf("%s: %s\n", service.name.c_str(), nexlet_result_text(result));
    return 1;
}

}  // namespace

int main(int count, char** values) {
    const char* program = count > 1 ? values[1] : nullptr;
    Service first{"first"};
    Service second{"second"};
    for (Service* service : {&first, &second}) {
        nexlet_result result = service->Start(program);
        if (result == NEXLET_OK) {
            result = service->Ask();
        }
        if (result != NEXLET_OK) {
            return Fail(*service, result);
        }
    }
    const bool shared = first.client.Helper().process_id == second.client.Helper().process_id;
    std::printf("one process: %s; second start forwarded: %s\n", shared ? "yes" : "no",
                second.client.Helper().forwarded != 0 ? "yes" : "no");

    bool ended = false;
    nexlet_result result = first.Exit(ended);
    if (result != NEXLET_OK) {
        return Fail(first, result);
    }
    // The other service does not notice.
    result = second.Ask();
    if (result != NEXLET_OK) {
        return Fail(second, result);
    }
    const bool early = ended;
    result = second.Exit(ended);
    if (result != NEXLET_OK) {
        return Fail(second, result);
    }
    std::printf("frames received: first %s, second %s\n", first.received > 1 ? "some" : "too few",
                second.received > 2 ? "some" : "too few");
    return shared && !early && ended && first.received > 1 && second.received > 2 ? 0 : 1;
}
