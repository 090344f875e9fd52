// Opens and questions as records.
#include "tests/unit/client/client_library_fixture.h"

namespace {

class ClientLibraryApps : public ClientLibrary {
  protected:
    // The payload of the latest request that the helper has seen.
    std::string Latest(std::size_t count) {
        EXPECT_TRUE(m_helper.WaitForRequests(count));
        return m_helper.Requests().back().strPayload;
    }
    static ::testing::AssertionResult LastErrorTells(const std::string& words) {
        const std::string text = nexlet_last_error_text();
        return text.find(words) != std::string::npos ? ::testing::AssertionSuccess()
                                                     : ::testing::AssertionFailure() << text;
    }
    static nexlet_app App(const char* type) {
        nexlet_app app = {};
        app.type = type;
        app.from = "shop";
        app.task_id = "t1";
        return app;
    }
};

TEST_F(ClientLibraryApps, OpenOfEachTypeIsWrittenAsTheHelperReadsIt) {
    OpenAndCome();
    nexlet_app mini = App("miniApp");
    mini.app_id = "wx1";
    mini.app_path = "pages/a\"b";
    EXPECT_EQ(m_client.OpenApp(mini, kLongMs).value, "Loading");
    EXPECT_EQ(Latest(1), R"({"content":{"nexlet_call":1,"p1":{"appId":"wx1","appPath":"pages/a\"b","from":"shop",)"
                         R"("taskId":"t1","type":"miniApp"},"service_id":"svc"},"message_type":6})");
    nexlet_app chat = App("weChat");
    chat.url_scheme = "weixin://x";
    chat.window_title = "\u4E2D";
    chat.flags = NEXLET_APP_SHOW_LOADING | NEXLET_APP_CREATE_SHORTCUT;
    chat.loading_timeout_ms = 3000;
    chat.loading_name = "n";
    chat.loading_icon_url = "i";
    chat.shortcut_name = "s";
    chat.shortcut_image_url = "p";
    chat.shortcut_success_url = "u";
    chat.shortcut_error_url = "e";
    EXPECT_EQ(m_client.OpenApp(chat, kLongMs).result, NEXLET_OK) << nexlet_last_error_text();
    EXPECT_EQ(
        Latest(2),
        R"({"content":{"nexlet_call":2,"p1":{"appShortcut":{"create":1,"errorDot":"e","imageUrl":"p",)"
        R"("shortcutName":"s","successDot":"u"},"from":"shop","loadingWnd":{"iconUrl":"i","name":"n","show":1,)"
        "\"timeOut\":3000},\"taskId\":\"t1\",\"type\":\"weChat\",\"urlScheme\":\"weixin://x\",\"wndname\":\"\u4E2D\"},"
        R"("service_id":"svc"},"message_type":6})");
    nexlet_app yyb = App("yyb");
    yyb.app_id = "pkg";
    yyb.yyb_param = "param";
    yyb.flags = NEXLET_APP_TRY_INSTALL | NEXLET_APP_ALLOW_INSTALL_YYB | NEXLET_APP_SAFE_EXISTS;
    EXPECT_EQ(m_client.OpenApp(yyb, kLongMs).result, NEXLET_OK);
    EXPECT_EQ(
        Latest(3),
        R"({"content":{"nexlet_call":3,"p1":{"AllowInstallYYB":1,"OvrinSafeExist":1,"appId":"pkg","from":"shop",)"
        R"("taskId":"t1","try_install":1,"type":"yyb","yybParam":"param"},"service_id":"svc"},"message_type":6})");
}

TEST_F(ClientLibraryApps, QuestionsAndWatchesAreWrittenAsTheHelperReadsThem) {
    OpenAndCome();
    nexlet_app_question question = {};
    question.type = "yyb";
    question.from = "shop";
    question.task_id = "t1";
    question.window_title = "w";
    question.flags = NEXLET_QUESTION_WINDOW;
    const std::string asked =
        R"("p1":"{\"from\":\"shop\",\"mon_wndexists\":1,\"taskId\":\"t1\",\"type\":\"yyb\",\"wndname\":\"w\"}"},)"
        R"("message_type":7})";
    EXPECT_EQ(m_client.PollApp(question, kLongMs).value, "1");
    EXPECT_EQ(Latest(1), R"({"content":{"nexlet_call":1,)" + asked);
    EXPECT_EQ(m_client.AwaitApp(question, 1, kLongMs).value, "1");
    EXPECT_EQ(Latest(2), R"({"content":{"nexlet_call":2,)" + asked);
    const char* const good[] = {"http://a/", "http://b/"};
    const char* const bad[] = {"http://c/"};
    question.flags = 0;
    question.interval_ms = 4000;
    question.success_urls = good;
    question.success_url_count = 2;
    question.error_urls = bad;
    question.error_url_count = 1;
    EXPECT_EQ(m_client.WatchApp(question, kLongMs), NEXLET_OK);
    EXPECT_EQ(Latest(3), R"({"content":{"p1":"{\"errorLog\":[\"http://c/\"],\"from\":\"shop\",\"interval\":4000,)"
                         R"(\"successLog\":[\"http://a/\",\"http://b/\"],\"taskId\":\"t1\",\"type\":\"yyb\",)"
                         R"(\"wndname\":\"w\"}"},"message_type":8})");
}

