// Runs world callers or race under one seed after the other, each in a process of its own, for ThreadSanitizer: one
// thread runs at a time, and it reports what no lock, wait or atomic of the product puts in an order.
//
//   simulate_threads [--seed=N] [--seeds=COUNT] [--world=race]
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "simulation/simulate.h"
#include "simulation/worlds/world.h"

// The first report ends the process of its seed.
extern "C" const char* __tsan_default_options() {
    return "halt_on_error=1:report_signal_unsafe=0";
}

namespace {

constexpr std::uint64_t kWorldStream = 7;

[[noreturn]] void RunSeed(std::uint64_t nSeed, bool bRace) {
    simulation::Options options = simulation::OptionsOfSeed(nSeed);
    options.strName = bRace ? "world race" : "world callers";
    simulation::Run(options, [&] {
        const simulation::CRandom random(nSeed, kWorldStream);
        if (bRace) {
            simulation::RunRaceWorld(random);
        } else {
            simulation::RunCallersWorld(random);
        }
    });
    // Static objects are not destroyed: their destructors would need the machine.
    std::fflush(nullptr);
    _exit(0);
}

}  // namespace

int main(int argc, char** argv) {
    std::uint64_t nSeed = 1;
    std::uint64_t nSeeds = 1;
    bool bRace = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--seed=", 7) == 0) {
            nSeed = std::strtoull(argv[i] + 7, nullptr, 10);
        } else if (std::strncmp(argv[i], "--seeds=", 8) == 0) {
            nSeeds = std::strtoull(argv[i] + 8, nullptr, 10);
        } else if (std::strcmp(argv[i], "--world=race") == 0) {
            bRace = true;
        } else {
            std::fprintf(stderr, "usage: simulate_threads [--seed=N] [--seeds=COUNT] [--world=race]\n");
            return 2;
        }
    }
    for (std::uint64_t n = nSeed; n < nSeed + nSeeds; ++n) {
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            RunSeed(n, bRace);
        }
        int nStatus = 0;
        waitpid(child, &nStatus, 0);
        if (nStatus != 0) {
            std::printf("failed at seed %llu\n", static_cast<unsigned long long>(n));
            return 1;
        }
    }
    std::printf("%llu seeds passed\n", static_cast<unsigned long long>(nSeeds));
    return 0;
}
