// What an instance answers to its caller, over a real pipe, and what it refuses.
#include "tests/support/http_test_server.h"  // Winsock comes first

#include <string>
#include <vector>

#include "foundation/json_text.h"
#include "tests/support/json_of.h"
#include "tests/unit/service/service_fixture.h"

namespace {

class ServiceRequestsTest : public ServiceFixture {
  protected:
    // Sends a request to which there is no reply and then one to which there is: the reply to the second one comes
    // first exactly when the first one got none.
    void ExpectNoReply(MessageType type, std::string_view content) {
        m_pCaller->Request(type, content);
        m_pCaller->Request(MessageType::S_MT_OpenMiniAppSuccessfully, R"({"marker":true,"p1":"{}"})");
        EXPECT_EQ(m_pCaller->Receive(),
                  R"({"content":{"marker":true,"p1":{},"result":"not from","ret":"0"},"message_type":13})")
            << "after type " << Number(type) << " with " << content << '\n'
            << m_log.All();
    }

    std::int32_t TaskCount() { return m_host.Param(m_strId).nDelayedTaskCount; }
};

TEST_F(ServiceRequestsTest, OpenMiniAppAnswersWithTheBodyItGotTheResultAndRet0) {
    Connect();
    m_pCaller->Request(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN,
                       R"({"service_id":"42","p1":{"type":"other","from":"b"},"ticket":[1,"中"],"ret":7})");
    EXPECT_EQ(m_pCaller->Receive(), R"({"content":{"p1":{"from":"b","type":"other"},"result":"not type","ret":"0",)"
                                    R"("service_id":"42","ticket":[1,"中"]},"message_type":17})")
        << m_log.All();
}

TEST_F(ServiceRequestsTest, OpenMiniAppHandsANullP1OnAsTextAndGivesItBackAsNull) {
    Connect();
    m_pCaller->Request(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN, R"({"service_id":"42","p1":null})");
    EXPECT_EQ(m_pCaller->Receive(),
              R"({"content":{"p1":null,"result":"ParseAppOpenInfo error","ret":"0","service_id":"42"},)"
              R"("message_type":17})");
}

TEST_F(ServiceRequestsTest, OpenMiniAppRefusesWithoutALineOrAReply) {
    Connect();
    for (const char* content : {R"({"p1":{}})", R"({"service_id":42,"p1":{}})", R"({"service_id":"42"})",
                                R"({"service_id":"42","p1":"{}"})", R"({"service_id":"42","p1":[]})"}) {
        ExpectNoReply(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN, content);
    }
    EXPECT_FALSE(m_log.Has("parse error")) << m_log.All();
    EXPECT_FALSE(m_log.Has("not contain p1")) << m_log.All();
}

TEST_F(ServiceRequestsTest, OpenMiniAppSuccessfullyAnswersWithAnObjectWhereTheTextStood) {
    Connect();
    m_pCaller->Request(MessageType::S_MT_OpenMiniAppSuccessfully, R"({"id":1,"p1":"{ \"from\" : \"b\" }"})");
    EXPECT_EQ(m_pCaller->Receive(),
              R"({"content":{"id":1,"p1":{"from":"b"},"result":"not type","ret":"0"},"message_type":13})");
}

TEST_F(ServiceRequestsTest, OpenMiniAppSuccessfullyAnswersABrokenTextWithNull) {
    Connect();
    for (const char* inner : {"no json", "", "{"}) {
        m_pCaller->Request(MessageType::S_MT_OpenMiniAppSuccessfully, std::string(R"({"p1":")") + inner + R"("})");
        EXPECT_EQ(m_pCaller->Receive(),
                  R"({"content":{"p1":null,"result":"ParseAppOpenInfo error","ret":"0"},"message_type":13})");
    }
}

TEST_F(ServiceRequestsTest, OpenMiniAppSuccessfullyRefusesAP1ThatIsNotAString) {
    Connect();
    ExpectNoReply(MessageType::S_MT_OpenMiniAppSuccessfully, R"({})");
    ExpectNoReply(MessageType::S_MT_OpenMiniAppSuccessfully, R"({"p1":{}})");
    EXPECT_EQ(m_log.Count("not contain p1"), 2U) << m_log.All();
}

TEST_F(ServiceRequestsTest, ANullBodyIsAParseErrorForEveryRequest) {
    Connect();
    for (int nType = Number(MessageType::S_MT_GetWxAppStatus); nType <= Number(MessageType::S_MT_DelayCheckWndStatus);
         ++nType) {
        ExpectNoReply(static_cast<MessageType>(nType), "null");
    }
    EXPECT_EQ(m_log.Count("parse error"), 7U) << m_log.All();
}

TEST_F(ServiceRequestsTest, ABodyThatIsNotAnObjectIsAParseErrorForEveryRequest) {
    std::size_t refused = 0;
    for (const char* body : {"", "no json", "[]", "\"text\"", "7", "null", "{"}) {
        m_pInstance->GetWxAppStatus(CRequestOf(2, body));
        m_pInstance->GetWxAppStatusEncrypt(CRequestOf(3, body));
        m_pInstance->GetWxAppQIMEI(CRequestOf(4, body));
        m_pInstance->GetRSAEncrypt(CRequestOf(5, body));
        m_pInstance->OpenMiniApp(CRequestOf(6, body));
        m_pInstance->OpenMiniAppSuccessfully(CRequestOf(7, body));
        m_pInstance->DelayCheckWndStatus(CRequestOf(8, body));
        refused += 7;
        EXPECT_EQ(m_log.Count("parse error"), refused) << body << '\n' << m_log.All();
    }
    EXPECT_FALSE(m_log.Has("SendIPCMessage begin")) << m_log.All();
}

TEST_F(ServiceRequestsTest, GetRSAEncryptWithoutP1IsAParseError) {
    Connect();
    ExpectNoReply(MessageType::S_MT_GetRSAEncrypt, R"({"text":"x"})");
    EXPECT_EQ(m_log.Count("parse error"), 1U) << m_log.All();
}

TEST_F(ServiceRequestsTest, GetRSAEncryptAnswersWithTheEscapedEnvelopeAndP1AsItCame) {
    Connect();
    m_pCaller->Request(MessageType::S_MT_GetRSAEncrypt, R"({"p1":"{\"text\":\"hello\"}","id":3})");
    const std::string reply = m_pCaller->Receive().value_or("");
    Json::Value root;
    ASSERT_TRUE(ParseJson(reply, root)) << reply;
    EXPECT_EQ(root["message_type"], Number(MessageType::S_MT_RSAEncryptReply));
    EXPECT_EQ(root["content"]["p1"], "{\"text\":\"hello\"}");
    EXPECT_EQ(root["content"]["id"], 3);
    const std::string result = root["content"]["result"].asString();
    EXPECT_TRUE(result.ends_with("%3D")) << "one block of base64, padded: " << result;
    for (const char escaped : {'+', '/', '=', '|'}) {
        EXPECT_EQ(result.find(escaped), std::string::npos) << result;
    }
    EXPECT_GE(result.size(), 172U) << result;
}

TEST_F(ServiceRequestsTest, GetRSAEncryptAnswersAFailedEnvelopeWithAnEmptyResult) {
    Connect();
    for (const char* p1 : {R"("{\"text\":\"\"}")", R"("{}")", R"("no json")", "null"}) {
        m_pCaller->Request(MessageType::S_MT_GetRSAEncrypt, std::string("{\"p1\":") + p1 + "}");
        EXPECT_EQ(m_pCaller->Receive(),
                  std::string("{\"content\":{\"p1\":") + p1 + ",\"result\":\"\"},\"message_type\":16}");
    }
    EXPECT_FALSE(m_log.Has("Generated result data is empty")) << m_log.All();
}

// One text is read for the request and one for a p1 that is a text. One is written for the reply and one for each text
// within it.
TEST_F(ServiceRequestsTest, ARequestIsReadOnceAndItsReplyWrittenOnce) {
    struct Row {
        MessageType type;
        const char* content;
        std::uint64_t nParsed;
        std::uint64_t nWritten;
    };
    const Row rows[] = {
        {MessageType::S_MT_GetWxAppStatus, R"({"id":1})", 1, 2},         // the states are a text in the reply
        {MessageType::S_MT_GetWxAppStatusEncrypt, R"({"id":1})", 1, 2},  // and in the envelope
        {MessageType::S_MT_GetWxAppQIMEI, R"({"id":1})", 1, 1},
        {MessageType::S_MT_GetRSAEncrypt, R"({"p1":"{\"text\":\"hello\"}"})", 2, 1},
        {MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN, R"({"p1":{"type":"other"},"service_id":"42"})", 1, 1},
        {MessageType::S_MT_OpenMiniAppSuccessfully, R"({"p1":"{\"type\":\"other\"}"})", 2, 1},
    };
    Connect();
    for (const Row& row : rows) {
        const JsonTextCounts before = CountJsonTexts();
        m_pCaller->Request(row.type, row.content);
        EXPECT_TRUE(m_pCaller->Receive()) << Number(row.type);
        const JsonTextCounts after = CountJsonTexts();
        EXPECT_EQ(after.nParsed - before.nParsed, row.nParsed) << "type " << Number(row.type);
        EXPECT_EQ(after.nWritten - before.nWritten, row.nWritten) << "type " << Number(row.type);
    }
}

TEST_F(ServiceRequestsTest, ADelayedCheckIsReadOnceAndWrittenForTheLogAlone) {
    Connect();
    const JsonTextCounts before = CountJsonTexts();
    m_pCaller->Request(MessageType::S_MT_DelayCheckWndStatus, R"({"p1":"{\"interval\":1}"})");
    EXPECT_TRUE(Eventually([&] { return TaskCount() == 1; }));
    const JsonTextCounts after = CountJsonTexts();
    EXPECT_EQ(after.nParsed - before.nParsed, 2U);
    EXPECT_EQ(after.nWritten - before.nWritten, 1U);
}

TEST_F(ServiceRequestsTest, AReplyOnALostPipeIsDropped) {
    Connect();
    m_pCaller->Close();
    ASSERT_TRUE(WaitForLine("]Disconnected from server!")) << m_log.All();
    m_pInstance->OpenMiniApp(CRequestOf(6, R"({"service_id":"42","p1":{}})"));
    EXPECT_TRUE(m_log.Has("InvokeFunc failed")) << m_log.All();
}

TEST_F(ServiceRequestsTest, AReplyWithoutAPipeIsDropped) {
    Init();
    m_pInstance->OpenMiniApp(CRequestOf(6, R"({"service_id":"42","p1":{}})"));
    EXPECT_TRUE(m_log.Has("service ipc not init")) << m_log.All();
}

TEST_F(ServiceRequestsTest, AnExitRequestReachesTheHostFromThePipe) {
    std::string strSeen;
    m_host.m_onDestroyRequest = [&strSeen](const std::string& strBody) { strSeen = strBody; };
    Connect();
    ExpectNoReply(MessageType::S_MT_ExitExeProcess, R"({"service_id":"42"})");
    EXPECT_EQ(strSeen, R"({"service_id":"42"})");
}

TEST_F(ServiceRequestsTest, ADelayedCheckIsCountedAndStoredBeforeItsThreadStarts) {
    Connect();
    ExpectNoReply(MessageType::S_MT_DelayCheckWndStatus, R"({"p1":"{\"interval\":5000}"})");
    EXPECT_EQ(m_pInstance->RunStatusParam(), R"({"interval":5000})");
    const InstanceParam param = m_host.Param(m_strId);
    EXPECT_EQ(param.strRunStatusParam, R"({"interval":5000})");
    EXPECT_EQ(param.nInterval, 5000);
    EXPECT_EQ(param.nDelayedTaskCount, 1);
    EXPECT_TRUE(m_log.Has(R"(enter DelayCheckWndStatus param={"p1":"{\"interval\":5000}"})")) << m_log.All();
    EXPECT_EQ(m_log.Count("]error second DelayCheckWndStatus"), 1U) << m_log.All();
    EXPECT_TRUE(WaitForLine("]DelayCheckWndThread strServiceId = 42, interval 5000")) << m_log.All();
}

TEST_F(ServiceRequestsTest, EveryDelayedCheckHasAThreadOfItsOwn) {
    Connect();
    ExpectNoReply(MessageType::S_MT_DelayCheckWndStatus, R"({"p1":"{\"interval\":5000}"})");
    ExpectNoReply(MessageType::S_MT_DelayCheckWndStatus, R"({"p1":"{\"interval\":7000}"})");
    EXPECT_EQ(TaskCount(), 2);
    EXPECT_EQ(m_log.Count("]error second DelayCheckWndStatus"), 2U) << m_log.All();
    EXPECT_TRUE(WaitForLine("]DelayCheckWndThread strServiceId = 42, interval 5000")) << m_log.All();
    EXPECT_TRUE(WaitForLine("]DelayCheckWndThread strServiceId = 42, interval 7000")) << m_log.All();
    // The fixture sees that both end with the instance.
}

TEST_F(ServiceRequestsTest, AnIntervalOf0OrARealNumberKeepsTheOldInterval) {
    Init();
    m_pInstance->DelayCheckWndStatus(CRequestOf(8, R"({"p1":"{\"interval\":0}"})"));
    EXPECT_EQ(m_host.Param(m_strId).nInterval, 2000);
    m_pInstance->DelayCheckWndStatus(CRequestOf(8, R"({"p1":"{\"interval\":9000}"})"));
    m_pInstance->DelayCheckWndStatus(CRequestOf(8, R"({"p1":"{\"interval\":4000.0}"})"));
    EXPECT_EQ(m_host.Param(m_strId).nInterval, 9000);
    m_pInstance->DelayCheckWndStatus(CRequestOf(8, R"({"p1":"no json"})"));
    EXPECT_EQ(m_host.Param(m_strId).nInterval, 9000);
    EXPECT_EQ(TaskCount(), 4);
}

TEST_F(ServiceRequestsTest, ARefusedDelayedCheckLeavesNoTextAndStartsNothing) {
    Init();
    m_pInstance->DelayCheckWndStatus(CRequestOf(8, R"({"p1":"{\"interval\":9000}"})"));
    ASSERT_TRUE(WaitForLine("DelayCheckWndThread begin")) << m_log.All();
    for (const char* body : {"no json", "[]", R"({"p2":"{}"})"}) {
        m_pInstance->DelayCheckWndStatus(CRequestOf(8, body));
        EXPECT_EQ(m_pInstance->RunStatusParam(), "") << body;
    }
    EXPECT_EQ(m_log.Count("parse error"), 2U) << m_log.All();
    EXPECT_EQ(m_log.Count("not contain p1"), 1U) << m_log.All();
    EXPECT_EQ(TaskCount(), 1);
    EXPECT_EQ(m_log.Count("]error second DelayCheckWndStatus"), 1U) << m_log.All();
}

TEST_F(ServiceRequestsTest, ANullP1IsAnEmptyTextAndKeepsTheTablesText) {
    Init();
    m_pInstance->DelayCheckWndStatus(CRequestOf(8, R"({"p1":"{\"interval\":9000}"})"));
    m_pInstance->DelayCheckWndStatus(CRequestOf(8, R"({"p1":null})"));
    EXPECT_EQ(m_pInstance->RunStatusParam(), "");
    EXPECT_EQ(m_host.Param(m_strId).strRunStatusParam, R"({"interval":9000})");
    EXPECT_EQ(TaskCount(), 2);
}

TEST_F(ServiceRequestsTest, ADelayedCheckWhoseTextIsNotAStringEndsTheProcess) {
    const auto request = [this](const char* body) noexcept { m_pInstance->DelayCheckWndStatus(CRequestOf(8, body)); };
    for (const char* body : {R"({"p1":5})", R"({"p1":{}})", R"({"p1":[]})"}) {
        EXPECT_EXIT(request(body), testing::ExitedWithCode(3), "terminate called") << body;
    }
}

TEST_F(ServiceRequestsTest, AnIntervalBelow0KeepsTheInstanceAliveForEver) {
    Init();
    m_pInstance->DelayCheckWndStatus(CRequestOf(8, R"({"p1":"{\"interval\":-5}"})"));
    EXPECT_TRUE(WaitForLine("Invalid interval, exiting thread")) << m_log.All();
    EXPECT_EQ(TaskCount(), 1);
    EXPECT_EQ(m_host.Param(m_strId).nInterval, -5);
}

// One real period; the schedule itself is tested without waiting.
TEST_F(ServiceRequestsTest, ADelayedCheckAsksAfter2SecondsAndFetchesTheUrlsOneAfterAnother) {
    HttpTestServer server([](const HttpTestRequest& request) {
        return request.strTarget == "/first" ? HttpTestReply::Of(500) : HttpTestReply::Of(200, "x");
    });
    m_host.m_onAsk = [](std::string& strResult) { strResult = "1"; };
    Connect();
    const std::string strText = "{\"errorLog\":[\"" + Utf16ToUtf8(server.Url(L"/error")) + "\"],\"interval\":1," +
                                "\"successLog\":[\"" + Utf16ToUtf8(server.Url(L"/first")) + "\",\"\",\"" +
                                Utf16ToUtf8(server.Url(L"/second")) + "\"]}";
    Json::Value body;
    body["p1"] = strText;
    const auto begin = std::chrono::steady_clock::now();
    m_pCaller->Request(MessageType::S_MT_DelayCheckWndStatus, WriteJson(body));
    ASSERT_TRUE(WaitForLine("DelayCheckWndThread end")) << m_log.All();
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1990));
    ASSERT_EQ(m_host.Asks().size(), 1U);
    EXPECT_EQ(m_host.Asks()[0].strServiceId, "42");
    EXPECT_EQ(m_host.Asks()[0].strText, strText);
    EXPECT_TRUE(m_host.Asks()[0].bLastCall);
    ASSERT_EQ(server.Requests().size(), 2U);
    EXPECT_EQ(server.Requests()[0].strTarget, "/first");
    EXPECT_EQ(server.Requests()[1].strTarget, "/second");
    EXPECT_EQ(TaskCount(), 0);
}

}  // namespace
