// What the helper refuses: silently on the wire, with a line in its log. And what ends it.
#include "foundation/json_text.h"
#include "ipc/transport/frame.h"
#include "tests/e2e/end_to_end.h"

namespace {

using namespace std::string_literals;

constexpr DWORD kUncaughtException = 3;

struct Refusal {
    std::string payload;
    const char* line;  // the log line that it leaves one more of; null when it leaves none
};

class Refusals : public CEndToEnd {
  protected:
    void ExpectRefused(const Refusal& refusal) {
        SCOPED_TRACE(refusal.payload);
        const std::size_t before = refusal.line != nullptr ? Log().Count(refusal.line) : 0;
        ExpectSilence(*m_caller, refusal.payload);
        if (refusal.line != nullptr) {
            EXPECT_EQ(Log().Count(refusal.line), before + 1) << refusal.line;
        }
    }
};

TEST_F(Refusals, EnvelopeThatCannotBeUsedIsALogLineAndSilence) {
    StartHelper();
    const Refusal refusals[] = {
        {"", "nlength is 0"},
        {"{", "parse error"},
        {"\0{}"s, "parse error"},
        {R"({"content":{"p1":"{}","tag":"a)" + "\0"s + R"(b"},"message_type":7})", "parse error"},
        {"[]", "jvRoot is error"},
        {"5", "jvRoot is error"},
        {"null", "jvRoot is error"},
        {R"({"content":{}})", "jvRoot not message_type"},
        {R"({"content":{},"message_type":"2"})", "jvRoot not message_type"},
        {R"({"content":{},"message_type":2.0})", "jvRoot not message_type"},
        {R"({"content":{},"message_type":true})", "jvRoot not message_type"},
        {R"({"content":{},"message_type":3000000000})", "jvRoot not message_type"},
        {R"({"content":{},"message_type":-3000000000})", "jvRoot not message_type"},
        {R"({"message_type":2})", "jvRoot not content"},
        {R"({"content":"{}","message_type":2})", "jvRoot not content"},
        {R"({"content":[],"message_type":2})", "jvRoot not content"},
        {R"({"content":{},"message_type":0})", "receive extension msg"},
        {R"({"content":{},"message_type":-1})", "receive extension msg"},
        {R"({"content":{},"message_type":10})", "receive extension msg"},
        {R"({"content":{},"message_type":12})", "receive extension msg"},
        {R"({"content":"/from:x","message_type":1})", "receive extension msg"},
        {R"({"message_type":1})", "receive extension msg"},
    };
    for (const Refusal& refusal : refusals) {
        ExpectRefused(refusal);
    }
}

TEST_F(Refusals, BodyThatCannotBeUsedIsSilence) {
    StartHelper();
    const Refusal refusals[] = {
        {R"({"content":null,"message_type":2})", "parse error"},
        {R"({"content":null,"message_type":3})", "parse error"},
        {R"({"content":null,"message_type":4})", "parse error"},
        {R"({"content":null,"message_type":6})", "parse error"},
        {R"({"content":null,"message_type":7})", "parse error"},
        {R"({"content":null,"message_type":8})", "parse error"},
        {R"({"content":null,"message_type":9})", "parse error"},
        {R"({"content":{},"message_type":5})", "parse error"},
        {R"({"content":{},"message_type":7})", "not contain p1"},
        {R"({"content":{"p1":{}},"message_type":7})", "not contain p1"},
        {R"({"content":{},"message_type":8})", "not contain p1"},
        // An open that lacks what it needs leaves nothing but the line of its arrival.
        {R"({"content":{},"message_type":6})", "receive WM_COPY_DATA_MSG_IPC_GET_OPEN"},
        {R"({"content":{"service_id":"svc"},"message_type":6})", nullptr},
        {R"({"content":{"p1":{}},"message_type":6})", nullptr},
        {R"({"content":{"p1":{},"service_id":5},"message_type":6})", nullptr},
        {R"({"content":{"p1":"{}","service_id":"svc"},"message_type":6})", nullptr},
        {R"({"content":{},"message_type":9})", "DestroyWxServiceItme begin"},
        {R"({"content":{"service_id":5},"message_type":9})", "DestroyWxServiceItme begin"},
        {R"({"content":{"service_id":"nobody"},"message_type":9})", "DestroyWxServiceItme begin"},
    };
    for (const Refusal& refusal : refusals) {
        ExpectRefused(refusal);
    }
    EXPECT_EQ(Log().Find("DelayedDestroy begin"), "");
}

TEST_F(Refusals, HostsPipeRefusesTheSameWay) {
    StartHelper();
    const Refusal refusals[] = {
        {"", "nlength is 0"},
        {"{", "parse error"},
        {R"({"content":{"tag":"a)" + "\0"s + R"(b"},"message_type":7})", "parse error"},
        {"[]", "jvRoot is error"},
        {R"({"content":{},"message_type":"2"})", "jvRoot not message_type"},
        {R"({"content":{},"message_type":-3000000000})", "jvRoot not message_type"},
        {R"({"content":"x","message_type":6})", "jvRoot not content"},
        {R"({"content":{},"message_type":77})", "receive extension msg"},
    };
    CHostPipe host;
    DWORD systemError = 0;
    ASSERT_EQ(host.Connect(m_strMark, kLongMs, systemError), CallerResult::Ok) << systemError;
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.payload);
        const std::size_t before = Log().Count(refusal.line);
        ASSERT_EQ(host.SendPayload(refusal.payload, kLongMs), CallerResult::Ok);
        EXPECT_TRUE(Log().WaitFor(refusal.line, kLongMs, before + 1));
    }
    // Nothing came back for any of them: the first thing that does is the acknowledgement of a command line.
    ASSERT_EQ(host.Send(Number(MessageType::S_MT_InitWxApp), "/from:" + std::string(m_strMark.begin(), m_strMark.end()),
                        kLongMs),
              CallerResult::Ok);
    std::string payload;
    ASSERT_EQ(host.WaitForPayload(kLongMs, payload), CallerResult::Ok);
    EXPECT_EQ(payload, kHostAcknowledgement);
}

