// Starts, second starts, instances and the end of the helper.
#include "foundation/text_helpers.h"
#include "ipc/transport/pipe_names.h"
#include "tests/e2e/end_to_end.h"

namespace {

constexpr DWORD kUncaughtException = 3;

bool MutexExists(const std::wstring& mark) {
    return CKernelHandle(OpenMutexW(SYNCHRONIZE, FALSE, (kMutexBase + mark).c_str())).valid();
}

bool PipeExists(const std::wstring& name) {
    return WaitNamedPipeW(name.c_str(), 1) != FALSE || GetLastError() != ERROR_FILE_NOT_FOUND;
}

bool MessageWindowExists(const std::wstring& mark) {
    return FindWindowExW(HWND_MESSAGE, nullptr, (L"ProgramIPCMessageS_" + mark).c_str(), nullptr) != nullptr;
}

class Lifecycle : public CEndToEnd {
  protected:
    // "/from:MARK", and what follows.
    std::wstring From(const std::wstring& rest = {}) const { return L"/from:" + m_strMark + rest; }

    // Starts a helper for a caller of another mark, which has to run beside the first.
    void StartBeside(CLibraryCaller& other, CHelperProcess& second) {
        ASSERT_EQ(other.Open(), CallerResult::Ok);
        ASSERT_EQ(other.StartHelper(MakeStart()), CallerResult::Ok);
        ASSERT_TRUE(second.Attach(other.ProcessId()));
        ReceivedFrame notice;
        EXPECT_EQ(other.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, notice), CallerResult::Ok);
        EXPECT_TRUE(second.IsRunning());
        EXPECT_TRUE(m_helper.IsRunning());
    }
};

TEST_F(Lifecycle, RequestOnTheHostsPipeForAnUnknownServiceMakesAnInstance) {
    StartHelper();
    const auto other = Serve("other");
    SendToHost(MessageType::S_MT_OpenMiniAppSuccessfully, QuickRequest("other", 99));
    ReceivedFrame reply;
    ASSERT_EQ(other->WaitForFrame(0, kLongMs, reply), CallerResult::Ok);
    EXPECT_EQ(reply.nType, Number(MessageType::S_MT_StatusReply))
        << "no ready notice: that one is for the service of a command line";
    EXPECT_EQ(reply.content["tag"].asInt(), 99);
    ExpectServed(*other);
    ExpectServed();
}

TEST_F(Lifecycle, CallerWithoutAPipeIsTriedOnceAndNeverAgain) {
    StartBare(From(L" /service_id:nobody"));
    EXPECT_TRUE(Log().WaitFor("service ipc not init", kLongMs));
    EXPECT_TRUE(Log().Has("]OpenPipe 2"));
    EXPECT_TRUE(Log().Has("]pClientContext->GetPipe()"));
    EXPECT_TRUE(Log().Has("]Failed to connect to server!"));
    const auto late = Serve("nobody");
    SendToHost(MessageType::S_MT_OpenMiniAppSuccessfully, QuickRequest("nobody", 0));
    EXPECT_TRUE(Log().WaitFor("service ipc not init", kLongMs, 2));
    EXPECT_EQ(late->Connections(), 0u);
    EXPECT_EQ(Log().Count("]Failed to connect to server!"), 1u);
    EXPECT_TRUE(m_helper.IsRunning());
}

