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
        EXPECT_EQ(Log().FirstOutOfOrder({"wnd Hang error time is ",
                                         "Report: https://statistics.nexlet.invalid/static/a/1663.1965.gif sync : 0"}),
                  "")
            << Log().Tail();
        const std::vector<std::string> lines = Log().Lines();
        EXPECT_NE(lines.back().find("1663.1965.gif"), std::string::npos) << "nothing comes after the beacon";
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
    EXPECT_NE(Log().Find("start hang check."), "") << Log().Tail();
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

// The thread that loads the SDK then has the loader's lock, which no start of a thread and no load gets past.
TEST_F(HangWatch, SdkThatHangsWhileItIsLoadedEndsTheHelper) {
    m_sandbox.LayOcean(L"good");
    m_sandbox.SetOcean(L"hold_attach", m_gate.Name());
    ASSERT_TRUE(m_sandbox.Ready());
    ASSERT_NO_FATAL_FAILURE(StartHelperOnAnOpen(MiniAppOpen("t")));
    ExpectTheEndByTheFirstMissedProbe();
    EXPECT_EQ(m_sandbox.OceanCalls(), "holding attach\n");
}

// The caller's open arrives while the helper is still at its start, which then may wait for the loader's lock.
TEST_F(HangWatch, SdkThatHangsDuringTheStartEndsTheHelper) {
    m_sandbox.LayOcean(L"good");
    m_sandbox.SetOcean(L"hold_attach", m_gate.Name());
    ASSERT_TRUE(m_sandbox.Ready());
    Json::Value content = ServiceContent(m_strService);
    content["p1"] = JsonOf(MiniAppOpen("t"));
    ASSERT_EQ(m_caller->StartHelper(MakeStart()), CallerResult::Ok);
    ASSERT_TRUE(m_helper.Attach(m_caller->ProcessId()));
    ASSERT_EQ(m_caller->WaitForConnection(kLongMs), CallerResult::Ok) << Log().Tail();
    ASSERT_EQ(m_caller->Send(Number(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN), content, kLongMs), CallerResult::Ok);
    ASSERT_TRUE(WaitUntil([this] { return m_sandbox.OceanCalls() == "holding attach\n"; })) << Log().Tail();
    // Where the start got through all the same, an open on the host's pipe takes the lock of the instances with it into
    // its wait, and the window's thread runs into that. Where it did not, the helper may end first.
    DWORD error = 0;
    if (m_host.Connect(m_strMark, kLongMs, error) == CallerResult::Ok) {
        m_host.Send(Number(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN), content, kLongMs);
        m_host.Close();
    }
    ExpectTheEndByTheFirstMissedProbe();
}

}  // namespace
