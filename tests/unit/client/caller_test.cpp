// The caller against a stand-in for the helper: the other end of the pipe, driven by the test.
#include "client/caller.h"

#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "ipc/protocol/envelope.h"
#include "ipc/transport/frame.h"
#include "tests/support/handle_count.h"
#include "tests/support/message_number.h"
#include "tests/support/unique_name.h"
#include "world/helper/pipe_peer.h"

namespace {

constexpr std::uint32_t kLongMs = 10000;

Json::Value Object(const char* key, const char* value) {
    Json::Value object(Json::objectValue);
    object[key] = value;
    return object;
}

// More than any pipe takes without a reader.
const std::string kStuckText(4 << 20, 'x');

std::string Notice() {
    return BuildFrame(WriteEnvelope(12, Object("p1", "1")));
}

class CallerTest : public ::testing::Test {
  protected:
    CallerTest() : m_caller(UniqueName(L"callertest"), "svc") {}

    void SetUp() override { ASSERT_EQ(m_caller.Open(), CallerResult::Ok) << m_caller.SystemError(); }

    void Connect() {
        ASSERT_TRUE(m_helper.Open(m_caller.PipeName())) << m_helper.LastError();
        ASSERT_EQ(m_caller.WaitForConnection(kLongMs), CallerResult::Ok);
    }

    // Sends on a thread of its own while the stand-in reads.
    std::string SendAndRead(MessageType type, Json::Value content) {
        CallerResult result = CallerResult::Closed;
        std::thread sender([&] { result = m_caller.Send(Number(type), std::move(content), kLongMs); });
        std::string payload = m_helper.ReadFrame();
        sender.join();
        EXPECT_EQ(result, CallerResult::Ok) << DescribeCallerResult(result);
        return payload;
    }

    bool GateIsOpen() {
        const CKernelHandle gate(OpenEventW(EVENT_ALL_ACCESS, FALSE, m_caller.GateName().c_str()));
        EXPECT_TRUE(gate) << "no gate " << GetLastError();
        return WaitForSingleObject(gate.get(), 0) == WAIT_OBJECT_0;
    }

    CCaller m_caller;
    CPipePeer m_helper;
};

TEST_F(CallerTest, ServesPipeAndSignalledGateUnderTheNamesOfMarkAndService) {
    EXPECT_EQ(m_caller.PipeName(), LR"(\\.\pipe\NamedPipezoltService_INSTANCE_)" + m_caller.Mark() + L"_svc");
    EXPECT_EQ(m_caller.GateName(), LR"(Global\NamedEventzoltService_)" + m_caller.Mark() + L"_svc");
    EXPECT_TRUE(GateIsOpen());
    // Manual-reset: a wait does not take the signal away.
    EXPECT_TRUE(GateIsOpen());
    Connect();
}

TEST_F(CallerTest, AnsweredRequestComesBackUnderItsType) {
    Connect();
    const std::string request = SendAndRead(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN, Object("service_id", "svc"));
    EXPECT_EQ(request, R"({"content":{"service_id":"svc"},"message_type":6})");
    ASSERT_TRUE(m_helper.Write(BuildFrame(WriteEnvelope(17, Object("result", "1")))));
    ReceivedFrame reply;
    ASSERT_EQ(m_caller.WaitForFrame(Number(MessageType::S_MT_OpenMiniAppReply), kLongMs, reply), CallerResult::Ok);
    EXPECT_EQ(reply.nType, Number(MessageType::S_MT_OpenMiniAppReply));
    EXPECT_EQ(WriteJson(reply.content), R"({"result":"1"})");
    EXPECT_TRUE(GateIsOpen()) << "the gate is open again after a send";
}

TEST_F(CallerTest, WaitForOneTypeLeavesTheOthersQueuedInOrder) {
    Connect();
    ASSERT_TRUE(m_helper.Write(Notice() + BuildFrame("1") + BuildFrame(WriteEnvelope(13, Object("result", "Loading"))) +
                               BuildFrame(WriteEnvelope(17, Json::Value()))));
    ReceivedFrame frame;
    ASSERT_EQ(m_caller.WaitForFrame(Number(MessageType::S_MT_OpenMiniAppReply), kLongMs, frame), CallerResult::Ok);
    EXPECT_TRUE(frame.content.isNull());
    ASSERT_EQ(m_caller.WaitForFrame(0, kLongMs, frame), CallerResult::Ok);
    EXPECT_EQ(frame.nType, Number(MessageType::S_MT_InitReply));
    ASSERT_EQ(m_caller.WaitForFrame(0, kLongMs, frame), CallerResult::Ok);
    EXPECT_EQ(frame.nType, 0) << "a payload that is not an envelope";
    EXPECT_EQ(frame.strPayload, "1");
    ASSERT_EQ(m_caller.WaitForFrame(Number(MessageType::S_MT_StatusReply), kLongMs, frame), CallerResult::Ok);
    EXPECT_EQ(m_caller.WaitForFrame(0, 0, frame), CallerResult::Timeout);
}

TEST_F(CallerTest, FrameArrivingByteByByteIsDeliveredOnce) {
    Connect();
    for (const char byte : Notice()) {
        ASSERT_TRUE(m_helper.Write(std::string_view(&byte, 1)));
    }
    ReceivedFrame frame;
    ASSERT_EQ(m_caller.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, frame), CallerResult::Ok);
    EXPECT_EQ(m_caller.WaitForFrame(0, 0, frame), CallerResult::Timeout);
}