TEST_F(ClientLibraryApps, RequestsThatNobodyWaitsForTakeRecordsToo) {
    OpenAndCome();
    nexlet_app mini = App("miniApp");
    mini.app_id = "wx1";
    nexlet::Request request;
    ASSERT_EQ(m_client.BeginOpenApp(mini, kLongMs, {}, &request), NEXLET_OK);
    EXPECT_EQ(request.Result(kLongMs).value.word, "Loading");
    nexlet_app_question question = {};
    question.type = "miniApp";
    question.from = "shop";
    question.task_id = "t1";
    ASSERT_EQ(m_client.BeginPollApp(question, kLongMs, {}, &request), NEXLET_OK);
    EXPECT_EQ(request.Result(kLongMs).value.word, "1");
    mini.task_id = nullptr;
    EXPECT_EQ(m_client.BeginOpenApp(mini, kLongMs, {}), NEXLET_BAD_ARGUMENT);
    question.type = "";
    EXPECT_EQ(m_client.BeginPollApp(question, kLongMs, {}), NEXLET_BAD_ARGUMENT);
}

TEST_F(ClientLibraryApps, MemberThatTheTypeNeedsIsNamedWhenItIsMissing) {
    OpenAndCome();
    const struct {
        const char* type;
        const char* nexlet_app::*member;
        const char* name;
    } needed[] = {
        {"miniApp", &nexlet_app::from, "from"},       {"miniApp", &nexlet_app::task_id, "task_id"},
        {"miniApp", &nexlet_app::app_id, "app_id"},   {"weChat", &nexlet_app::url_scheme, "url_scheme"},
        {"yyb", &nexlet_app::app_id, "app_id"},       {"weChat", &nexlet_app::window_title, "window_title"},
        {"yyb", &nexlet_app::yyb_param, "yyb_param"},
    };
    for (const auto& one : needed) {
        nexlet_app app = App(one.type);
        app.app_id = app.url_scheme = app.window_title = app.yyb_param = "x";
        app.*one.member = nullptr;
        EXPECT_EQ(m_client.OpenApp(app, kLongMs).result, NEXLET_BAD_ARGUMENT) << one.name;
        EXPECT_TRUE(LastErrorTells(std::string(one.name) + " is NULL; the type " + one.type + " needs it"));
        app.*one.member = "";
        EXPECT_EQ(m_client.OpenApp(app, kLongMs).result, NEXLET_BAD_ARGUMENT) << one.name;
        EXPECT_TRUE(LastErrorTells(std::string(one.name) + " is empty"));
        app.*one.member = "\xFF";
        EXPECT_EQ(m_client.OpenApp(app, kLongMs).result, NEXLET_BAD_ARGUMENT) << one.name;
        EXPECT_TRUE(LastErrorTells(std::string(one.name) + " is not UTF-8"));
    }
    EXPECT_EQ(m_client.OpenApp(App("WeChat"), kLongMs).result, NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(LastErrorTells("type is \"WeChat\""));
    EXPECT_EQ(m_client.OpenApp(App(nullptr), kLongMs).result, NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(LastErrorTells("type is NULL"));
    nexlet_app_question question = {};
    question.type = "weChat";
    question.from = "f";
    question.task_id = "t";
    EXPECT_EQ(m_client.PollApp(question, kLongMs).result, NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(LastErrorTells("window_title is NULL"));
    question.window_title = "w";
    question.interval_ms = 0x80000000u;
    EXPECT_EQ(m_client.WatchApp(question, kLongMs), NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(LastErrorTells("interval_ms"));
    question.interval_ms = 0;
    question.success_url_count = 1;
    EXPECT_EQ(m_client.WatchApp(question, kLongMs), NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(LastErrorTells("success_urls is NULL"));
    question.flags = 0x80;
    EXPECT_EQ(m_client.PollApp(question, kLongMs).result, NEXLET_BAD_ARGUMENT);
    char* word = nullptr;
    const nexlet_app small = {};
    EXPECT_EQ(nexlet_open_app(m_client.Handle(), &small, 0, &word), NEXLET_BAD_SIZE);
    EXPECT_EQ(nexlet_open_app(m_client.Handle(), nullptr, 0, &word), NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(nexlet_watch_app(m_client.Handle(), nullptr, 0), NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(m_helper.Requests().empty());
}

}  // namespace
