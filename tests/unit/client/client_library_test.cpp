// Requests, replies and frames of nexlet_client.dll.
#include "ipc/protocol/request_table.h"
#include "tests/support/message_number.h"
#include "tests/unit/client/client_library_fixture.h"
#include "tests/unit/client/packed_record_sizes.h"

#include <atomic>
#include <set>
#include <thread>

namespace {

TEST(ClientLibraryTexts, EveryResultHasANameAndASentenceOfItsOwn) {
    std::set<std::string> names;
    std::set<std::string> texts;
    for (nexlet_result result = NEXLET_OK; result <= NEXLET_OVERTAKEN; ++result) {
        names.insert(nexlet_result_name(result));
        texts.insert(nexlet_result_text(result));
    }
    EXPECT_EQ(names.size(), NEXLET_OVERTAKEN + 1u);
    EXPECT_EQ(texts.size(), NEXLET_OVERTAKEN + 1u);
    EXPECT_STREQ(nexlet_result_name(NEXLET_GONE), "NEXLET_GONE");
    EXPECT_STREQ(nexlet_result_name(99), "unknown");
    EXPECT_STREQ(nexlet_result_text(-1), "unknown result");
    EXPECT_EQ(nexlet_version(), NEXLET_CLIENT_VERSION);
}

TEST(ClientLibraryTexts, EveryResultWordHasASentence) {
    std::set<std::string> texts;
    for (const char* word : {"1", "0", "Loading", "uninstalled", "install", "LaunchError", "ParseAppOpenInfo error",
                             "not from", "not type", "is system screen saver", "OpenWithWeChat lack param",
                             "OpenWithWxSDK lack param", "OpenWidthYybSDK lack param", "InitWxApi error",
                             "InitYybApi error", "OpenProtocolTimeOut type weChat lack param"}) {
        texts.insert(nexlet_word_text(word));
    }
    EXPECT_EQ(texts.size(), 16u);
    EXPECT_EQ(texts.count(nexlet_word_text("never heard of")), 0u);
    EXPECT_STREQ(nexlet_word_text(nullptr), nexlet_word_text("never heard of"));
}

TEST_F(ClientLibrary, EachRequestIsSentAsTheWireWantsItAndItsReplyTakenApart) {
    OpenAndCome();
    const auto status = m_client.Status(kLongMs);
    ASSERT_TRUE(status) << status.Text();
    EXPECT_EQ(status.value.mini_program_installed, 1);
    EXPECT_EQ(status.value.mini_program_logged_in, 0);
    EXPECT_EQ(status.value.wx_installed, 1);
    EXPECT_EQ(status.value.wx_logged_in, 1);
    EXPECT_EQ(status.value.yyb_installed, 0);
    EXPECT_EQ(status.value.yyb_logged_in, 0);
    EXPECT_EQ(m_client.StatusEncrypted(kLongMs).value, "envelope");
    const auto identity = m_client.Identity(kLongMs);
    EXPECT_EQ(identity.value.q32 + identity.value.q36, "a32a36");
    EXPECT_EQ(m_client.Encrypt("a \"text\" 中", kLongMs).value, R"({"text":"a \"text\" 中"})");
    EXPECT_EQ(m_client.OpenTarget(R"({"type":"miniApp","from":"x"})", kLongMs).value, "Loading");
    EXPECT_EQ(m_client.PollTarget(R"({"type":"miniApp"})", kLongMs).value, "1");
    EXPECT_EQ(m_client.AwaitTarget(R"({"type":"miniApp"})", 1, kLongMs).value, "1");
    EXPECT_EQ(m_client.Call(7, R"({"p1":"{}","mine":[1]})", kLongMs).value, R"({"mine":[1],"p1":"{}","result":"1"})");
    EXPECT_EQ(m_client.WatchTarget(R"({"interval":1})", kLongMs), NEXLET_OK);
    EXPECT_EQ(m_client.Send(Number(MessageType::S_MT_ExitExeProcess), R"({"service_id":"svc"})", kLongMs), NEXLET_OK);
    ASSERT_TRUE(m_helper.WaitForRequests(10));
    std::vector<std::string> sent;
    for (const ScriptedRequest& one : m_helper.Requests()) {
        sent.push_back(one.strPayload);
    }
    EXPECT_EQ(sent, (std::vector<std::string>{
                        R"({"content":{"nexlet_call":1},"message_type":2})",
                        R"({"content":{"nexlet_call":2},"message_type":3})",
                        R"({"content":{"nexlet_call":3},"message_type":4})",
                        R"({"content":{"nexlet_call":4,"p1":"{\"text\":\"a \\\"text\\\" 中\"}"},"message_type":5})",
                        R"({"content":{"nexlet_call":5,"p1":{"from":"x","type":"miniApp"},"service_id":"svc"},)"
                        R"("message_type":6})",
                        R"({"content":{"nexlet_call":6,"p1":"{\"type\":\"miniApp\"}"},"message_type":7})",
                        R"({"content":{"nexlet_call":7,"p1":"{\"type\":\"miniApp\"}"},"message_type":7})",
                        R"({"content":{"mine":[1],"nexlet_call":8,"p1":"{}"},"message_type":7})",
                        R"({"content":{"p1":"{\"interval\":1}"},"message_type":8})",
                        R"({"content":{"service_id":"svc"},"message_type":9})"}));
}