TEST_F(CallerTest, LargeReplyComesWhole) {
    Connect();
    const std::string big(3 * 1024 * 1024, 'x');
    ASSERT_TRUE(m_helper.Write(BuildFrame(WriteEnvelope(13, Object("result", big.c_str())))));
    ReceivedFrame frame;
    ASSERT_EQ(m_caller.WaitForFrame(Number(MessageType::S_MT_StatusReply), kLongMs, frame), CallerResult::Ok);
    EXPECT_EQ(frame.content["result"].asString(), big);
}

TEST_F(CallerTest, SilenceEndsInATimeout) {
    Connect();
    ReceivedFrame frame;
    EXPECT_EQ(m_caller.WaitForFrame(Number(MessageType::S_MT_StatusReply), 50, frame), CallerResult::Timeout);
    EXPECT_TRUE(m_caller.Connected());
}

TEST_F(CallerTest, SendWithNobodyConnectedSaysSo) {
    EXPECT_EQ(m_caller.Send(Number(MessageType::S_MT_GetWxAppStatus), Json::Value(Json::objectValue), kLongMs),
              CallerResult::NotConnected);
}

TEST_F(CallerTest, SmallSendIsDoneThoughTheHelperDoesNotRead) {
    Connect();
    EXPECT_EQ(m_caller.Send(Number(MessageType::S_MT_GetWxAppStatus), Json::Value(Json::objectValue), kLongMs),
              CallerResult::Ok);
    EXPECT_TRUE(GateIsOpen());
}

TEST_F(CallerTest, GateIsOpenWhileASendWaitsForItsReader) {
    Connect();
    CallerResult result = CallerResult::Closed;
    std::thread sender([&] { result = m_caller.SendPayload(kStuckText, 4 * kLongMs); });
    EXPECT_EQ(m_helper.Read(8).size(), 8u);
    const CKernelHandle gate(OpenEventW(EVENT_ALL_ACCESS, FALSE, m_caller.GateName().c_str()));
    EXPECT_EQ(WaitForSingleObject(gate.get(), kLongMs), static_cast<DWORD>(WAIT_OBJECT_0));
    EXPECT_EQ(m_helper.Read(kStuckText.size()).size(), kStuckText.size());
    sender.join();
    EXPECT_EQ(result, CallerResult::Ok) << DescribeCallerResult(result);
}