TEST_F(Lifecycle, SecondStartHandsItsServiceOverAndEnds) {
    StartHelper();
    const auto second = Serve("second");
    ASSERT_EQ(second->StartHelper(MakeStart()), CallerResult::Ok);
    CHelperProcess forwarder;
    ASSERT_TRUE(forwarder.Attach(second->ProcessId()));
    ReceivedFrame notice;
    ASSERT_EQ(second->WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, notice), CallerResult::Ok);
    EXPECT_EQ(forwarder.WaitForEnd(kLongMs), 0u);
    EXPECT_TRUE(forwarder.Log().Has("exe mutex exist"));
    EXPECT_TRUE(forwarder.Log().Has("SIPC unexpected wait result."));
    EXPECT_TRUE(forwarder.Log().Has("SPIC Received message")) << forwarder.Log().Tail();
    EXPECT_TRUE(Log().Has("Not the first time"));
    ExpectServed(*second);
    ExpectServed();

    // Each of the two may leave without the other.
    AskToExit(*second);
    EXPECT_EQ(second->WaitForLoss(kLongMs), CallerResult::Ok);
    ExpectServed();
    EXPECT_TRUE(m_helper.IsRunning());
    EXPECT_TRUE(
        Log().Has("erase it ,is service id second, nDelayedTaskCount = 0, bDLLWndExist = 1, "
                  "bIsDelayedDestroy = 1"));

    // Once its instance is gone the same service may be asked for again, and gets a connection again.
    SendToHost(MessageType::S_MT_OpenMiniAppSuccessfully, QuickRequest("second", 77));
    ASSERT_EQ(second->WaitForConnection(kLongMs), CallerResult::Ok);
    ReceivedFrame reply;
    ASSERT_EQ(second->WaitForFrame(Number(MessageType::S_MT_StatusReply), kLongMs, reply), CallerResult::Ok);
    EXPECT_EQ(reply.content["tag"].asInt(), 77);
}

// The winner is a matter of a race, so it is run twenty times.
class TwoStarts : public Lifecycle, public testing::WithParamInterface<int> {};

TEST_P(TwoStarts, AtOnceLeaveOneHelperThatServesBoth) {
    const auto second = Serve("second");
    ASSERT_EQ(m_caller->StartHelper(MakeStart()), CallerResult::Ok);
    ASSERT_EQ(second->StartHelper(MakeStart()), CallerResult::Ok);
    CHelperProcess one;
    CHelperProcess two;
    ASSERT_TRUE(one.Attach(m_caller->ProcessId()));
    ASSERT_TRUE(two.Attach(second->ProcessId()));
    ReceivedFrame notice;
    EXPECT_EQ(m_caller->WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, notice), CallerResult::Ok)
        << one.Log().Tail();
    EXPECT_EQ(second->WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, notice), CallerResult::Ok)
        << two.Log().Tail();
    const HANDLE processes[] = {m_caller->ProcessHandle(), second->ProcessHandle()};
    const DWORD ended = WaitForMultipleObjects(2, processes, FALSE, kLongMs);
    ASSERT_TRUE(ended == WAIT_OBJECT_0 || ended == WAIT_OBJECT_0 + 1);
    EXPECT_EQ((ended == WAIT_OBJECT_0 ? one : two).WaitForEnd(0), 0u);
    EXPECT_TRUE((ended == WAIT_OBJECT_0 ? two : one).IsRunning());
    ExpectServed();
    ExpectServed(*second);
}

INSTANTIATE_TEST_SUITE_P(Rounds, TwoStarts, testing::Range(0, 20));

TEST_F(Lifecycle, TwoMarksAreTwoProcesses) {
    StartHelper();
    CLibraryCaller other(m_strMark + L"b", m_strService);
    CHelperProcess second;
    ASSERT_NO_FATAL_FAILURE(StartBeside(other, second));
    ExpectServed(other);
    ExpectServed();
}

TEST_F(Lifecycle, MarkInAnotherCaseIsAnotherProcess) {
    StartHelper();
    std::wstring mark = m_strMark;
    CharUpperBuffW(mark.data(), static_cast<DWORD>(mark.size()));
    ASSERT_NE(mark, m_strMark);
    // Pipes are found without regard to case, so the other service has a name of its own.
    CLibraryCaller other(mark, m_strService + "u");
    CHelperProcess second;
    ASSERT_NO_FATAL_FAILURE(StartBeside(other, second));
}

TEST_F(Lifecycle, StartWithoutAMarkDoesNothingAndEndsClean) {
    StartBare(L"/service_id:svc");
    EXPECT_EQ(m_helper.WaitForEnd(kLongMs), 0u);
    EXPECT_TRUE(Log().Has("zolt strCmd=/service_id:svc"));
    EXPECT_EQ(Log().Find("enter mark="), "");
    EXPECT_EQ(Log().Find("start init"), "");
    EXPECT_EQ(m_caller->Connections(), 0u);
    EXPECT_FALSE(MutexExists(L""));
    EXPECT_FALSE(MessageWindowExists(L""));
    EXPECT_FALSE(PipeExists(HostPipeName(L"")));
}

