// Opens of the type miniApp across the clients of one process, of which the helper lets only the latest settle.
#include "tests/support/message_number.h"
#include "tests/unit/client/client_library_fixture.h"

namespace {

class ClientLibraryOpens : public ClientLibrary {
  protected:
    ~ClientLibraryOpens() override {
        m_otherHelper.Leave();
        m_other.Close();
    }

    // A second client of the mark. Both get "1" for opens and what m_word says for polls.
    void OpenBoth() {
        const auto script = [this](const ScriptedRequest& request) -> std::vector<std::string> {
            if (request.nType == Number(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN)) {
                return {
                    CScriptedHelper::Reply(MessageType::S_MT_OpenMiniAppReply, request, "result", m_openWord.load())};
            }
            return request.nType == Number(MessageType::S_MT_OpenMiniAppSuccessfully)
                       ? std::vector<std::string>{CScriptedHelper::Reply(MessageType::S_MT_StatusReply, request,
                                                                         "result", m_pollWord.load())}
                       : Answer(request);
        };
        OpenAndCome(script);
        ASSERT_EQ(m_other.Open(m_strMark, "other"), NEXLET_OK);
        ASSERT_TRUE(m_otherHelper.Come(ServicePipeName(Utf8ToUtf16(m_strMark), "other"), script));
        ASSERT_EQ(m_other.WaitConnected(kLongMs), NEXLET_OK);
    }
    static nexlet_app App(const char* task) {
        nexlet_app app = {};
        app.type = "miniApp";
        app.from = "f";
        app.task_id = task;
        app.app_id = "a";
        return app;
    }
    static nexlet_app_question Question(const char* task) {
        nexlet_app_question question = {};
        question.type = "miniApp";
        question.from = "f";
        question.task_id = task;
        return question;
    }
    // Begins an open of the other client and makes sure that the line has looked at it and holds it: a request of
    // another type that began after it has been answered.
    nexlet::Request BeginHeldUp() {
        EXPECT_EQ(m_client.PollApp(Question("first"), kLongMs).value, "Loading") << "which keeps its turn";
        nexlet::Request request;
        EXPECT_EQ(m_other.BeginOpenApp(App("second"), kLongMs, {}, &request), NEXLET_OK);
        EXPECT_TRUE(m_other.Status(kLongMs));
        EXPECT_EQ(request.Result(0).result, NEXLET_PENDING);
        EXPECT_EQ(m_otherHelper.Requests().size(), 1u) << "the status alone was sent";
        return request;
    }

    std::atomic<const char*> m_openWord{"1"};
    std::atomic<const char*> m_pollWord{"Loading"};
    nexlet::Client m_other;
    CScriptedHelper m_otherHelper;
};

TEST_F(ClientLibraryOpens, SecondOpenIsSentOnceAPollHasToldTheEndOfTheFirst) {
    OpenBoth();
    ASSERT_EQ(m_client.OpenApp(App("first"), kLongMs).value, "1");
    const nexlet::Request second = BeginHeldUp();
    m_pollWord = "1";
    EXPECT_EQ(m_client.PollApp(Question("first"), kLongMs).value, "1");
    EXPECT_EQ(second.Result(kLongMs).value.word, "1");
}

TEST_F(ClientLibraryOpens, OpenThatWaitsForAnotherKeepsToItsLimitAndIsNotSent) {
    OpenBoth();
    ASSERT_EQ(m_client.OpenApp(App("first"), kLongMs).value, "1");
    const auto second = m_other.OpenApp(App("second"), 50);
    EXPECT_EQ(second.result, NEXLET_TIMEOUT);
    EXPECT_NE(second.reason.find("it was not sent"), std::string::npos) << second.reason;
    EXPECT_TRUE(m_otherHelper.Requests().empty());
}

TEST_F(ClientLibraryOpens, LossOrCloseOfTheFirstClientLetsTheSecondOpenGo) {
    OpenBoth();
    ASSERT_EQ(m_client.OpenApp(App("first"), kLongMs).value, "1");
    nexlet::Request second = BeginHeldUp();
    m_helper.Leave();
    EXPECT_EQ(second.Result(kLongMs).value.word, "1");
    nexlet::Request third;
    EXPECT_EQ(m_other.BeginOpenApp(App("third"), kLongMs, {}, &third), NEXLET_OK);
    EXPECT_EQ(m_other.Close(), NEXLET_OK);
    EXPECT_EQ(third.Result(0).result, NEXLET_CLOSED);
    Come([](const ScriptedRequest& request) -> std::vector<std::string> {
        return {CScriptedHelper::Reply(MessageType::S_MT_OpenMiniAppReply, request, "result", "1")};
    });
    EXPECT_EQ(m_client.OpenApp(App("fourth"), kLongMs).value, "1");
}

TEST_F(ClientLibraryOpens, OpenThatWasRefusedAndOtherTypesKeepNobodyWaiting) {
    OpenBoth();
    m_openWord = "uninstalled";
    EXPECT_EQ(m_client.OpenApp(App("first"), kLongMs).value, "uninstalled");
    m_openWord = "1";
    EXPECT_EQ(m_other.OpenApp(App("second"), kLongMs).value, "1");
    nexlet_app chat = App("third");
    chat.type = "weChat";
    chat.url_scheme = "x://y";
    chat.window_title = "w";
    EXPECT_EQ(m_client.OpenApp(chat, kLongMs).value, "1") << "another type settles by itself";
    EXPECT_EQ(m_client.OpenApp(chat, kLongMs).value, "1");
}

TEST_F(ClientLibraryOpens, PollOfAnOpenThatALaterOneOvertookSaysSo) {
    OpenBoth();
    ASSERT_EQ(m_client.OpenApp(App("first"), kLongMs).value, "1");
    EXPECT_EQ(m_client.PollApp(Question("first"), kLongMs).value, "Loading");
    // The connection of the first is lost, and with it its turn, but not its task: another process would do the same.
    m_helper.Leave();
    ASSERT_EQ(m_client.WaitLost(kLongMs), NEXLET_OK);
    ASSERT_EQ(m_other.OpenApp(App("second"), kLongMs).value, "1");
    EXPECT_EQ(m_other.PollApp(Question("first"), kLongMs).result, NEXLET_OVERTAKEN);
    EXPECT_NE(std::string(nexlet_last_error_text()).find("took the place"), std::string::npos);
    EXPECT_EQ(m_other.AwaitApp(Question("first"), 1, kLongMs).result, NEXLET_OVERTAKEN);
    EXPECT_EQ(m_other.PollApp(Question("second"), kLongMs).value, "Loading");
    m_pollWord = "0";
    EXPECT_EQ(m_other.PollApp(Question("first"), kLongMs).value, "0") << "an end that is told counts";
}

}  // namespace
