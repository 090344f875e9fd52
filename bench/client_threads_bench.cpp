// How many requests a second one client of nexlet_client.dll gets through on 1, 2 and 8 threads, against the real
// helper. The helper answers one request at a time, so more threads gain little, but they must not cost anything: a
// client whose threads wait for each other's writes to be read falls to a request a second.
//
//   client_threads_bench [rounds]
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "bench/bench_table.h"
#include "client/include/nexlet_client.hpp"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "tests/support/unique_name.h"

namespace {

constexpr int kRequestsPerRound = 160;
constexpr std::uint32_t kLimitMs = 60000;
constexpr int kThreads[] = {1, 2, 8};

// Ends with what failed: a benchmark that went wrong measures nothing.
void Require(bool good, const char* what) {
    if (!good) {
        std::fprintf(stderr, "%s failed, error %lu\n", what, GetLastError());
        std::exit(1);
    }
}

// Requests a second. Half of the threads ask for the identity, the others seal a text, so that requests of two types,
// which do not wait for each other's turn, are under way at once.
double Rate(CNexletClient& client, int threads) {
    std::atomic<int> left{kRequestsPerRound};
    const double startedAt = Milliseconds();
    std::vector<std::thread> askers;
    for (int i = 0; i < threads; ++i) {
        askers.emplace_back([&client, &left, i] {
            for (int n = left--; n > 0; n = left--) {
                const bool seals = (i + n) % 2 == 0;
                Require(seals ? static_cast<bool>(client.Encrypt("text", kLimitMs))
                              : static_cast<bool>(client.Identity(kLimitMs)),
                        "a request");
            }
        });
    }
    for (std::thread& asker : askers) {
        asker.join();
    }
    return kRequestsPerRound * 1000.0 / (Milliseconds() - startedAt);
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
    const std::string mark = Utf16ToUtf8(UniqueName(L"clientbench"));
    CNexletClient client;
    Require(client.Open(mark, "bench") == NEXLET_OK, "opening the client");
    Require(client.Start(kLimitMs) == NEXLET_OK, "starting the helper");
    Rate(client, 1);
    double best[std::size(kThreads)] = {};
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < std::size(kThreads); ++i) {
            best[i] = std::max(best[i], Rate(client, kThreads[i]));
        }
    }
    std::printf("\nrequests a second on one client, the best of %d rounds of %d requests\n", rounds, kRequestsPerRound);
    for (std::size_t i = 0; i < std::size(kThreads); ++i) {
        std::printf("  %d thread%s %9.1f  %5.2f x one thread's\n", kThreads[i], kThreads[i] == 1 ? " " : "s", best[i],
                    best[i] / best[0]);
    }
    client.Exit(kLimitMs);
    return 0;
}
