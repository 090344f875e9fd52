#include "host/process_end.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <thread>

#include "foundation/windows_headers.h"

#include <gtest/gtest.h>

#include "foundation/log.h"
#include "foundation/text_helpers.h"
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

void LogToErrorOutput() {
    g_bDebugLog.store(1);
    SetLogObserver([](const wchar_t* text) {
        std::fputs((Utf16ToUtf8(text) + "\n").c_str(), stderr);
        std::fflush(stderr);  // the process is terminated next
    });
}

TEST(ProcessEndDeathTest, UncaughtExceptionIsTheLastLineOfTheLog) {
    EXPECT_EXIT(
        {
            EndSilentlyOnFaults();
            LogToErrorOutput();
            std::thread([] { throw std::runtime_error("its reason"); }).join();
        },
        testing::ExitedWithCode(3), "uncaught exception: its reason\r?\n$");
    EXPECT_EXIT(
        {
            EndSilentlyOnFaults();
            LogToErrorOutput();
            std::thread([] { throw 5; }).join();
        },
        testing::ExitedWithCode(3), "uncaught exception\r?\n$");
}

// abort() shows a message box in a program without a console; its exit code is 3 as well.
TEST(ProcessEndDeathTest, UncaughtExceptionWhoseLineNeedsMemoryThatIsNotThereEndsTheProcessAllTheSame) {
    EXPECT_EXIT(
        {
            EndSilentlyOnFaults();
            std::signal(SIGABRT, [](int) { TerminateProcess(GetCurrentProcess(), 99); });
            g_bDebugLog.store(1);
            SetLogObserver([](const wchar_t*) { throw std::bad_alloc(); });
            std::thread([] { throw std::runtime_error("its reason"); }).join();
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