TEST_F(Refusals, PayloadIsCutAtItsFirstZeroByte) {
    StartHelper();
    ASSERT_EQ(m_caller->SendPayload(R"({"content":{"p1":"{}","tag":1},"message_type":7})"s + "\0 anything"s, kLongMs),
              CallerResult::Ok);
    ReceivedFrame reply;
    ASSERT_EQ(m_caller->WaitForFrame(Number(MessageType::S_MT_StatusReply), kLongMs, reply), CallerResult::Ok);
    EXPECT_EQ(reply.content["tag"].asInt(), 1);
}

TEST_F(Refusals, TextAfterTheEnvelopeAndCommentsInItAreNotRefused) {
    StartHelper();
    ASSERT_EQ(m_caller->SendPayload(R"(/* why */ {"content":{"p1":"{}","tag":2},"message_type":7} and more)", kLongMs),
              CallerResult::Ok);
    ReceivedFrame reply;
    ASSERT_EQ(m_caller->WaitForFrame(Number(MessageType::S_MT_StatusReply), kLongMs, reply), CallerResult::Ok);
    EXPECT_EQ(reply.content["tag"].asInt(), 2);
}

// A conversion that the JSON reader cannot make ends the process, on purpose.
class FatalConversion : public CEndToEnd, public ::testing::WithParamInterface<const char*> {};

TEST_P(FatalConversion, EndsTheHelper) {
    StartHelper();
    // The helper may be gone before it has taken the last byte.
    m_caller->SendPayload(GetParam(), kLongMs);
    EXPECT_EQ(m_helper.WaitForEnd(kLongMs), kUncaughtException);
    ReceivedFrame reply;
    EXPECT_EQ(m_caller->WaitForFrame(0, kLongMs, reply), CallerResult::Gone) << reply.strPayload;
}

INSTANTIATE_TEST_SUITE_P(
    Requests, FatalConversion,
    ::testing::Values(R"({"content":{"p1":{"type":5,"from":"x"},"service_id":"svc"},"message_type":6})",
                      R"({"content":{"p1":{"type":"miniApp","from":{}},"service_id":"svc"},"message_type":6})",
                      R"({"content":{"p1":{"from":"x","try_install":"1"},"service_id":"svc"},"message_type":6})",
                      R"({"content":{"p1":{}},"message_type":5})", R"({"content":{},"message_type":1})",
                      R"({"content":5,"message_type":1})"));

TEST_F(Refusals, ChannelIdOfTheWrongKindEndsTheStartingHelper) {
    HelperStart start = MakeStart();
    start.strChannel = R"({"mid":"m","channel_id":7,"product":"p","from":"f"})";
    ASSERT_EQ(m_caller->StartHelper(start), CallerResult::Ok);
    ASSERT_TRUE(m_helper.Attach(m_caller->ProcessId()));
    EXPECT_EQ(m_helper.WaitForEnd(kLongMs), kUncaughtException);
    ReceivedFrame frame;
    EXPECT_EQ(m_caller->WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, frame), CallerResult::Gone);
}

TEST_F(Refusals, ChannelThatIsNotJsonIsALogLine) {
    HelperStart start;
    start.strChannel = "no json";
    StartHelper(start);
    EXPECT_TRUE(Log().Has("Parse error"));
    ExpectServed();
}

}  // namespace