TEST_F(CallerTest, SendThatIsCutOffByItsLimitEndsTheConnection) {
    Connect();
    EXPECT_EQ(m_caller.SendPayload(kStuckText, 50), CallerResult::Timeout);
    EXPECT_TRUE(GateIsOpen());
    // What follows would not begin at a frame, so it is not written at all.
    const CallerResult next =
        m_caller.Send(Number(MessageType::S_MT_GetWxAppStatus), Json::Value(Json::objectValue), kLongMs);
    EXPECT_TRUE(next == CallerResult::Gone || next == CallerResult::NotConnected) << DescribeCallerResult(next);
    EXPECT_EQ(m_caller.WaitForLoss(kLongMs), CallerResult::Ok);
    EXPECT_TRUE(m_helper.WaitForEnd()) << m_helper.LastError();
    Connect();
    EXPECT_NE(SendAndRead(MessageType::S_MT_GetWxAppStatus, Json::Value(Json::objectValue)), "");
}

TEST_F(CallerTest, WhatWasSentCanBeReadAfterClose) {
    Connect();
    ASSERT_EQ(m_caller.SendPayload("last words", kLongMs), CallerResult::Ok);
    m_caller.Close();
    EXPECT_EQ(m_helper.ReadFrame(), "last words");
    EXPECT_TRUE(m_helper.WaitForEnd());
}

TEST_F(CallerTest, ShutdownEndsTheConnectionBeforeClose) {
    Connect();
    m_caller.Shutdown();
    EXPECT_TRUE(m_helper.WaitForEnd());
}

TEST_F(CallerTest, ClosedGateDelaysASendByASecondOnly) {
    Connect();
    const CKernelHandle gate(OpenEventW(EVENT_ALL_ACCESS, FALSE, m_caller.GateName().c_str()));
    ASSERT_TRUE(gate);
    ResetEvent(gate.get());
    // The tick count of Wine stands still while its server gets no processor.
    const auto nowMs = [] {
        FILETIME time = {};
        GetSystemTimeAsFileTime(&time);
        return ((ULONGLONG{time.dwHighDateTime} << 32) | time.dwLowDateTime) / 10'000;
    };
    const ULONGLONG startedAt = nowMs();
    EXPECT_NE(SendAndRead(MessageType::S_MT_GetWxAppStatus, Json::Value(Json::objectValue)), "");
    EXPECT_GE(nowMs() - startedAt, 900u);
    EXPECT_TRUE(GateIsOpen());
}

TEST_F(CallerTest, LostHelperWakesAWaiterAfterItsLastFrame) {
    Connect();
    ASSERT_TRUE(m_helper.Write(Notice()));
    m_helper.Close();
    ReceivedFrame frame;
    EXPECT_EQ(m_caller.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, frame), CallerResult::Ok)
        << "what came before is still there";
    EXPECT_EQ(m_caller.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, frame), CallerResult::Gone);
    EXPECT_EQ(m_caller.Send(Number(MessageType::S_MT_GetWxAppStatus), Json::Value(Json::objectValue), kLongMs),
              CallerResult::Gone);
    EXPECT_EQ(m_caller.WaitForLoss(kLongMs), CallerResult::Ok);
}

TEST_F(CallerTest, ProbeThatLeavesWithoutAByteIsNoLoss) {
    for (std::uint32_t i = 1; i <= 20; ++i) {
        CPipePeer probe;
        while (!probe.Open(m_caller.PipeName())) {
            // The pipe needs a moment to listen again.
            ASSERT_EQ(probe.LastError(), static_cast<DWORD>(ERROR_PIPE_BUSY));
            WaitNamedPipeW(m_caller.PipeName().c_str(), kLongMs);
        }
        probe.Close();
    }
    ReceivedFrame frame;
    EXPECT_EQ(m_caller.WaitForFrame(Number(MessageType::S_MT_InitReply), 0, frame), CallerResult::Timeout)
        << "the helper may still come";
    while (!m_helper.Open(m_caller.PipeName())) {
        WaitNamedPipeW(m_caller.PipeName().c_str(), kLongMs);
    }
    ASSERT_TRUE(m_helper.Write(Notice()));
    EXPECT_EQ(m_caller.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, frame), CallerResult::Ok);
}

