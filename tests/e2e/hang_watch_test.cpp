// A helper whose main thread no longer answers ends itself.
#include "tests/e2e/end_to_end.h"
#include "tests/support/stand_in_process.h"

namespace {

// The probe waits 15 seconds, the next one begins at most a second later.
constexpr std::uint32_t kEndMs = 60000;

class HangWatch : public CEndToEnd {
  protected:
    void ExpectTheEndByTheFirstMissedProbe() {
        EXPECT_EQ(m_helper.WaitForEnd(kEndMs), 0u) << Log().Tail();
        EXPECT_EQ(Log().FindAll("wnd Hang error time is ").size(), 1u) << Log().Tail();
        EXPECT_EQ(Log().FirstOutOfOrder({"start hang check.", "wnd Hang error time is ",
                                         "Report: https://statistics.nexlet.invalid/static/a/1663.1965.gif sync : 0"}),
                  "")
            << Log().Tail();
        const std::vector<std::string> lines = Log().Lines();
        EXPECT_NE(lines.back().find("1663.1965.gif"), std::string::npos) << "nothing comes behind the beacon";
    }

    CTestEvent m_gate;
};

TEST_F(HangWatch, HelperWhoseWindowDoesNotAnswerEndsItself) {
    // The first window of all makes the desktop that the helper's is then found on.
    const HWND own =
        CreateWindowExW(0, L"STATIC", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, /*lpParam=*/nullptr);
    ASSERT_NE(own, nullptr);
    StartHelper();
    HWND window = nullptr;
    ASSERT_TRUE(WaitUntil([&] {
        window = FindWindowExW(HWND_MESSAGE, nullptr, (L"ProgramIPCMessageS_" + m_strMark).c_str(), nullptr);
        return window != nullptr;
    })) << Log().Tail();
    // Caught in the midst of its start it could hold a lock of the system that the watchdog itself needs.
    DWORD_PTR reply = 0;
    ASSERT_NE(SendMessageTimeoutW(window, WM_NULL, 0, 0, SMTO_NORMAL, kLongMs, &reply), 0) << GetLastError();
    const CKernelHandle mainThread(
        OpenThread(THREAD_SUSPEND_RESUME, FALSE, GetWindowThreadProcessId(window, /*lpdwProcessId=*/nullptr)));
    ASSERT_TRUE(mainThread.valid());
    ASSERT_NE(SuspendThread(mainThread.get()), static_cast<DWORD>(-1));
    ExpectTheEndByTheFirstMissedProbe();
    DestroyWindow(own);
}

TEST_F(HangWatch, OpenOfTheCommandLineThatHangsInItsSdkEndsTheHelper) {
    m_sandbox.LayOcean(L"good");
    m_sandbox.SetOcean(L"hold", m_gate.Name());
    ASSERT_TRUE(m_sandbox.Ready());
    ASSERT_NO_FATAL_FAILURE(StartHelperOnAnOpen(MiniAppOpen("t")));
    ExpectTheEndByTheFirstMissedProbe();
    EXPECT_NE(m_sandbox.OceanCalls().find("holding"), std::string::npos) << m_sandbox.OceanCalls();
}

}  // namespace