TEST_F(Lifecycle, StartWithNoCommandLineAtAllEndsClean) {
    StartBare(L"");
    EXPECT_EQ(m_helper.WaitForEnd(kLongMs), 0u);
}

TEST_F(Lifecycle, StartWithoutAServiceHasNoPipeAndNoTimers) {
    StartBare(From());
    EXPECT_TRUE(Log().WaitFor("service ipc not init", kLongMs));
    EXPECT_TRUE(Log().Has("For the first time!"));
    EXPECT_EQ(Log().Find("create timer"), "");
    EXPECT_TRUE(MutexExists(m_strMark));
    EXPECT_FALSE(MessageWindowExists(m_strMark));
    EXPECT_FALSE(PipeExists(HostPipeName(m_strMark)));
    // A second start finds the name held and no host to talk to.
    CHelperProcess second;
    ASSERT_TRUE(second.Start(m_sandbox.Exe(), From()));
    EXPECT_EQ(second.WaitForEnd(kLongMs), 0u);
    EXPECT_TRUE(second.Log().Has("exe mutex exist"));
    EXPECT_TRUE(second.Log().Has("Failed to connect to server!"));
    EXPECT_TRUE(m_helper.IsRunning());
}

TEST_F(Lifecycle, RequestOnTheCommandLineIsAnsweredBeforeTheReadyNotice) {
    HelperStart start;
    start.strType = L"7";
    start.strParam = R"({"message_type":7,"content":{"service_id":"svc","p1":"{}","tag":"from the command line"}})";
    start.strChannel = MakeStart().strChannel;
    start.strExe = m_sandbox.Exe();
    ASSERT_EQ(m_caller->StartHelper(start), CallerResult::Ok);
    ASSERT_TRUE(m_helper.Attach(m_caller->ProcessId()));
    ReceivedFrame first;
    ASSERT_EQ(m_caller->WaitForFrame(0, kLongMs, first), CallerResult::Ok);
    EXPECT_EQ(first.nType, Number(MessageType::S_MT_StatusReply));
    EXPECT_EQ(first.content["tag"].asString(), "from the command line");
    ReceivedFrame second;
    ASSERT_EQ(m_caller->WaitForFrame(0, kLongMs, second), CallerResult::Ok);
    EXPECT_EQ(second.nType, Number(MessageType::S_MT_InitReply));
}

// The result is RPC_E_CHANGED_MODE: the thread is in the single-threaded apartment already.
TEST_F(Lifecycle, SdkOfAnOpenOnTheCommandLineFindsTheApartmentOfTheMainThread) {
    m_sandbox.LayOcean(L"good");
    m_sandbox.SetOcean(L"com", L"1");
    ASSERT_TRUE(m_sandbox.Ready());
    ASSERT_NO_FATAL_FAILURE(StartHelperOnAnOpen(MiniAppOpen("t")));
    ReceivedFrame notice;
    ASSERT_EQ(m_caller->WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, notice), CallerResult::Ok)
        << Log().Tail();
    EXPECT_NE(m_sandbox.OceanCalls().find("com " + std::to_string(0x80010106u) + "\n"), std::string::npos)
        << m_sandbox.OceanCalls();
}

TEST_F(Lifecycle, MutexThatCannotBeMadeCountsAsAFirstStart) {
    // Something else has the name.
    const CKernelHandle other(CreateEventW(nullptr, TRUE, FALSE, (kMutexBase + m_strMark).c_str()));
    ASSERT_TRUE(other.valid());
    StartHelper();
    ExpectServed();
    EXPECT_TRUE(Log().Has("start init"));
    EXPECT_FALSE(MutexExists(m_strMark));
}

TEST_F(Lifecycle, TypeNineOnTheCommandLineDestroysNothing) {
    HelperStart start;
    start.strType = L"9";
    start.strParam = R"({"message_type":9,"content":{"service_id":"svc"}})";
    StartHelper(start);
    ExpectServed();
    EXPECT_EQ(Log().Find("DestroyWxServiceItme"), "");
    EXPECT_TRUE(Log().Has("DealWithMsg end"));
}

