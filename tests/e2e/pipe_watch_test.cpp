// The helper's look at its caller's pipe, once a minute, in real time.
#include "tests/e2e/end_to_end.h"

namespace {

constexpr std::uint32_t kWatchMs = 60000;

class PipeWatch : public CEndToEnd {};

TEST_F(PipeWatch, CallerThatVanishesEndsTheHelperWithinItsMinuteAndOneThatStaysDoesNot) {
    StartHelper();
    CLibraryCaller other(m_strMark + L"b", m_strService);
    ASSERT_EQ(other.Open(), CallerResult::Ok);
    ASSERT_EQ(other.StartHelper(MakeStart()), CallerResult::Ok);
    CHelperProcess staying;
    ASSERT_TRUE(staying.Attach(other.ProcessId()));
    ReceivedFrame notice;
    ASSERT_EQ(other.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, notice), CallerResult::Ok);

    const ULONGLONG startedAt = GetTickCount64();
    const std::wstring pipe = m_caller->PipeName();
    m_caller->Close();
    EXPECT_TRUE(Log().WaitFor("Disconnected from server!", kLongMs));
    EXPECT_EQ(m_helper.WaitForEnd(kWatchMs + kPruneMs + kLongMs), 0u);
    EXPECT_GE(GetTickCount64() - startedAt, kWatchMs - 5000) << "the first look comes a whole minute after the start";
    EXPECT_NE(Log().Find(" pipe not exist, quit process "), "");
    EXPECT_TRUE(Log().Has("CheckzoltDLLThread end,     = svc"));
    EXPECT_TRUE(
        Log().Has("erase it ,is service id svc, nDelayedTaskCount = 0, bDLLWndExist = 0, bIsDelayedDestroy = 0"));

    EXPECT_TRUE(staying.Log().WaitFor(" pipe exist, do not quit process", kLongMs));
    EXPECT_TRUE(staying.Log().Has("DoesNamedPipeExist , dwError=231")) << "the pipe is busy with the helper itself";
    EXPECT_TRUE(staying.IsRunning());
    ExpectServed(other);
}

}  // namespace
