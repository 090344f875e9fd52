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
    // The first window of all makes Wine start the desktop; a helper whose own window comes while it starts may get
    // none.
    const HWND own =
        CreateWindowExW(0, L"STATIC", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, /*lpParam=*/nullptr);
    const int result = RUN_ALL_TESTS();
    DestroyWindow(own);
    return result;
}
