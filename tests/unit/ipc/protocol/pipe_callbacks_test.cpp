#include "ipc/protocol/pipe_callbacks.h"

#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ipc/protocol/reply_callback.h"
#include "ipc/protocol/request_handlers.h"
#include "ipc/transport/iocp_client.h"
#include "tests/support/log_capture.h"
#include "tests/support/raw_pipe.h"

namespace {

class CRecordingHandlers final : public IRequestHandlers {
  public:
#define RECORD(name)                       \
    void name(Request& request) override { \
        Record(#name, request);            \
    }
    NXL_REQUEST_HANDLERS(RECORD)
#undef RECORD

    std::vector<std::pair<std::string, std::string>> m_vecCalls;
    std::function<void()> m_onCall;

  private:
    void Record(const char* name, const Request& request) {
        m_vecCalls.emplace_back(name, request.ContentText());
        if (m_onCall) {
            m_onCall();
        }
    }
};

class PipeClientCallbackTest : public testing::Test {
  protected:
    PipeClientCallbackTest() {
        m_sink.SetClient(m_pClient);
        m_pClient->SetOwner(m_pHandlers);
    }

    std::uint32_t Receive(const std::string& text) {
        return m_sink.Received(reinterpret_cast<const unsigned char*>(text.c_str()),
                               static_cast<std::int32_t>(text.size()));
    }

    // The lines of one refusal: begin, the text, the reason.
    void ExpectRefusal(const std::string& text, const std::string& reason) {
        const LogCapture log;
        EXPECT_EQ(Receive(text), 0u) << text;
        const std::vector<std::string> lines = log.Lines();
        ASSERT_EQ(lines.size(), 3u) << log.All();
        for (const std::string& line : lines) {
            EXPECT_TRUE(line.starts_with("[CPipeClientCallback::ReceiveIPCMessage(")) << line;
        }
        EXPECT_TRUE(lines[0].ends_with(")] ReceiveIPCMessage begin")) << lines[0];
        EXPECT_TRUE(lines[1].ends_with(")] ReceiveIPCMessage szMessage=" + text)) << lines[1];
        EXPECT_TRUE(lines[2].ends_with(")] " + reason)) << lines[2];
        EXPECT_TRUE(m_pHandlers->m_vecCalls.empty()) << text;
    }