TEST_F(CallerTest, ProbeBesideAConnectedHelperFindsThePipeBusy) {
    Connect();
    CPipePeer probe;
    EXPECT_FALSE(probe.Open(m_caller.PipeName()));
    EXPECT_EQ(probe.LastError(), static_cast<DWORD>(ERROR_PIPE_BUSY));
    EXPECT_TRUE(m_caller.Connected());
    EXPECT_NE(SendAndRead(MessageType::S_MT_GetWxAppStatus, Json::Value(Json::objectValue)), "");
}

TEST_F(CallerTest, HelperMayComeAgainAndBeginsWithAFreshStream) {
    Connect();
    const std::string notice = Notice();
    ASSERT_TRUE(m_helper.Write(notice + notice.substr(0, 11))) << "a frame and the first half of another";
    ReceivedFrame frame;
    ASSERT_EQ(m_caller.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, frame), CallerResult::Ok);
    m_helper.Close();
    ASSERT_EQ(m_caller.WaitForLoss(kLongMs), CallerResult::Ok);
    Connect();
    ASSERT_TRUE(m_helper.Write(notice));
    EXPECT_EQ(m_caller.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, frame), CallerResult::Ok);
}

TEST_F(CallerTest, DisconnectEndsTheHelpersConnectionAndThePipeListensAgain) {
    Connect();
    m_caller.Disconnect();
    EXPECT_TRUE(m_helper.WaitForEnd()) << m_helper.LastError();
    ASSERT_EQ(m_caller.WaitForLoss(kLongMs), CallerResult::Ok);
    CPipePeer again;
    EXPECT_TRUE(again.Open(m_caller.PipeName())) << again.LastError();
}

// A helper that is asked to come back tries once.
TEST(Caller, ListensAgainBeforeItTellsTheLoss) {
    CCaller caller(UniqueName(L"callertest"), "svc");
    CPipePeer again;
    const CKernelHandle told(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    caller.SetGoneHandler([&] {
        again.Open(caller.PipeName());
        SetEvent(told.get());
    });
    ASSERT_EQ(caller.Open(), CallerResult::Ok);
    {
        CPipePeer helper;
        ASSERT_TRUE(helper.Open(caller.PipeName())) << helper.LastError();
        ASSERT_TRUE(helper.Write(Notice()));
        ReceivedFrame notice;
        ASSERT_EQ(caller.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, notice), CallerResult::Ok);
    }
    ASSERT_EQ(WaitForSingleObject(told.get(), kLongMs), WAIT_OBJECT_0);
    EXPECT_TRUE(again.IsOpen()) << again.LastError();
    EXPECT_EQ(caller.WaitForConnection(kLongMs), CallerResult::Ok);
}

TEST_F(CallerTest, SecondCallerOfTheSameServiceIsTurnedAway) {
    CCaller second(m_caller.Mark(), m_caller.ServiceId());
    EXPECT_EQ(second.Open(), CallerResult::NameTaken);
    CCaller other(m_caller.Mark(), "another service");
    EXPECT_EQ(other.Open(), CallerResult::Ok);
}

TEST_F(CallerTest, CloseWakesAWaiterAndFreesTheName) {
    Connect();
    CallerResult result = CallerResult::Ok;
    std::thread waiter([&] {
        ReceivedFrame frame;
        result = m_caller.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, frame);
    });
    m_caller.Close();
    waiter.join();
    EXPECT_TRUE(result == CallerResult::Closed || result == CallerResult::Gone) << DescribeCallerResult(result);
    EXPECT_TRUE(m_helper.WaitForEnd());
    CCaller next(m_caller.Mark(), m_caller.ServiceId());
    EXPECT_EQ(next.Open(), CallerResult::Ok);
}

