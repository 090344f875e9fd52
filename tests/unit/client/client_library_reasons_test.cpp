// What nexlet_last_error_text and the diagnostic callback of nexlet_client.dll tell.
#include "tests/support/message_number.h"
#include "tests/unit/client/client_library_fixture.h"

#include <algorithm>
#include <cstddef>
#include <thread>

namespace {

class ClientLibraryReasons : public ClientLibrary {
  protected:
    // Whether the last failure of this thread is told with all these words.
    static ::testing::AssertionResult Tells(std::initializer_list<std::string> words) {
        const std::string text = nexlet_last_error_text();
        for (const std::string& word : words) {
            if (text.find(word) == std::string::npos) {
                return ::testing::AssertionFailure() << "\"" << text << "\" lacks \"" << word << "\"";
            }
        }
        return ::testing::AssertionSuccess();
    }

    nexlet_result OpenRaw(const char* mark, const char* service) {
        nexlet_options options = {};
        options.struct_size = sizeof options;
        options.mark = mark;
        options.service_id = service;
        nexlet_client handle = 0;
        return nexlet_open(&options, &handle);
    }
};

TEST_F(ClientLibraryReasons, NamesTheFunctionTheResultAndTheArgument) {
    EXPECT_EQ(OpenRaw(nullptr, "s"), NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(Tells({"nexlet_open: ", nexlet_result_text(NEXLET_BAD_ARGUMENT), "mark is NULL"}));
    EXPECT_EQ(OpenRaw("", "s"), NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(Tells({"mark is empty"}));
    EXPECT_EQ(OpenRaw("m", ""), NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(Tells({"service_id is empty"}));
    EXPECT_EQ(OpenRaw("m", std::string(218, 's').c_str()), NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(Tells({"3 characters too long"}));
    EXPECT_EQ(nexlet_shutdown(0), NEXLET_BAD_HANDLE);
    EXPECT_TRUE(Tells({"nexlet_shutdown: ", nexlet_result_text(NEXLET_BAD_HANDLE)}));
}

TEST_F(ClientLibraryReasons, NamesTheKeyOfARequestThatCannotBeSent) {
    OpenAndCome();
    EXPECT_EQ(m_client.OpenTarget(R"({"appId":5})", kLongMs).result, NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(Tells({"nexlet_open_target: ", "\"appId\" holds a number and must hold a text"}));
    EXPECT_EQ(m_client.PollTarget(R"({"mon_wndexists":"1"})", kLongMs).result, NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(Tells({"nexlet_poll_target: ", "\"mon_wndexists\" holds a text"}));
    EXPECT_EQ(m_client.WatchTarget(R"({"interval":-1})", kLongMs), NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(Tells({"nexlet_watch_target: ", "\"interval\"", "0 to 2147483647"}));
    // What the helper reads when the open has ended.
    for (const auto& [question, reason] :
         {std::pair(R"({"successLog":["a",5]})", "\"successLog\" holds a number and must hold texts alone"),
          {R"({"errorLog":[{}]})", "\"errorLog\" holds an object"},
          {R"({"isWxPopShow":"1"})", "\"isWxPopShow\" holds a text"},
          {R"({"isWxPopShow":1,"wxPopData":"x"})", "\"wxPopData\" holds a text and must hold an object"},
          {R"({"isWxPopShow":true,"wxPopData":{"icon":5}})", "\"icon\" holds a number"},
          {R"({"isWxPopShow":1,"wxPopData":{"style_id":"3"}})", "\"style_id\" holds a text"}}) {
        EXPECT_EQ(m_client.WatchTarget(question, kLongMs), NEXLET_BAD_ARGUMENT) << question;
        EXPECT_TRUE(Tells({reason}));
        EXPECT_EQ(m_client.PollTarget(question, kLongMs).result, NEXLET_BAD_ARGUMENT) << question;
    }
    EXPECT_EQ(m_client.OpenTarget("[]", kLongMs).result, NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(Tells({"open_json is an array"}));
    EXPECT_EQ(m_client.OpenTarget(R"({"type":"miniApp",})", kLongMs).result, NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(Tells({"open_json is not JSON: ", "at byte 18"}));
    EXPECT_EQ(m_client.OpenTarget("", kLongMs).result, NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(Tells({"open_json is not JSON"}));
    EXPECT_EQ(m_client.Call(8, "{}", kLongMs).result, NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(Tells({"nexlet_call: ", "type 8 has no reply"}));
    const auto answer = m_client.Call(2, R"({"nexlet_call":1})", kLongMs);
    EXPECT_EQ(answer.reason, nexlet_last_error_text());
    EXPECT_TRUE(Tells({"\"nexlet_call\""}));
    EXPECT_TRUE(m_helper.Requests().empty());
}

TEST_F(ClientLibraryReasons, QuestionWhoseValuesAreReadSafelyIsSent) {
    OpenAndCome();
    for (const char* question :
         {R"({"successLog":["a"],"errorLog":5,"isWxPopShow":null,"wxPopData":5})",
          R"({"isWxPopShow":1,"wxPopData":{"name":"n","style_id":-3,"ext_data":[5]}})", R"({"isWxPopShow":1})"}) {
        EXPECT_EQ(m_client.WatchTarget(question, kLongMs), NEXLET_OK) << question;
    }
}

TEST_F(ClientLibraryReasons, TextThatIsNotUtf8IsRefusedWithItsPlace) {
    OpenAndCome();
    for (const char* bad : {"ab\xFF", "ab\xC0\x80", "ab\xED\xA0\x80", "ab\xF4\x90\x80\x80", "ab\xE4\xB8", "ab\x80"}) {
        EXPECT_EQ(OpenRaw(bad, "s"), NEXLET_BAD_ARGUMENT);
        EXPECT_TRUE(Tells({"mark is not UTF-8 at byte 2"}));
        EXPECT_EQ(OpenRaw("m", bad), NEXLET_BAD_ARGUMENT);
        EXPECT_TRUE(Tells({"service_id is not UTF-8 at byte 2"}));
        EXPECT_EQ(m_client.Encrypt(bad, kLongMs).result, NEXLET_BAD_ARGUMENT);
        EXPECT_TRUE(Tells({"nexlet_encrypt: ", "text is not UTF-8 at byte 2"}));
        const std::string inside = R"({"from":")" + std::string(bad) + "\"}";
        EXPECT_EQ(m_client.OpenTarget(inside, kLongMs).result, NEXLET_BAD_ARGUMENT);
        EXPECT_TRUE(Tells({"open_json is not UTF-8 at byte 11"}));
        EXPECT_EQ(m_client.Send(Number(MessageType::S_MT_GetWxAppStatus), inside, kLongMs), NEXLET_BAD_ARGUMENT);
        EXPECT_TRUE(Tells({"content_json is not UTF-8"}));
        nexlet_start_options start = {};
        start.product = bad;
        EXPECT_EQ(m_client.Start(start, kLongMs), NEXLET_BAD_ARGUMENT);
        EXPECT_TRUE(Tells({"nexlet_start: ", "product is not UTF-8 at byte 2"}));
    }
    EXPECT_EQ(m_client.Encrypt("a\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80", kLongMs).result, NEXLET_OK);
    EXPECT_EQ(m_helper.Requests().size(), 1u);
}

TEST_F(ClientLibraryReasons, NamesThePathAndTheSystemsWords) {
    Open();
    nexlet_start_options start = {};
    start.program = "C:\\no such folder\\nexlet.exe";
    EXPECT_EQ(m_client.Start(start, kLongMs), NEXLET_NOT_STARTED);
    const DWORD error = GetLastError();
    EXPECT_NE(error, DWORD{ERROR_SUCCESS});
    EXPECT_TRUE(Tells({"nexlet_start: ", "C:\\no such folder\\nexlet.exe: ", "(" + std::to_string(error) + ")"}));
    nexlet::Client second;
    EXPECT_EQ(second.Open(m_strMark, "svc"), NEXLET_NAME_TAKEN);
    const DWORD taken = GetLastError();
    EXPECT_TRUE(Tells({"nexlet_open: ", Utf16ToUtf8(ServicePipeName(Utf8ToUtf16(m_strMark), "svc")),
                       "(" + std::to_string(taken) + ")"}));
}

TEST_F(ClientLibraryReasons, NamesTheSwitchThatACommandLineCannotCarry) {
    Open();
    nexlet_start_options start = {};
    start.type = "6 /from:another";
    EXPECT_EQ(m_client.Start(start, 0), NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(Tells({"the value of /type: contains the switch /from:"}));
    start.type = nullptr;
    const std::string longChannel(600, 'c');
    start.channel_json = longChannel.c_str();
    EXPECT_EQ(m_client.Start(start, 0), NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(Tells({"/channel:", "800 characters", "518"}));
    start = {};
    start.program = "a\"b";
    EXPECT_EQ(m_client.Start(start, 0), NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(Tells({"the program's path contains a quotation mark"}));
}

TEST_F(ClientLibraryReasons, ProgramAsAWidePathIsTakenAsItStands) {
    Open();
    nexlet_start_options start = {};
    start.program_path = L"C:\\kein Ordner \u4E2D\\nexlet.exe";
    EXPECT_EQ(m_client.Start(start, kLongMs), NEXLET_NOT_STARTED);
    EXPECT_TRUE(Tells({"C:\\kein Ordner \u4E2D\\nexlet.exe"}));
    start.program = "C:\\another.exe";
    EXPECT_EQ(m_client.Start(start, kLongMs), NEXLET_BAD_ARGUMENT);
    EXPECT_TRUE(Tells({"program and program_path are both set"}));
}

TEST_F(ClientLibraryReasons, RecordsOfTheVersionBeforeAreStillTaken) {
    nexlet_options options = {};
    options.struct_size = offsetof(nexlet_options, on_diagnostic);
    options.mark = m_strMark.c_str();
    options.service_id = "svc";
    // What a program of that version has after its record is not the library's to read.
    options.on_diagnostic = [](void*, nexlet_client, std::int32_t, const char*) { ADD_FAILURE(); };
    options.diagnostic_level = NEXLET_LEVEL_DEBUG;
    nexlet_client handle = 0;
    ASSERT_EQ(nexlet_open(&options, &handle), NEXLET_OK);
    nexlet_start_options start = {};
    start.struct_size = offsetof(nexlet_start_options, program_path);
    start.program = "C:\\no such folder\\nexlet.exe";
    start.program_path = L"C:\\another";
    EXPECT_EQ(nexlet_start(handle, &start, 0), NEXLET_NOT_STARTED);
    EXPECT_TRUE(Tells({"C:\\no such folder\\nexlet.exe"}));
    EXPECT_EQ(nexlet_close(handle), NEXLET_OK);
}

TEST_F(ClientLibraryReasons, EachThreadHasItsOwnAndSuccessKeepsIt) {
    EXPECT_EQ(nexlet_shutdown(0), NEXLET_BAD_HANDLE);
    const std::string own = nexlet_last_error_text();
    std::thread([] {
        EXPECT_STREQ(nexlet_last_error_text(), "");
        EXPECT_EQ(nexlet_close(0), NEXLET_BAD_HANDLE);
        EXPECT_NE(std::string(nexlet_last_error_text()).find("nexlet_close"), std::string::npos);
    }).join();
    Open();
    EXPECT_EQ(nexlet_last_error_text(), own);
}

TEST_F(ClientLibraryReasons, ReplyThatLacksAKeyIsToldWithTheKey) {
    OpenAndCome([](const ScriptedRequest& request) -> std::vector<std::string> {
        return {CScriptedHelper::Reply(MessageType::S_MT_StatusReply, request, "result",
                                       R"({"mini_wx_inst":"1","mini_wx_login":"7"})")};
    });
    EXPECT_EQ(m_client.Status(kLongMs).result, NEXLET_BAD_REPLY);
    EXPECT_TRUE(Tells({"nexlet_status: ", "\"mini_wx_login\""}));
}

TEST_F(ClientLibraryReasons, DiagnosticsAreToldUpToTheirLevelAndInsideACallback) {
    struct Told {
        std::int32_t level;
        std::string text;
    };
    std::mutex lock;
    std::vector<Told> told;
    CTally lost;
    nexlet::Callbacks callbacks;
    callbacks.diagnosticLevel = NEXLET_LEVEL_WARNING;
    callbacks.onDiagnostic = [&](std::int32_t level, std::string_view text) {
        // Fails, and is not told again and again.
        EXPECT_NE(nexlet_wait_lost(m_client.Handle(), 0), NEXLET_OK);
        const std::lock_guard<std::mutex> guard(lock);
        told.push_back({level, std::string(text)});
    };
    callbacks.onGone = [&] { lost.Add(); };
    Open(std::move(callbacks));
    Come(Silence);
    EXPECT_EQ(m_client.OpenTarget("[]", kLongMs).result, NEXLET_BAD_ARGUMENT);
    const std::string refused = nexlet_last_error_text();
    m_helper.Leave();
    ASSERT_TRUE(lost.WaitFor(1));
    m_client.Close();
    const std::lock_guard<std::mutex> guard(lock);
    const auto has = [&](std::int32_t level, const std::string& text) {
        return std::any_of(told.begin(), told.end(),
                           [&](const Told& one) { return one.level == level && one.text == text; });
    };
    EXPECT_TRUE(has(NEXLET_LEVEL_ERROR, refused));
    EXPECT_TRUE(has(NEXLET_LEVEL_WARNING, "the connection to the helper was lost"));
    EXPECT_TRUE(std::none_of(told.begin(), told.end(), [](const Told& one) { return one.level > 2; }));
}

TEST_F(ClientLibraryReasons, LifeOfAClientIsToldAtItsLevel) {
    std::mutex lock;
    std::vector<std::string> told;
    nexlet::Callbacks callbacks;
    callbacks.diagnosticLevel = NEXLET_LEVEL_INFO;
    callbacks.onDiagnostic = [&](std::int32_t, std::string_view text) {
        const std::lock_guard<std::mutex> guard(lock);
        told.emplace_back(text);
    };
    Open(std::move(callbacks));
    Come();
    m_client.Close();
    const std::lock_guard<std::mutex> guard(lock);
    EXPECT_EQ(told.at(0), "serves " + Utf16ToUtf8(ServicePipeName(Utf8ToUtf16(m_strMark), "svc")));
    EXPECT_EQ(told.at(1), "the helper is process " + std::to_string(GetCurrentProcessId()));
}

TEST_F(ClientLibraryReasons, HostSendInTheHeaderGivesTheAnswerOrTheReason) {
    const auto answer = nexlet::HostSend(m_strMark, "x", 0);
    EXPECT_EQ(answer.result, NEXLET_NOT_CONNECTED);
    EXPECT_EQ(answer.reason, nexlet_last_error_text());
    EXPECT_NE(answer.reason.find("nexlet_host_send"), std::string::npos);
}

}  // namespace