    std::shared_ptr<CRecordingHandlers> m_pHandlers = std::make_shared<CRecordingHandlers>();
    std::shared_ptr<CIOCP_Client> m_pClient = CIOCP_Client::Create();
    CPipeClientCallback m_sink;
};

TEST_F(PipeClientCallbackTest, EveryRequestReachesItsHandlerWithItsBody) {
    const struct {
        int type;
        const char* handler;
        const char* line;
    } rows[] = {
        {2, "GetWxAppStatus", ")] receive MessageType::S_MT_GetWxAppStatus"},
        {3, "GetWxAppStatusEncrypt", ")] receive  MessageType::S_MT_GetWxAppStatusEncrypt"},
        {4, "GetWxAppQIMEI", ")] receive MessageType::S_MT_GetWxAppQIMEI"},
        {5, "GetRSAEncrypt", ")] receive MessageType::S_MT_GetRSAEncrypt"},
        {6, "OpenMiniApp", ")] receive WM_COPY_DATA_MSG_IPC_GET_OPEN"},
        {7, "OpenMiniAppSuccessfully", ")] receive MessageType::S_MT_OpenMiniAppSuccessfully"},
        {8, "DelayCheckWndStatus", ")] receive MessageType::S_MT_DelayCheckWndStatus"},
        {9, "DestroyWxServiceItme", ")] receive MessageType::S_MT_ExitExeProcess"},
    };
    for (const auto& row : rows) {
        m_pHandlers->m_vecCalls.clear();
        const LogCapture log;
        EXPECT_EQ(
            Receive(R"({"content": {"service_id":"s", "p1":"x"}, "message_type":)" + std::to_string(row.type) + "}"),
            1u);
        ASSERT_EQ(m_pHandlers->m_vecCalls.size(), 1u) << row.handler;
        EXPECT_EQ(m_pHandlers->m_vecCalls[0].first, row.handler);
        EXPECT_EQ(m_pHandlers->m_vecCalls[0].second, R"({"p1":"x","service_id":"s"})");
        ASSERT_EQ(log.Lines().size(), 3u) << log.All();
        EXPECT_TRUE(log.Lines()[2].ends_with(row.line)) << log.Lines()[2];
    }
}

TEST_F(PipeClientCallbackTest, ANullContentReachesTheHandlerAsNull) {
    EXPECT_EQ(Receive(R"({"content":null,"message_type":2})"), 1u);
    ASSERT_EQ(m_pHandlers->m_vecCalls.size(), 1u);
    EXPECT_EQ(m_pHandlers->m_vecCalls[0].second, "null");
}

TEST_F(PipeClientCallbackTest, APayloadIsCutAtItsFirstZeroByte) {
    {
        // A reader that went by the length would find a whole message.
        const std::string before = R"({"content":{"tag":"a)";
        const LogCapture log;
        EXPECT_EQ(Receive(before + '\0' + R"(b"},"message_type":2})"), 0u);
        ASSERT_EQ(log.Lines().size(), 3u) << log.All();
        EXPECT_TRUE(log.Lines()[1].ends_with(")] ReceiveIPCMessage szMessage=" + before)) << log.Lines()[1];
        EXPECT_TRUE(log.Lines()[2].ends_with(")] parse error")) << log.Lines()[2];
        EXPECT_TRUE(m_pHandlers->m_vecCalls.empty());
    }
    const LogCapture log;
    EXPECT_EQ(Receive(std::string(R"({"content":{},"message_type":2})") + '\0' + "not JSON"), 1u);
    EXPECT_TRUE(log.Has(R"(ReceiveIPCMessage szMessage={"content":{},"message_type":2})")) << log.All();
    EXPECT_EQ(m_pHandlers->m_vecCalls.size(), 1u);
}

TEST_F(PipeClientCallbackTest, ALengthNotAboveZeroIsRefused) {
    for (const std::int32_t length : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
        const LogCapture log;
        EXPECT_EQ(m_sink.Received(reinterpret_cast<const unsigned char*>(""), length), 0u);
        ASSERT_EQ(log.Lines().size(), 2u) << log.All();
        EXPECT_TRUE(log.Lines()[0].ends_with(")] ReceiveIPCMessage begin"));
        EXPECT_TRUE(log.Lines()[1].ends_with(")] nlength is 0"));
    }
}

TEST_F(PipeClientCallbackTest, WhatIsNotAnEnvelopeIsRefusedWithItsReason) {
    ExpectRefusal("not JSON", "parse error");
    ExpectRefusal("{", "parse error");
    ExpectRefusal("1", "jvRoot is error");
    ExpectRefusal("null", "jvRoot is error");
    ExpectRefusal("[]", "jvRoot is error");
    ExpectRefusal("{}", "jvRoot not message_type");
    ExpectRefusal(R"({"content":{},"message_type":"2"})", "jvRoot not message_type");
    ExpectRefusal(R"({"content":{},"message_type":2.0})", "jvRoot not message_type");
    ExpectRefusal(R"({"content":{},"message_type":true})", "jvRoot not message_type");
    ExpectRefusal(R"({"message_type":2})", "jvRoot not content");
    ExpectRefusal(R"({"content":"text","message_type":2})", "jvRoot not content");
    ExpectRefusal(R"({"content":[],"message_type":2})", "jvRoot not content");
}

TEST_F(PipeClientCallbackTest, OtherTypesAreExtensions) {
    for (const char* type : {"0", "1", "10", "11", "12", "17", "-1", "18"}) {
        const bool text = std::string(type) == "1";
        ExpectRefusal(
            std::string(R"({"content":)") + (text ? "\"a command line\"" : "{}") + R"(,"message_type":)" + type + "}",
            "receive extension msg");
    }
}