TEST_F(CallerTest, ManySendersDoNotMixTheirFrames) {
    Connect();
    constexpr int kSenders = 4;
    constexpr int kEach = 25;
    std::vector<std::thread> senders;
    for (int i = 0; i < kSenders; ++i) {
        senders.emplace_back([this, i] {
            for (int k = 0; k < kEach; ++k) {
                EXPECT_EQ(m_caller.Send(100 + i, Json::Value(Json::objectValue), kLongMs), CallerResult::Ok);
            }
        });
    }
    int counts[kSenders] = {};
    for (int i = 0; i < kSenders * kEach; ++i) {
        Request request;
        const std::string payload = m_helper.ReadFrame();
        EXPECT_EQ(ReadEnvelope(payload, request), EnvelopeStatus::Ok) << payload;
        if (request.nType >= 100 && request.nType < 100 + kSenders) {
            ++counts[request.nType - 100];
        }
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    for (const int count : counts) {
        EXPECT_EQ(count, kEach);
    }
}

TEST_F(CallerTest, ObserverSeesEveryFrameWithItsDirection) {
    CCaller caller(UniqueName(L"callertest"), "svc");
    std::mutex lock;
    std::vector<std::pair<FrameDirection, std::string>> seen;
    caller.SetObserver([&](FrameDirection direction, std::string_view payload) {
        const std::lock_guard<std::mutex> guard(lock);
        seen.emplace_back(direction, payload);
    });
    ASSERT_EQ(caller.Open(), CallerResult::Ok);
    CPipePeer helper;
    ASSERT_TRUE(helper.Open(caller.PipeName()));
    ASSERT_EQ(caller.WaitForConnection(kLongMs), CallerResult::Ok);
    ASSERT_TRUE(helper.Write(BuildFrame("in")));
    ReceivedFrame frame;
    ASSERT_EQ(caller.WaitForFrame(0, kLongMs, frame), CallerResult::Ok);
    std::thread reader([&] { helper.ReadFrame(); });
    EXPECT_EQ(caller.SendPayload("out", kLongMs), CallerResult::Ok);
    reader.join();
    const std::lock_guard<std::mutex> guard(lock);
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0], std::make_pair(FrameDirection::Received, std::string("in")));
    EXPECT_EQ(seen[1], std::make_pair(FrameDirection::Sent, std::string("out")));
}

// A program that ends at once and never connects, with an exit code of its choice.
HelperStart EndingProgram() {
    HelperStart start;
    wchar_t system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    start.strExe = std::wstring(system) + L"\\hostname.exe";
    return start;
}

TEST_F(CallerTest, ProcessThatEndsWithoutConnectingEndsTheWait) {
    ASSERT_EQ(m_caller.StartHelper(EndingProgram()), CallerResult::Ok) << m_caller.SystemError();
    ReceivedFrame frame;
    EXPECT_EQ(m_caller.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, frame), CallerResult::Gone);
    DWORD exitCode = 77;
    EXPECT_EQ(m_caller.WaitForProcessEnd(kLongMs, exitCode), CallerResult::Ok);
    EXPECT_NE(exitCode, 77u);
}

// The handle of a process that is watched must stay open. What a system does otherwise is not known; the simulated
// machine ends the test.
TEST_F(CallerTest, AHelperThatWasLostIsNotWatchedOnceAnotherIsExpected) {
    Connect();
    ASSERT_TRUE(m_helper.Write(Notice()));
    ReceivedFrame frame;
    ASSERT_EQ(m_caller.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, frame), CallerResult::Ok);
    EXPECT_EQ(m_caller.ProcessId(), GetCurrentProcessId());
    m_helper.Close();
    ASSERT_EQ(m_caller.WaitForLoss(kLongMs), CallerResult::Ok);
    m_caller.ExpectHelper();
    EXPECT_EQ(m_caller.ProcessId(), 0u);
}

TEST_F(CallerTest, MissingProgramIsNotStarted) {
    HelperStart start;
    start.strExe = LR"(C:\no such\nexlet.exe)";
    EXPECT_EQ(m_caller.StartHelper(start), CallerResult::NotStarted);
    EXPECT_NE(m_caller.SystemError(), 0u);
    DWORD exitCode = 0;
    EXPECT_EQ(m_caller.WaitForProcessEnd(0, exitCode), CallerResult::NotConnected);
}

