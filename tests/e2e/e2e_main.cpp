// The main function of the tests that run with the log on and the mini-program application installed. The registry
// says so for the whole Wine prefix, which is these tests' own.
#include <iostream>

#include <gtest/gtest.h>

#include "tests/support/sandbox.h"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (!::testing::GTEST_FLAG(list_tests) && (!LayMiniProgramInstalled() || !SwitchHelperLogOn())) {
        std::cerr << "the registry cannot be prepared: " << GetLastError() << "\n";
        return 1;
    }
    return RUN_ALL_TESTS();
}