TEST_F(PipeClientCallbackTest, WithoutItsClientNothingIsDispatched) {
    m_pClient.reset();
    ExpectRefusal(R"({"content":{},"message_type":2})", "m_pClient is null");
}

TEST_F(PipeClientCallbackTest, WithoutAnOwnerNothingIsDispatched) {
    m_pClient->SetOwner({});
    ExpectRefusal(R"({"content":{},"message_type":2})", "WxMiniProgramServiceEx is null");
}

TEST_F(PipeClientCallbackTest, AnOwnerThatIsGoneCountsAsNone) {
    const auto pDropped = std::make_shared<CRecordingHandlers>();
    m_pClient->SetOwner(pDropped);
    const std::weak_ptr<CRecordingHandlers> pWatched = pDropped;
    EXPECT_EQ(pWatched.use_count(), 1) << "the client does not keep its owner";
    m_pClient->SetOwner(std::weak_ptr<IRequestHandlers>(std::make_shared<CRecordingHandlers>()));
    ExpectRefusal(R"({"content":{},"message_type":2})", "WxMiniProgramServiceEx is null");
}

TEST_F(PipeClientCallbackTest, ItTellsOfTheConnection) {
    const LogCapture log;
    m_sink.Connected();
    m_sink.Lost();
    ASSERT_EQ(log.Lines().size(), 2u);
    EXPECT_TRUE(log.Lines()[0].starts_with("[CPipeClientCallback::Connected("));
    EXPECT_TRUE(log.Lines()[0].ends_with(")] Connected to server!"));
    EXPECT_TRUE(log.Lines()[1].starts_with("[CPipeClientCallback::Lost("));
    EXPECT_TRUE(log.Lines()[1].ends_with(")]Disconnected from server!"));
}

TEST_F(PipeClientCallbackTest, ARequestOverThePipeIsAnsweredOverThePipe) {
    // The whole way: frame, worker, sink, handler, reply frame.
    const std::wstring name = UniquePipeName();
    CRawPipe server = CRawPipe::Serve(name);
    const auto pSink = std::make_shared<CPipeClientCallback>();
    pSink->SetClient(m_pClient);
    m_pClient->SetCallback(pSink);
    m_pClient->SetNames(name, L"");
    ASSERT_EQ(m_pClient->CreateClientContext(), 1);
    ASSERT_TRUE(server.WaitForClient());
    ASSERT_TRUE(m_pClient->StartThread());
    ASSERT_EQ(m_pClient->PostRead(), 1);
    m_pHandlers->m_onCall = [this] { m_pClient->Send("reply"); };
    ASSERT_TRUE(server.WriteFrame("refused without a word on the wire"));
    ASSERT_TRUE(server.WriteFrame(R"({"content":{"p1":"x"},"message_type":5})"));
    EXPECT_EQ(server.ReadFrame(), "reply");
    ASSERT_EQ(m_pHandlers->m_vecCalls.size(), 1u);
    EXPECT_EQ(m_pHandlers->m_vecCalls[0].second, R"({"p1":"x"})");
    m_pClient->Stop();
    m_pClient->WaitForThread();
}

TEST(PipeCallbacksDeathTest, ATypeOneMessageWhoseContentIsNotATextEndsTheProcess) {
    EXPECT_DEATH(
        {
            const std::wstring name = UniquePipeName();
            CRawPipe server = CRawPipe::Serve(name);
            const auto pClient = CIOCP_Client::Create();
            const auto pSink = std::make_shared<CPipeClientCallback>();
            pSink->SetClient(pClient);
            pClient->SetCallback(pSink);
            pClient->SetNames(name, L"");
            pClient->CreateClientContext();
            server.WaitForClient();
            pClient->StartThread();
            pClient->PostRead();
            server.WriteFrame(R"({"content":{},"message_type":1})");
            WaitForSingleObject(pClient->Thread(), kTestWaitMs);
        },
        "");
}