TEST_F(Lifecycle, TypeThatIsNotANumberEndsTheStartingProcess) {
    StartBare(From(L" /service_id:svc /type:abc"));
    EXPECT_EQ(m_helper.WaitForEnd(kLongMs), kUncaughtException);
}

TEST_F(Lifecycle, TypeOutOfRangeEndsTheStartingProcess) {
    StartBare(From(L" /service_id:svc /type:99999999999"));
    EXPECT_EQ(m_helper.WaitForEnd(kLongMs), kUncaughtException);
}

TEST_F(Lifecycle, TypeThatIsNotANumberEndsTheForwarderAndLeavesTheHostAlone) {
    StartHelper();
    CHelperProcess second;
    ASSERT_TRUE(second.Start(m_sandbox.Exe(), From(L" /service_id:svc /type:abc")));
    EXPECT_EQ(second.WaitForEnd(kLongMs), kUncaughtException);
    ExpectServed();
}

TEST_F(Lifecycle, ForwardedCommandLineWithATypeThatIsNotANumberEndsTheHost) {
    StartHelper();
    SendToHost(MessageType::S_MT_InitWxApp, Utf16ToUtf8(From(L" /service_id:svc /type:abc")));
    EXPECT_EQ(m_helper.WaitForEnd(kLongMs), kUncaughtException);
}

TEST_F(Lifecycle, ForwardedRequestIsRefusedByTheHostAndTheForwarderGivesUp) {
    StartHelper();
    CHelperProcess second;
    ASSERT_TRUE(second.Start(m_sandbox.Exe(), From(L" /service_id:svc /type:6 /param:e30=")));
    EXPECT_EQ(second.WaitForEnd(kLongMs), 0u);
    EXPECT_NE(second.Log().Find("SPIC Received message dwWaitResult=258"), "") << second.Log().Tail();
    EXPECT_TRUE(Log().Has("jvRoot not content"));
    ExpectServed();
}

TEST_F(Lifecycle, HostAcknowledgesACommandLineWithOneByte) {
    StartHelper();
    CHostPipe host;
    DWORD systemError = 0;
    ASSERT_EQ(host.Connect(m_strMark, kLongMs, systemError), CallerResult::Ok) << systemError;
    ASSERT_EQ(host.Send(Number(MessageType::S_MT_InitWxApp), Utf16ToUtf8(From(L" /service_id:svc")), kLongMs),
              CallerResult::Ok);
    std::string payload;
    ASSERT_EQ(host.WaitForPayload(kLongMs, payload), CallerResult::Ok);
    EXPECT_EQ(payload, kHostAcknowledgement);
    ReceivedFrame notice;
    EXPECT_EQ(m_caller->WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, notice), CallerResult::Ok)
        << "the ready notice comes again";
}

TEST_F(Lifecycle, HostServesOneCommandLineAfterTheOther) {
    StartHelper();
    for (int i = 0; i < 30; ++i) {
        if (i > 0) {
            // A client that comes before the host listens again ends its listening, and no line tells when it does.
            EXPECT_TRUE(Log().WaitFor("Client disconnected!", kLongMs, static_cast<std::size_t>(i)));
            Sleep(500);
        }
        CHostPipe host;
        DWORD systemError = 0;
        ASSERT_EQ(host.Connect(m_strMark, kLongMs, systemError), CallerResult::Ok)
            << "round " << i << " " << systemError;
        ASSERT_EQ(host.Send(Number(MessageType::S_MT_InitWxApp), Utf16ToUtf8(From(L" /service_id:svc")), kLongMs),
                  CallerResult::Ok);
        std::string payload;
        ASSERT_EQ(host.WaitForPayload(kLongMs, payload), CallerResult::Ok) << "round " << i;
    }
}

