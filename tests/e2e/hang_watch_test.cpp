// A helper whose main thread no longer answers ends itself.
#include "tests/e2e/end_to_end.h"

namespace {

// The probe waits 15 seconds, the next one begins at most a second later.
constexpr std::uint32_t kEndMs = 60000;

using HangWatch = CEndToEnd;

TEST_F(HangWatch, HelperWhoseWindowDoesNotAnswerEndsItself) {
    StartHelper();
    const HWND window = FindWindowExW(HWND_MESSAGE, nullptr, (L"ProgramIPCMessageS_" + m_strMark).c_str(), nullptr);
    ASSERT_NE(window, nullptr) << Log().Tail();
    const CKernelHandle mainThread(
        OpenThread(THREAD_SUSPEND_RESUME, FALSE, GetWindowThreadProcessId(window, /*lpdwProcessId=*/nullptr)));
    ASSERT_TRUE(mainThread.valid());
    ASSERT_NE(SuspendThread(mainThread.get()), static_cast<DWORD>(-1));
    EXPECT_EQ(m_helper.WaitForEnd(kEndMs), 0u) << Log().Tail();
    EXPECT_NE(Log().Find("wnd Hang error time is "), "") << Log().Tail();
    EXPECT_NE(Log().Find("/static/a/1663.1965.gif sync : 0"), "") << Log().Tail();
}

}  // namespace
