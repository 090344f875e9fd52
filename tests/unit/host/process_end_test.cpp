#include "host/process_end.h"

#include <cstdlib>
#include <thread>

#include "foundation/windows_headers.h"

#include <gtest/gtest.h>

#include "host/command_line.h"
#include "open/wx_sdk/wx_api.h"

namespace {

TEST(ProcessEndDeathTest, InvalidArgumentEndsTheProcessWithCodeZero) {
    EXPECT_EXIT(
        {
            EndSilentlyOnFaults();
            _get_invalid_parameter_handler()(nullptr, nullptr, nullptr, 0, 0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(ProcessEndDeathTest, UncaughtExceptionEndsTheProcessWithCodeThree) {
    EXPECT_EXIT(
        {
            EndSilentlyOnFaults();
            []() noexcept { TypeFromSwitch(L"abc"); }();
        },
        testing::ExitedWithCode(3), "^$");
}

TEST(ProcessEndDeathTest, UncaughtExceptionOfAnotherThreadEndsTheProcess) {
    EXPECT_EXIT(
        {
            EndSilentlyOnFaults();
            std::thread([] { throw 5; }).join();
        },
        testing::ExitedWithCode(3), "^$");
}

TEST(ProcessEndTest, ShutdownWithoutSdksIsQuiet) {
    UninitializeSdks();
    EXPECT_FALSE(MINI_API_CLIENT::CWxApi::GetInstance().IsInit());
}

}  // namespace