TEST_F(Lifecycle, SecondClientOfTheHostsPipeFindsItBusy) {
    StartHelper();
    CHostPipe first;
    DWORD systemError = 0;
    ASSERT_EQ(first.Connect(m_strMark, kLongMs, systemError), CallerResult::Ok) << systemError;
    ASSERT_TRUE(Log().WaitFor("Client connected", kLongMs));
    CHostPipe second;
    EXPECT_EQ(second.Connect(m_strMark, 0, systemError), CallerResult::Timeout);
    first.Close();
    EXPECT_EQ(second.Connect(m_strMark, kLongMs, systemError), CallerResult::Ok) << systemError;
    EXPECT_TRUE(Log().WaitFor("Client disconnected!", kLongMs));
}

TEST_F(Lifecycle, HelperStaysWhileAServiceIsThereAndEndsWithinOneLookOnceItIsGone) {
    StartHelper();
    EXPECT_TRUE(Log().WaitFor("m_mWxExInstance = 1", kLongMs)) << "a look that finds a service";
    EXPECT_TRUE(m_helper.IsRunning());
    EXPECT_TRUE(MutexExists(m_strMark));
    EXPECT_TRUE(MessageWindowExists(m_strMark));
    EXPECT_TRUE(PipeExists(HostPipeName(m_strMark)));
    AskToExit();
    AskToExit();
    EXPECT_EQ(m_helper.WaitForEnd(2000 + kPruneMs + 5000), 0u);
    EXPECT_EQ(Log().Count("DelayedDestroyThread end, strServiceId = svc"), 2u);
    EXPECT_FALSE(MutexExists(m_strMark));
    EXPECT_FALSE(MessageWindowExists(m_strMark));
    EXPECT_FALSE(PipeExists(HostPipeName(m_strMark)));
}

TEST_F(Lifecycle, DelayedCheckHoldsTheInstanceUntilItsTimeIsUp) {
    StartHelper();
    // A check that is longer than the 10 seconds between two looks at the table, and a short one after it: its interval
    // is also the delay of the exit.
    for (const char* interval : {"16000", "1"}) {
        Json::Value content(Json::objectValue);
        content["p1"] =
            std::string(R"({"interval":)") + interval + R"(,"type":"miniApp","taskId":"none","from":"e2e"})";
        ASSERT_EQ(m_caller->Send(Number(MessageType::S_MT_DelayCheckWndStatus), content, kLongMs), CallerResult::Ok);
    }
    AskToExit();
    EXPECT_EQ(m_helper.WaitForEnd(kLongMs), 0u);
    const CHelperLog log = Log();
    EXPECT_TRUE(log.Has("]DelayCheckWndThread strServiceId = svc, interval 16000"));
    EXPECT_TRUE(log.Has("DelayedDestroy strServiceId = svc, nInterval = 1"));
    EXPECT_TRUE(log.Has("DelayedDestroyThread end, strServiceId = svc"));
    EXPECT_EQ(log.Count("print strResult=0, bLastCall = 0"), 7u) << log.Tail();
    EXPECT_EQ(log.Count("print strResult=0, bLastCall = 1"), 2u) << log.Tail();
    EXPECT_EQ(log.Count("DelayCheckWndThread end"), 2u) << "the instance went before its check had ended";
}

class MarkThatBeginsWithMl : public CEndToEnd {
  protected:
    MarkThatBeginsWithMl() : CEndToEnd(L"ml_e2e") {}
};

TEST_F(MarkThatBeginsWithMl, EndsLikeAnyOther) {
    StartHelper();
    AskToExit();
    EXPECT_EQ(m_helper.WaitForEnd(kLongMs), 0u);
}

class MarkMl : public CEndToEnd {
  protected:
    MarkMl() : CEndToEnd(L"ml") {}
};

TEST_F(MarkMl, StaysWhenItsTableIsEmpty) {
    StartHelper();
    AskToExit();
    EXPECT_TRUE(Log().WaitFor("is ml", kLongMs));
    EXPECT_TRUE(m_helper.IsRunning());
    // A new caller may come.
    const auto late = Serve("late");
    SendToHost(MessageType::S_MT_OpenMiniAppSuccessfully, QuickRequest("late", 0));
    ReceivedFrame reply;
    EXPECT_EQ(late->WaitForFrame(Number(MessageType::S_MT_StatusReply), kLongMs, reply), CallerResult::Ok);
    EXPECT_TRUE(m_helper.IsRunning());
}

}  // namespace