TEST_F(ClientLibrary, RepliesOfOneTypeReachTheRequestsThatTheyAnswer) {
    // Status and poll share a reply type: both are in flight, and the later one is answered first.
    std::vector<std::string> held;
    OpenAndCome([&](const ScriptedRequest& request) {
        held.insert(held.begin(), Answer(request).at(0));
        return held.size() == 2 ? held : std::vector<std::string>();
    });
    NexletAnswer<nexlet_app_status> status;
    std::thread asker([&] { status = m_client.Status(kLongMs); });
    ASSERT_TRUE(m_helper.WaitForRequests(1));
    EXPECT_EQ(m_client.PollTarget("{}", kLongMs).value, "1");
    asker.join();
    ASSERT_TRUE(status) << status.Text();
    EXPECT_EQ(status.value.wx_logged_in, 1);
}

TEST_F(ClientLibrary, OneRequestOfATypeIsInFlight) {
    std::atomic<bool> inFlight{false};
    std::atomic<int> overlaps{0};
    // The reply leaves before the next request may be read, so an overlap would have to be sent before.
    std::vector<int> order;
    OpenAndCome([&](const ScriptedRequest& request) {
        overlaps += inFlight.exchange(true) ? 1 : 0;
        order.push_back(request.nType);
        inFlight = false;
        return Answer(request);
    });
    std::vector<std::thread> askers;
    std::atomic<int> good{0};
    for (int i = 0; i < 4; ++i) {
        askers.emplace_back([&] {
            for (int k = 0; k < 25; ++k) {
                good += m_client.Status(kLongMs) ? 1 : 0;
            }
        });
    }
    for (std::thread& one : askers) {
        one.join();
    }
    EXPECT_EQ(good, 100);
    EXPECT_EQ(overlaps, 0);
    EXPECT_EQ(order.size(), 100u);
}

TEST_F(ClientLibrary, SecondRequestOfATypeWaitsForItsTurnNoLongerThanItMay) {
    OpenAndCome(Silence);
    std::thread first([&] { EXPECT_EQ(m_client.Status(kLongMs).result, NEXLET_CLOSED); });
    ASSERT_TRUE(m_helper.WaitForRequests(1));
    EXPECT_EQ(m_client.Status(30).result, NEXLET_TIMEOUT);
    // Another type is sent at once.
    std::thread other([&] { EXPECT_EQ(m_client.Identity(kLongMs).result, NEXLET_CLOSED); });
    EXPECT_TRUE(m_helper.WaitForRequests(2));
    m_client.Shutdown();
    first.join();
    other.join();
    EXPECT_EQ(m_helper.Requests().size(), 2u) << "the one without a turn was never sent";
}

