// What nexctl says of a helper that has gone, and of logs.
#include <thread>

#include "tests/e2e/nexctl_fixture.h"

namespace {

using NexctlGone = Nexctl;

TEST_F(NexctlGone, CodeOfTheSystemIsToldInHexadecimalWithTheLastWords) {
    ASSERT_EQ(Run({"start"}).dwExitCode, 0u);
    ConsoleRun run;
    std::thread listener([&] {
        run = Run({"send", "99", "{}", "--expect", "0", "listen", "--service", "listens", "--timeout", "60000"});
    });
    const CHelperLog log = m_helper.Log();
    // A helper that ends before nexctl has all of its start is replaced by another. With a request it has.
    EXPECT_TRUE(log.WaitFor("\"message_type\":99", kLongMs)) << log.Tail();
    TerminateProcess(m_helper.Handle(), 0xC0000005);
    listener.join();
    EXPECT_EQ(run.dwExitCode, 4u) << run.strOut << run.strErr;
    EXPECT_EQ(JsonLines(run.strOut).back()["exit_code"].asUInt(), 0xC0000005u);
    EXPECT_NE(run.strErr.find("its exit code was 0xC0000005; its log says: \""), std::string::npos) << run.strErr;
}

TEST_F(NexctlGone, ListenTellsTheExceptionThatEndedTheHelper) {
    const ConsoleRun run = Run({"start", "send", "5", R"({"p1":{}})", "--expect", "0", "listen", "--timeout", "60000"});
    EXPECT_EQ(run.dwExitCode, 4u) << run.strOut << run.strErr;
    EXPECT_NE(run.strErr.find("nexctl: listen: "), std::string::npos) << run.strErr;
    EXPECT_NE(run.strErr.find("its exit code was 3; its log says: ended: uncaught exception: "), std::string::npos)
        << run.strErr;
}

TEST_F(NexctlGone, RequestThatEndsTheHelperTellsSo) {
    const ConsoleRun run = Run({"start", "send", "5", R"({"p1":{}})", "exit"});
    EXPECT_EQ(run.dwExitCode, 4u);
    EXPECT_NE(run.strErr.find("nexctl: send: "), std::string::npos) << run.strErr;
    EXPECT_NE(run.strErr.find("its exit code was 3; its log says: ended: uncaught exception: "), std::string::npos)
        << run.strErr;
}

TEST_F(NexctlGone, LogOnWarnsThatALogHoldsRequestsInFull) {
    // It is on in this prefix.
    const ConsoleRun run = RunPlain({"log", "on"});
    EXPECT_EQ(run.dwExitCode, 0u);
    EXPECT_NE(run.strErr.find("a log holds requests and replies in full"), std::string::npos) << run.strErr;
    EXPECT_EQ(RunPlain({"log", "status"}).strErr, "");
}

TEST_F(NexctlGone, EveryProcessThatIsAskedForIsShown) {
    ASSERT_EQ(Run({"start"}).dwExitCode, 0u);
    const std::string first = std::to_string(m_helper.Id());
    CHelperProcess running = std::move(m_helper);
    m_helper = CHelperProcess();
    const std::string other = Utf16ToUtf8(m_strMark) + "-other";
    ASSERT_EQ(RunPlain({"start", "--exe", Utf16ToUtf8(m_sandbox.Exe()), "--mark", other}).dwExitCode, 0u);
    const std::string second = std::to_string(m_helper.Id());
    // The one that was killed, and the one that runs.
    m_helper.WaitForEnd(0);
    TerminateProcess(m_helper.Handle(), 1);
    m_helper.WaitForEnd(kLongMs);
    const ConsoleRun run =
        RunPlain({"log", "show", "--text", "--pid", first, "--pid", second, "--function", "wwinmain"});
    EXPECT_EQ(run.dwExitCode, 0u) << run.strErr;
    EXPECT_NE(run.strErr.find("process " + first + ", mark \"" + Utf16ToUtf8(m_strMark) + "\""), std::string::npos);
    EXPECT_NE(run.strErr.find("process " + second + ", mark \"" + other + "\""), std::string::npos) << run.strErr;
    EXPECT_NE(run.strErr.find("ended without a line: killed, or crashed"), std::string::npos) << run.strErr;
    EXPECT_NE(run.strOut.find("enter mark=" + Utf16ToUtf8(m_strMark) + "\n"), std::string::npos);
    EXPECT_NE(run.strOut.find("enter mark=" + other + "\n"), std::string::npos);
    EXPECT_EQ(run.strOut.find("InitData"), std::string::npos) << "of one function alone";
    // Without a process the killed one is the only one of its mark.
    EXPECT_NE(RunPlain({"log", "show", "--mark", other}).strErr.find("process " + second), std::string::npos);
    // "on DATE" is that of the last line.
    SYSTEMTIME now = {};
    GetLocalTime(&now);
    EXPECT_NE(run.strErr.find(" on " + std::to_string(now.wYear) + "-"), std::string::npos) << run.strErr;
}

}  // namespace