class PipeClientCallback2Test : public testing::Test {
  protected:
    static CKernelHandle MakeEvent() {
        return CKernelHandle(CreateEventW(nullptr, /*bManualReset=*/FALSE, /*bInitialState=*/FALSE, nullptr));
    }
    void Receive(const std::string& text) {
        m_sink.Received(reinterpret_cast<const unsigned char*>(text.c_str()), static_cast<std::int32_t>(text.size()));
    }
    bool TakeSignal() { return WaitForSingleObject(m_sink.ReplyEvent(), 0) == WAIT_OBJECT_0; }

    CPipeClientCallback2 m_sink{MakeEvent()};
};

TEST_F(PipeClientCallback2Test, ExactlyTheTextOneSignalsTheReply) {
    Receive("1");
    EXPECT_TRUE(TakeSignal());
    EXPECT_FALSE(TakeSignal());
}

TEST_F(PipeClientCallback2Test, AnythingElseIsOnlyLogged) {
    const LogCapture log;
    for (const std::string& text : {std::string("11"), std::string(), std::string("0"), std::string("1\0", 2),
                                    std::string("\0", 1), std::string(" 1")}) {
        Receive(text);
        EXPECT_FALSE(TakeSignal()) << text;
    }
    EXPECT_EQ(log.Lines().size(), 6u);
    EXPECT_TRUE(log.Lines()[0].starts_with("[CPipeClientCallback2::Received("));
    EXPECT_TRUE(log.Lines()[0].ends_with(")]Server says: 11"));
    EXPECT_TRUE(log.Lines()[1].ends_with(")]Server says: "));
}

TEST_F(PipeClientCallback2Test, ALengthBelowZeroIsNotAText) {
    m_sink.Received(reinterpret_cast<const unsigned char*>("1"), -1);
    EXPECT_FALSE(TakeSignal());
}

TEST_F(PipeClientCallback2Test, WithoutAnEventTheReplyIsOnlyLogged) {
    CPipeClientCallback2 sink{CKernelHandle()};
    const LogCapture log;
    sink.Received(reinterpret_cast<const unsigned char*>("1"), 1);
    EXPECT_TRUE(log.Has("]Server says: 1")) << log.All();
}

TEST_F(PipeClientCallback2Test, ItTellsOfTheConnection) {
    const LogCapture log;
    m_sink.Connected();
    m_sink.Lost();
    ASSERT_EQ(log.Lines().size(), 2u);
    EXPECT_TRUE(log.Lines()[0].ends_with(")] Connected to server!"));
    EXPECT_TRUE(log.Lines()[1].ends_with(")]Disconnected from server!"));
}

class CRecordingReceiver final : public IMessageReceiver {
  public:
    int ReceiveIPCMessage(const unsigned char* data, int length) override {
        m_data = data;
        m_nLength = length;
        return 1;
    }
    const unsigned char* m_data = nullptr;
    int m_nLength = 0;
};

TEST(PipeServerCallbackTest, APayloadIsPassedThroughAsItIs) {
    CRecordingReceiver receiver;
    CPipeServerCallback sink(&receiver);
    const unsigned char data[] = "payload";
    EXPECT_EQ(sink.Received(data, 7), 1u);
    EXPECT_EQ(receiver.m_data, data);
    EXPECT_EQ(receiver.m_nLength, 7);
}

TEST(PipeServerCallbackTest, ItTellsOfTheConnection) {
    CRecordingReceiver receiver;
    CPipeServerCallback sink(&receiver);
    const LogCapture log;
    sink.Connected();
    sink.Lost();
    ASSERT_EQ(log.Lines().size(), 2u);
    EXPECT_TRUE(log.Lines()[0].ends_with(")]Client connected"));
    EXPECT_TRUE(log.Lines()[1].ends_with(")] Client disconnected!"));
}

}  // namespace
