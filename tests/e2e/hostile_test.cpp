// Callers that send what no caller should, and leave when no caller would. The helper lives, serves everybody else, and
// keeps nothing of them. The log is off here: these tests are about volume.
#include <thread>

#include "foundation/json_text.h"
#include "ipc/protocol/envelope.h"
#include "ipc/transport/frame.h"
#include "tests/e2e/end_to_end.h"
#include "tests/support/unique_name.h"

namespace {

using namespace std::string_literals;

std::string RawHeader(std::uint32_t type, std::uint32_t length) {
    std::string header(kFrameHeaderSize, '\0');
    WriteFrameHeader(reinterpret_cast<unsigned char*>(header.data()), type, length);
    return header;
}

std::string RequestFrame(int tag) {
    return BuildFrame(WriteEnvelope(Number(MessageType::S_MT_OpenMiniAppSuccessfully), QuickRequest("svc", tag)));
}

class HostileCaller : public CEndToEndOf<CCaller> {
  protected:
    void SetUp() override {
        CEndToEndOf<CCaller>::SetUp();
        StartHelper();
    }

    void SendRaw(std::string_view bytes) {
        const CallerResult result = m_caller->SendBytes(bytes, kLongMs);
        ASSERT_EQ(result, CallerResult::Ok) << DescribeCallerResult(result);
    }

    // A service of its own that the helper is connected to.
    std::unique_ptr<CCaller> ConnectedService(const std::string& service) {
        auto caller = Serve(service);
        SendToHost(MessageType::S_MT_OpenMiniAppSuccessfully, QuickRequest(service, 0));
        ReceivedFrame reply;
        EXPECT_EQ(caller->WaitForFrame(Number(MessageType::S_MT_StatusReply), kLongMs, reply), CallerResult::Ok);
        return caller;
    }

    void AskToLetGo(const std::string& service) {
        Json::Value content(Json::objectValue);
        content["service_id"] = service;
        SendToHost(MessageType::S_MT_ExitExeProcess, content);
    }