TEST_F(ClientLibrary, ReplyThatComesTooLateIsNotTakenForTheNextOne) {
    std::atomic<bool> answers{false};
    std::string late;
    OpenAndCome([&](const ScriptedRequest& request) -> std::vector<std::string> {
        if (!answers || late.empty()) {
            late = CScriptedHelper::Reply(MessageType::S_MT_StatusReply, request, "result", "Loading");
            return {};
        }
        return {late, CScriptedHelper::Reply(MessageType::S_MT_StatusReply, request, "result", "1")};
    });
    // On a busy machine the time may be up before the request is sent.
    do {
        EXPECT_EQ(m_client.PollTarget("{}", 50).result, NEXLET_TIMEOUT);
    } while (m_helper.Requests().empty());
    answers = true;
    EXPECT_EQ(m_client.PollTarget("{}", kLongMs).value, "1");
    EXPECT_EQ(m_client.WaitFrame(0, 0).result, NEXLET_TIMEOUT) << "nor is it kept";
}

TEST_F(ClientLibrary, AwaitAsksUntilTheWordIsAnother) {
    int asked = 0;
    OpenAndCome([&](const ScriptedRequest& request) -> std::vector<std::string> {
        return {
            CScriptedHelper::Reply(MessageType::S_MT_StatusReply, request, "result", ++asked < 4 ? "Loading" : "0")};
    });
    EXPECT_EQ(m_client.AwaitTarget("{}", 1, kLongMs).value, "0");
    EXPECT_EQ(m_helper.Requests().size(), 4u);
}

TEST_F(ClientLibrary, AwaitEndsWhenItStaysLoading) {
    OpenAndCome([](const ScriptedRequest& request) -> std::vector<std::string> {
        return {CScriptedHelper::Reply(MessageType::S_MT_StatusReply, request, "result", "Loading")};
    });
    const auto answer = m_client.AwaitTarget("{}", 20, 100);
    EXPECT_EQ(answer.result, NEXLET_TIMEOUT);
    EXPECT_EQ(answer.value, "");
}

