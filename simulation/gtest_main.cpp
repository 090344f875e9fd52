// The main of test programs that run on the simulated machine: all tests of the program in one run, for each seed.
//
//   PROGRAM [--seed=N] [--seeds=COUNT] [GoogleTest's options]
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/wait.h>
#include <unistd.h>

#include "simulation/simulate.h"

// A test that watches allocations has an operator new of its own, which the C++ library's own blocks did not come from.
// By its default in newer versions AddressSanitizer keeps local variables outside the stacks of the fibers, where the
// search for leaks does not look.
extern "C" const char* __asan_default_options() {
    return "alloc_dealloc_mismatch=0:detect_stack_use_after_return=0";
}

// Ends the process: static objects of the product are not destroyed, since their destructors would need the machine.
[[noreturn]] static void RunSeed(std::uint64_t nSeed, const char* szProgram) {
    simulation::Options options = simulation::OptionsOfSeed(nSeed);
    options.strName = szProgram;
    int nResult = 0;
    simulation::Run(options, [&] { nResult = RUN_ALL_TESTS(); });
    if (nResult == 0) {
        simulation::LookForLeaks();
    }
    std::fflush(nullptr);
    std::_Exit(nResult);
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    std::uint64_t nSeed = 1;
    std::uint64_t nSeeds = 1;
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--seed=", 7) == 0) {
            nSeed = std::strtoull(argv[i] + 7, nullptr, 10);
        } else if (std::strncmp(argv[i], "--seeds=", 8) == 0) {
            nSeeds = std::strtoull(argv[i] + 8, nullptr, 10);
        } else {
            std::fprintf(stderr, "%s: %s is not known\n", argv[0], argv[i]);
            return 2;
        }
    }
    if (testing::GTEST_FLAG(list_tests)) {
        return RUN_ALL_TESTS();
    }
    if (nSeeds > 1) {
        // Lines for every test of every seed would hide the one that fails.
        testing::TestEventListeners& listeners = testing::UnitTest::GetInstance()->listeners();
        delete listeners.Release(listeners.default_result_printer());
        struct Failures final : testing::EmptyTestEventListener {
            // Asked for in the middle of a result, GoogleTest would wait for its own lock.
            const testing::TestInfo* pTest = nullptr;
            void OnTestStart(const testing::TestInfo& test) override { pTest = &test; }
            void OnTestPartResult(const testing::TestPartResult& result) override {
                if (result.failed()) {
                    std::printf("%s.%s, %s:%d: %s\n", pTest != nullptr ? pTest->test_suite_name() : "",
                                pTest != nullptr ? pTest->name() : "",
                                result.file_name() != nullptr ? result.file_name() : "", result.line_number(),
                                result.message());
                }
            }
        };
        listeners.Append(new Failures);
    }
    if (nSeeds == 1) {
        RunSeed(nSeed, argv[0]);
    }
    for (std::uint64_t n = nSeed; n < nSeed + nSeeds; ++n) {
        // Static objects of the product are new for every seed.
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            RunSeed(n, argv[0]);
        }
        int nStatus = 0;
        waitpid(child, &nStatus, 0);
        if (nStatus != 0) {
            std::printf("Failed with --seed=%llu\n", static_cast<unsigned long long>(n));
            return 1;
        }
    }
    std::printf("%llu seeds passed\n", static_cast<unsigned long long>(nSeeds));
    return 0;
}