    bool WaitForCounts(DWORD handles, DWORD threads, std::uint32_t timeoutMs) {
        const ULONGLONG startedAt = GetTickCount64();
        while (m_helper.HandleCount() > handles || m_helper.ThreadCount() > threads) {
            if (GetTickCount64() - startedAt >= timeoutMs) {
                return false;
            }
            Sleep(50);
        }
        return true;
    }
};

TEST_F(HostileCaller, EmptyAndForeignFramesAreSkipped) {
    SendRaw(RawHeader(PIPE_FRAME_MAGIC, 0) + RawHeader(0, 0) + RawHeader(0xFFFFFFFF, 5) + "12345" + RawHeader(513, 3) +
            "abc" + BuildFrame("{}", 511));
    ExpectServed();
}

TEST_F(HostileCaller, RequestComingByteByByteIsAnsweredOnce) {
    for (const char byte : RequestFrame(41)) {
        SendRaw(std::string_view(&byte, 1));
    }
    ReceivedFrame reply;
    ASSERT_EQ(m_caller->WaitForFrame(0, kLongMs, reply), CallerResult::Ok);
    EXPECT_EQ(reply.content["tag"].asInt(), 41);
    ExpectServed();
}

TEST_F(HostileCaller, HalfAHeaderAndItsRestLaterAreOneFrame) {
    const std::string frame = RequestFrame(42);
    SendRaw(frame.substr(0, 3));
    SendRaw(frame.substr(3, 8));
    SendRaw(frame.substr(11));
    ReceivedFrame reply;
    ASSERT_EQ(m_caller->WaitForFrame(0, kLongMs, reply), CallerResult::Ok);
    EXPECT_EQ(reply.content["tag"].asInt(), 42);
}

TEST_F(HostileCaller, FrameOfTwentyMebibytesIsAnsweredWhole) {
    Json::Value content = QuickRequest(m_strService, 0);
    content["big"] = std::string(20 * 1024 * 1024, 'b');
    ASSERT_EQ(m_caller->Send(Number(MessageType::S_MT_OpenMiniAppSuccessfully), content, kLongMs), CallerResult::Ok);
    ReceivedFrame reply;
    ASSERT_EQ(m_caller->WaitForFrame(Number(MessageType::S_MT_StatusReply), kLongMs, reply), CallerResult::Ok);
    EXPECT_EQ(reply.content["big"], content["big"]);
    ExpectServed();
}

TEST_F(HostileCaller, NumberOfAMebibyteIsAnswered) {
    for (const char* begin : {"0.", "1", "-."}) {
        const std::string number = begin + std::string(1024 * 1024, '7') + "e-1048500";
        ASSERT_EQ(
            m_caller->SendPayload("{\"content\":{\"p1\":\"{}\",\"x\":" + number + "},\"message_type\":7}", kLongMs),
            CallerResult::Ok);
        ReceivedFrame reply;
        ASSERT_EQ(m_caller->WaitForFrame(Number(MessageType::S_MT_StatusReply), kLongMs, reply), CallerResult::Ok)
            << begin;
        EXPECT_TRUE(reply.content["x"].isDouble()) << begin;
    }
}

TEST_F(HostileCaller, MillionTinyFramesAreOutlived) {
    // Frames of a foreign type and empty ones by turns, in writes of 64 KiB.
    std::string block;
    for (int i = 0; i < 4096; ++i) {
        block += RawHeader(PIPE_FRAME_MAGIC, 0) + RawHeader(7, 0);
    }
    for (int i = 0; i < 1000000 / 8192 + 1; ++i) {
        SendRaw(block);
    }
    ExpectServed();
}

TEST_F(HostileCaller, BrokenUtf8IsEchoedAsItCame) {
    const std::string broken = "\"x\":\"\xFF\xC3\x28\"";
    ASSERT_EQ(m_caller->SendPayload("{\"content\":{\"p1\":\"{}\"," + broken + "},\"message_type\":7}", kLongMs),
              CallerResult::Ok);
    ReceivedFrame reply;
    ASSERT_EQ(m_caller->WaitForFrame(0, kLongMs, reply), CallerResult::Ok);
    EXPECT_NE(reply.strPayload.find(broken), std::string::npos) << reply.strPayload;
    ExpectSilence(*m_caller, "\xFF\xFE{\0}\0"s);
}

TEST_F(HostileCaller, NestedJsonIsAnsweredWithinTheReadersLimitAndRefusedBeyond) {
    const auto nested = [](std::size_t levels) {
        return R"({"content":{"p1":"{}","x":)" + std::string(levels, '[') + std::string(levels, ']') +
               R"(},"message_type":7})";
    };
    ASSERT_EQ(m_caller->SendPayload(nested(900), kLongMs), CallerResult::Ok);
    ReceivedFrame reply;
    ASSERT_EQ(m_caller->WaitForFrame(Number(MessageType::S_MT_StatusReply), kLongMs, reply), CallerResult::Ok);
    for (const std::size_t levels : {std::size_t{1100}, std::size_t{100000}}) {
        SCOPED_TRACE(levels);
        ExpectSilence(*m_caller, nested(levels));
    }
}

TEST_F(HostileCaller, LengthOfFourGibibytesStallsItsOwnPipeOnly) {
    const auto other = ConnectedService("other");
    SendRaw(RawHeader(PIPE_FRAME_MAGIC, 0xFFFFFFFF) + std::string(100000, 'x'));
    // A long message cannot be told from a hostile one: the rest is waited for.
    EXPECT_EQ(m_caller->Send(Number(MessageType::S_MT_OpenMiniAppSuccessfully), QuickRequest(m_strService, 0), kLongMs),
              CallerResult::Ok);
    ReceivedFrame reply;
    EXPECT_EQ(m_caller->WaitForFrame(0, 500, reply), CallerResult::Timeout);
    ExpectServed(*other);
    EXPECT_LT(m_helper.PrivateBytes(), 256u * 1024 * 1024);
}

TEST_F(HostileCaller, LostInstanceIsNotConnectedAgainButOthersAreServed) {
    SendRaw(RequestFrame(1).substr(0, 20));
    m_caller->Disconnect();
    ASSERT_EQ(m_caller->WaitForLoss(kLongMs), CallerResult::Ok);
    const auto later = ConnectedService("later");
    ExpectServed(*later);
    // By rule the lost service stays lost, though its pipe is served.
    SendToHost(MessageType::S_MT_OpenMiniAppSuccessfully, QuickRequest(m_strService, 0));
    ExpectServed(*later);
    EXPECT_EQ(m_caller->Connections(), 1u);
}

TEST_F(HostileCaller, WholeRequestBeforeTheEndIsTakenAndTheHalfOneForgotten) {
    const auto other = ConnectedService("other");
    ASSERT_EQ(other->SendBytes(RequestFrame(1) + RequestFrame(2).substr(0, 9), kLongMs), CallerResult::Ok);
    ReceivedFrame reply;
    EXPECT_EQ(other->WaitForFrame(Number(MessageType::S_MT_StatusReply), kLongMs, reply), CallerResult::Ok);
    other->Disconnect();
    ExpectServed();
}

TEST_F(HostileCaller, CallerThatLeavesWhileAReplyIsWrittenIsOutlived) {
    // A pipe whose server never reads: the reply cannot be written out.
    for (int i = 0; i < 3; ++i) {
        const std::string service = "mute" + std::to_string(i);
        CCaller names(m_strMark, service);
        CFileHandle pipe(CreateNamedPipeW(names.PipeName().c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                          PIPE_TYPE_BYTE, 1, 0, 0, 0, nullptr));
        ASSERT_TRUE(pipe) << GetLastError();
        Json::Value content = QuickRequest(service, 0);
        content["big"] = std::string(100000, 'x');
        SendToHost(MessageType::S_MT_OpenMiniAppSuccessfully, content);
        ExpectServed();
        pipe.reset();
        ExpectServed();
    }
}

TEST_F(HostileCaller, CallerThatIsKilledIsOutlived) {
    CCaller names(m_strMark, "killed");
    CHelperProcess caller;
    ASSERT_TRUE(caller.Start(OwnFolder() + L"\\nexctl.exe",
                             L"listen --no-start --timeout 60000 --service killed --mark " + m_strMark));
    const ULONGLONG startedAt = GetTickCount64();
    while (WaitNamedPipeW(names.PipeName().c_str(), 1) == FALSE && GetTickCount64() - startedAt < kLongMs) {
        Sleep(10);
    }
    Json::Value content = QuickRequest("killed", 0);
    content["big"] = std::string(4 * 1024 * 1024, 'x');
    SendToHost(MessageType::S_MT_OpenMiniAppSuccessfully, content);
    caller.Kill();
    ExpectServed();
    const auto later = ConnectedService("later");
    ExpectServed(*later);
}

TEST_F(HostileCaller, HostsPipeOutlivesTheSameTreatment) {
    const std::string treatments[] = {
        RawHeader(PIPE_FRAME_MAGIC, 0xFFFFFFFF) + "x",
        RawHeader(PIPE_FRAME_MAGIC, 0) + RawHeader(9, 0),
        "abc",
        BuildFrame("{"),
        "",
    };
    for (const std::string& bytes : treatments) {
        CHostPipe host;
        DWORD systemError = 0;
        ASSERT_EQ(host.Connect(m_strMark, kLongMs, systemError), CallerResult::Ok) << systemError;
        if (!bytes.empty()) {
            ASSERT_EQ(host.SendBytes(bytes, kLongMs), CallerResult::Ok);
        }
    }
    const auto later = ConnectedService("later");
    ExpectServed(*later);
    ExpectServed();
}

TEST_F(HostileCaller, HandlesAndThreadsReturnToWhereTheyWere) {
    const auto round = [this](int from, int to) {
        for (int i = from; i < to; ++i) {
            const std::string service = "guest" + std::to_string(i);
            const auto guest = ConnectedService(service);
            ASSERT_EQ(guest->SendBytes(RequestFrame(i) + RawHeader(PIPE_FRAME_MAGIC, 1000) + "half", kLongMs),
                      CallerResult::Ok);
            guest->Disconnect();
            AskToLetGo(service);
        }
        // The last one stays connected: its loss says that all of them are let go.
        const std::string service = "witness" + std::to_string(to);
        const auto witness = ConnectedService(service);
        AskToLetGo(service);
        ASSERT_EQ(witness->WaitForLoss(kLongMs), CallerResult::Ok);
        ExpectServed();
    };
    // What is made once stays: the first guest and the first look of the timer make it.
    ASSERT_NO_FATAL_FAILURE(round(0, 1));
    const DWORD handles = m_helper.HandleCount();
    const DWORD threads = m_helper.ThreadCount();
    ASSERT_GT(handles, 0u) << "the system does not tell how many handles the helper has";
    ASSERT_NO_FATAL_FAILURE(round(1, 13));
    EXPECT_TRUE(WaitForCounts(handles + 2, threads, kLongMs))
        << "handles " << m_helper.HandleCount() << ", before " << handles << "; threads " << m_helper.ThreadCount()
        << ", before " << threads;
    ExpectServed();
}

}  // namespace