TEST_F(ClientLibrary, ValuesThatWouldEndTheHelperAreNotSent) {
    OpenAndCome();
    for (const char* open : {R"({"appId":5})", R"({"from":[]})", R"({"type":{}})", R"({"try_install":"1"})",
                             R"({"OvrinSafeExist":5000000000})", "5", "[]", "{", ""}) {
        EXPECT_EQ(m_client.OpenTarget(open, kLongMs).result, NEXLET_BAD_ARGUMENT) << open;
        EXPECT_EQ(m_client.PollTarget(open, kLongMs).result, NEXLET_BAD_ARGUMENT) << open;
        EXPECT_EQ(m_client.WatchTarget(open, kLongMs), NEXLET_BAD_ARGUMENT) << open;
    }
    EXPECT_EQ(m_client.WatchTarget(R"({"interval":-1})", kLongMs), NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(m_client.WatchTarget(R"({"interval":"2"})", kLongMs), NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(m_client.Call(8, "{}", kLongMs).result, NEXLET_BAD_ARGUMENT) << "it has no reply";
    EXPECT_EQ(m_client.Call(-1, "{}", kLongMs).result, NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(m_client.Call(2, "[]", kLongMs).result, NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(m_client.Call(2, R"({"nexlet_call":1})", kLongMs).result, NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(m_client.Send(Number(MessageType::S_MT_GetWxAppStatus), "{", kLongMs), NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(m_client.OpenTarget(R"({"try_install":true})", kLongMs).value, "Loading");
    EXPECT_EQ(m_helper.Requests().size(), 1u);
}

TEST_F(ClientLibrary, ReplyWithoutWhatItMustHoldIsABadReply) {
    std::string text;
    OpenAndCome([&](const ScriptedRequest& request) -> std::vector<std::string> {
        Json::Value further(Json::objectValue);
        if (text.empty()) {
            further["result"] = 5;
        } else {
            further["result"] = text;
        }
        return {CScriptedHelper::Reply(MessageType{ReplyTypeOf(request.nType)}, request, further)};
    });
    for (const char* result : {"", "no json", "[]", R"({"wx_inst":"1"})"}) {
        text = result;
        EXPECT_EQ(m_client.Status(kLongMs).result, NEXLET_BAD_REPLY) << result;
    }
    text.clear();
    EXPECT_EQ(m_client.StatusEncrypted(kLongMs).result, NEXLET_BAD_REPLY);
    EXPECT_EQ(m_client.Identity(kLongMs).result, NEXLET_BAD_REPLY);
    EXPECT_EQ(m_client.OpenTarget("{}", kLongMs).result, NEXLET_BAD_REPLY);
}

TEST_F(ClientLibrary, FramesAreShownAsTheyPass) {
    std::mutex lock;
    std::vector<std::string> frames;
    Open({{}, [&](std::int32_t direction, std::string_view payload) {
              const std::lock_guard<std::mutex> guard(lock);
              EXPECT_EQ(payload.data()[payload.size()], 0);
              frames.push_back((direction == NEXLET_SENT ? "> " : "< ") + std::string(payload));
          }});
    Come();
    m_client.Identity(kLongMs);
    const std::lock_guard<std::mutex> guard(lock);
    EXPECT_EQ(frames, (std::vector<std::string>{
                          R"(< {"content":{"p1":"1"},"message_type":12})",
                          R"(> {"content":{"nexlet_call":1},"message_type":4})",
                          R"(< {"content":{"nexlet_call":1,"strQ32":"a32","strQ36":"a36"},"message_type":15})"}));
}

TEST_F(ClientLibrary, OldestFramesGoWhenNobodyTakesThem) {
    OpenAndCome(Silence);
    constexpr int kFrames = 4096 + 10;
    for (int i = 0; i < kFrames; ++i) {
        ASSERT_TRUE(m_helper.Say(std::to_string(i)));
    }
    ASSERT_TRUE(m_helper.Say(R"({"content":{},"message_type":99})"));
    ASSERT_TRUE(m_client.WaitFrame(99, kLongMs)) << "all have come";
    EXPECT_EQ(m_client.WaitFrame(0, 0).value.payload, "11");
}

TEST_F(ClientLibrary, ManyThreadsAskForDifferentThingsAtOnce) {
    OpenAndCome();
    constexpr int kEach = 40;
    const std::function<bool()> asks[] = {
        [&] { return m_client.Status(kLongMs).value.wx_logged_in == 1; },
        [&] { return m_client.StatusEncrypted(kLongMs).value == "envelope"; },
        [&] { return m_client.Identity(kLongMs).value.q36 == "a36"; },
        [&] { return m_client.Encrypt("one", kLongMs).value == R"({"text":"one"})"; },
        [&] { return m_client.Encrypt("two", kLongMs).value == R"({"text":"two"})"; },
        [&] { return m_client.OpenTarget("{}", kLongMs).value == "Loading"; },
        [&] { return m_client.PollTarget("{}", kLongMs).value == "1"; },
        [&] { return m_client.WatchTarget("{}", kLongMs) == NEXLET_OK; },
        [&] { return m_client.Helper().connected == 1; },
    };
    std::atomic<int> good{0};
    std::vector<std::thread> threads;
    for (const auto& ask : asks) {
        threads.emplace_back([&] {
            for (int i = 0; i < kEach; ++i) {
                good += ask() ? 1 : 0;
            }
        });
    }
    for (std::thread& one : threads) {
        one.join();
    }
    EXPECT_EQ(good, kEach * static_cast<int>(std::size(asks)));
}

TEST(ClientLibraryRecords, AreTheSameWhateverAProgramPacksItsOwnTo) {
    EXPECT_EQ(PackedRecordSizes(), (RecordSizes{sizeof(nexlet_options), sizeof(nexlet_start_options),
                                                sizeof(nexlet_app_status), sizeof(nexlet_helper)}));
    EXPECT_EQ(sizeof(nexlet_options), 8 * sizeof(void*));
}

}  // namespace