TEST_F(CallerTest, ProcessAtTheOtherEndTakesThePlaceOfTheOneThatWasStarted) {
    ASSERT_EQ(m_caller.StartHelper(EndingProgram()), CallerResult::Ok) << m_caller.SystemError();
    const DWORD started = m_caller.ProcessId();
    DWORD exitCode = 0;
    ASSERT_EQ(m_caller.WaitForProcessEnd(kLongMs, exitCode), CallerResult::Ok);
    EXPECT_FALSE(m_caller.Forwarded());
    Connect();
    EXPECT_EQ(m_caller.ProcessId(), started) << "a probe may come from anywhere";
    ASSERT_TRUE(m_helper.Write(Notice()));
    ReceivedFrame frame;
    ASSERT_EQ(m_caller.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, frame), CallerResult::Ok);
    EXPECT_EQ(m_caller.ProcessId(), GetCurrentProcessId());
    EXPECT_TRUE(m_caller.Forwarded());
    EXPECT_FALSE(m_caller.ProcessHasEnded(exitCode));
    EXPECT_EQ(m_caller.WaitForProcessEnd(0, exitCode), CallerResult::Timeout);
}

TEST_F(CallerTest, HelperThatWasStartedElsewhereIsKnownByItsConnection) {
    Connect();
    ASSERT_TRUE(m_helper.Write(Notice()));
    ReceivedFrame frame;
    ASSERT_EQ(m_caller.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, frame), CallerResult::Ok);
    EXPECT_EQ(m_caller.ProcessId(), GetCurrentProcessId());
    EXPECT_FALSE(m_caller.Forwarded());
}

TEST_F(CallerTest, HelperMayTakeTheForegroundForAnOpenAndForNothingElse) {
    CCaller caller(UniqueName(L"callertest"), "svc");
    std::mutex lock;
    std::vector<std::string> seen;
    const auto note = [&](const std::string& what) {
        const std::lock_guard<std::mutex> guard(lock);
        seen.push_back(what);
    };
    caller.SetForegroundGrant([&](DWORD id) { note(id == GetCurrentProcessId() ? "granted" : "to whom?"); });
    caller.SetObserver([&](FrameDirection direction, std::string_view) {
        note(direction == FrameDirection::Sent ? "sent" : "received");
    });
    ASSERT_EQ(caller.Open(), CallerResult::Ok);
    CPipePeer helper;
    ASSERT_TRUE(helper.Open(caller.PipeName()));
    ASSERT_TRUE(helper.Write(Notice()));
    ReceivedFrame frame;
    ASSERT_EQ(caller.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, frame), CallerResult::Ok);
    ASSERT_EQ(caller.Send(Number(MessageType::S_MT_GetWxAppStatus), Json::Value(Json::objectValue), kLongMs),
              CallerResult::Ok);
    ASSERT_EQ(caller.Send(Number(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN), Json::Value(Json::objectValue), kLongMs),
              CallerResult::Ok);
    const std::lock_guard<std::mutex> guard(lock);
    EXPECT_EQ(seen, (std::vector<std::string>{"received", "sent", "granted", "sent"}));
}

TEST(Caller, LeavesNoHandleBehind) {
    const auto round = [] {
        CCaller caller(UniqueName(L"callertest"), "svc");
        ASSERT_EQ(caller.Open(), CallerResult::Ok);
        CPipePeer helper;
        ASSERT_TRUE(helper.Open(caller.PipeName()));
        ASSERT_TRUE(helper.Write(Notice()));
        ReceivedFrame frame;
        ASSERT_EQ(caller.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, frame), CallerResult::Ok);
    };
    round();
    const std::size_t before = OwnHandleCount();
    ASSERT_NE(before, 0u);
    for (int i = 0; i < 20; ++i) {
        round();
    }
    // Threads of the system's pool come and go by themselves.
    EXPECT_LT(OwnHandleCount(), before + 20);
}

}  // namespace
