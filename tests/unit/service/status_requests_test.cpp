// The status and envelope requests over a caller's pipe, with a registry of their own.
#include <new>

#include "foundation/json_text.h"
#include "open/yyb/yyb_api.h"
#include "tests/support/allocation_watch.h"
#include "tests/support/opened_envelope.h"
#include "tests/support/private_registry.h"
#include "tests/unit/service/service_fixture.h"

namespace {

using YYB_API_CLIENT::CYybApi;

const wchar_t kStatusKey[] = L"SOFTWARE\\OvrinSe\\MiniWxProgram";

const char kNothing[] =
    R"({"mini_wx_inst":"0","mini_wx_login":"0","wx_inst":"0","wx_login":"0","yyb_inst":"0","yyb_login":"0"})";

class StatusRequestsTest : public ServiceFixture {
  protected:
    std::string Ask(MessageType type, std::string_view content) {
        m_pCaller->Request(type, content);
        return m_pCaller->Receive().value_or("no reply");
    }
    std::string ResultOf(const std::string& reply, MessageType type) {
        Json::Value root;
        EXPECT_TRUE(ParseJson(reply, root)) << reply;
        EXPECT_EQ(root["message_type"].asInt(), Number(type)) << reply;
        return JsonToText(root["content"]["result"]);
    }

    CPrivateRegistry m_registry;
};

TEST_F(StatusRequestsTest, AStatusRequestIsAnsweredWithItsBodyAndTheStatusAsText) {
    Connect();
    EXPECT_EQ(Ask(MessageType::S_MT_GetWxAppStatus, "{}"),
              R"({"content":{"result":"{\"mini_wx_inst\":\"0\",\"mini_wx_login\":\"0\",\"wx_inst\":\"0\",)"
              R"(\"wx_login\":\"0\",\"yyb_inst\":\"0\",\"yyb_login\":\"0\"}"},"message_type":13})");
    EXPECT_EQ(
        ResultOf(Ask(MessageType::S_MT_GetWxAppStatus, R"({"ticket":"中","result":5})"), MessageType::S_MT_StatusReply),
        kNothing);
}

TEST_F(StatusRequestsTest, AnEncryptedStatusRequestIsAnsweredWithAnEscapedEnvelope) {
    Connect();
    const std::string text = OpenedEnvelope(
        ResultOf(Ask(MessageType::S_MT_GetWxAppStatusEncrypt, "{}"), MessageType::S_MT_StatusEncryptReply));
    EXPECT_EQ(text, R"({"mini_wx_inst":"0","mini_wx_login":"0","qimei32":"","qimei36":"","wx_inst":"0",)"
                    R"("wx_login":"0","yyb_inst":"0","yyb_login":"0"})");
}

TEST_F(StatusRequestsTest, AnEncryptedStatusWhoseEnvelopeFailsIsAnsweredWithAnEmptyResult) {
    Connect();
    // Sealing a text asks for the room of all its blocks first.
    const std::string status = R"({"mini_wx_inst":"0","mini_wx_login":"0","qimei32":"","qimei36":"","wx_inst":"0",)"
                               R"("wx_login":"0","yyb_inst":"0","yyb_login":"0"})";
    const CAllocationWatch watch((status.size() / 117 + 1) * 175 + 1, [] { throw std::bad_alloc(); });
    EXPECT_EQ(Ask(MessageType::S_MT_GetWxAppStatusEncrypt, R"({"tag":7})"),
              R"({"content":{"result":"","tag":7},"message_type":14})");
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, kStatusKey, L"wx_install"), 0U) << "the registry is written all the same";
}

TEST_F(StatusRequestsTest, AnIdentityRequestWithoutAnyIdentityIsAnsweredWithEmptyTexts) {
    Connect();
    EXPECT_EQ(Ask(MessageType::S_MT_GetWxAppQIMEI, R"({"a":1})"),
              R"({"content":{"a":1,"strQ32":"","strQ36":""},"message_type":15})");
}

TEST_F(StatusRequestsTest, ATextIsPutUnderTheEnvelope) {
    Connect();
    const std::string reply = Ask(MessageType::S_MT_GetRSAEncrypt, R"({"p1":"{\"text\":\"a 中 text\"}"})");
    EXPECT_EQ(OpenedEnvelope(ResultOf(reply, MessageType::S_MT_RSAEncryptReply)), "a 中 text");
    EXPECT_NE(reply.find(R"("p1":"{\"text\":\"a 中 text\"}")"), std::string::npos) << reply;
}

TEST_F(StatusRequestsTest, TheBindingGetsWhatTheInstanceWasInitialisedWith) {
    Connect();
    EXPECT_EQ(CYybApi::GetInstance().Channel().m_nChannelId, 7U);
}

}  // namespace
