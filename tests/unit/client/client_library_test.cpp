// nexlet_client.dll through its headers alone, against a stand-in for the helper.
#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "client/include/nexlet_client.hpp"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "ipc/pipe_names.h"
#include "tests/support/handle_count.h"
#include "tests/support/unique_name.h"
#include "world/helper/scripted_helper.h"

namespace {

constexpr std::uint32_t kLongMs = 20000;

constexpr char kAllInstalled[] =
    R"({"mini_wx_inst":"1","mini_wx_login":"0","wx_inst":"1","wx_login":"1","yyb_inst":"0","yyb_login":"0"})";

// What the real helper says, with fixed values.
std::vector<std::string> Answer(const ScriptedRequest& request) {
    switch (request.nType) {
        case 2:
            return {CScriptedHelper::Reply(13, request, "result", kAllInstalled)};
        case 3:
            return {CScriptedHelper::Reply(14, request, "result", "envelope")};
        case 4: {
            Json::Value pair(Json::objectValue);
            pair["strQ32"] = "a32";
            pair["strQ36"] = "a36";
            return {CScriptedHelper::Reply(15, request, pair)};
        }
        case 5:
            return {CScriptedHelper::Reply(16, request, "result", request.content["p1"].asCString())};
        case 6:
            return {CScriptedHelper::Reply(17, request, "result", "Loading")};
        case 7:
            return {CScriptedHelper::Reply(13, request, "result", "1")};
        default:
            return {};
    }
}

std::vector<std::string> Silence(const ScriptedRequest&) {
    return {};
}

// A line of events that threads add to and a test waits for.
class CTally {
  public:
    void Add() {
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            ++m_nCount;
        }
        m_changed.notify_all();
    }
    bool WaitFor(int count) {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, std::chrono::milliseconds(kLongMs), [&] { return m_nCount >= count; });
    }
    int Count() const {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_nCount;
    }

  private:
    mutable std::mutex m_lock;
    std::condition_variable m_changed;
    int m_nCount = 0;
};

class ClientLibrary : public ::testing::Test {
  protected:
    ClientLibrary() : m_strMark(Utf16ToUtf8(UniqueName(L"clientlib"))) {}

    void Open(CNexletClient::Callbacks callbacks = {}) {
        ASSERT_EQ(m_client.Open(m_strMark, "svc", std::move(callbacks)), NEXLET_OK) << GetLastError();
    }
    void Come(CScriptedHelper::Script script = Answer) {
        ASSERT_TRUE(m_helper.Come(ServicePipeName(Utf8ToUtf16(m_strMark), "svc"), std::move(script)));
        ASSERT_EQ(m_client.WaitConnected(kLongMs), NEXLET_OK);
        // The notice has been taken in once it can be taken out.
        ASSERT_EQ(m_client.WaitFrame(NEXLET_TYPE_READY, kLongMs).result, NEXLET_OK);
    }
    void OpenAndCome(CScriptedHelper::Script script = Answer) {
        Open();
        Come(std::move(script));
    }

    const std::string m_strMark;
    CTally m_gone;  // outlives the client, whose callback it counts
    CNexletClient m_client;
    CScriptedHelper m_helper;  // leaves before the client closes
};

TEST(ClientLibraryTexts, EveryResultHasANameAndASentenceOfItsOwn) {
    std::set<std::string> names;
    std::set<std::string> texts;
    for (nexlet_result result = NEXLET_OK; result <= NEXLET_BAD_SIZE; ++result) {
        names.insert(nexlet_result_name(result));
        texts.insert(nexlet_result_text(result));
    }
    EXPECT_EQ(names.size(), NEXLET_BAD_SIZE + 1u);
    EXPECT_EQ(texts.size(), NEXLET_BAD_SIZE + 1u);
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
    EXPECT_EQ(m_client.Send(9, R"({"service_id":"svc"})", kLongMs), NEXLET_OK);
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
    EXPECT_EQ(m_client.Identity(30).result, NEXLET_TIMEOUT) << "another type is sent at once";
    EXPECT_EQ(m_helper.Requests().size(), 2u) << "the one without a turn was never sent";
    m_client.Shutdown();
    first.join();
}

TEST_F(ClientLibrary, ReplyThatComesTooLateIsNotTakenForTheNextOne) {
    std::string late;
    OpenAndCome([&](const ScriptedRequest& request) -> std::vector<std::string> {
        if (late.empty()) {
            late = CScriptedHelper::Reply(13, request, "result", "Loading");
            return {};
        }
        return {late, CScriptedHelper::Reply(13, request, "result", "1")};
    });
    EXPECT_EQ(m_client.PollTarget("{}", 50).result, NEXLET_TIMEOUT);
    EXPECT_EQ(m_client.PollTarget("{}", kLongMs).value, "1");
    EXPECT_EQ(m_client.WaitFrame(0, 0).result, NEXLET_TIMEOUT) << "nor is it kept";
}

TEST_F(ClientLibrary, AwaitAsksUntilTheWordIsAnother) {
    int asked = 0;
    OpenAndCome([&](const ScriptedRequest& request) -> std::vector<std::string> {
        return {CScriptedHelper::Reply(13, request, "result", ++asked < 4 ? "Loading" : "0")};
    });
    EXPECT_EQ(m_client.AwaitTarget("{}", 1, kLongMs).value, "0");
    EXPECT_EQ(m_helper.Requests().size(), 4u);
}

TEST_F(ClientLibrary, AwaitEndsWhenItStaysLoading) {
    OpenAndCome([](const ScriptedRequest& request) -> std::vector<std::string> {
        return {CScriptedHelper::Reply(13, request, "result", "Loading")};
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
    EXPECT_EQ(m_client.Send(2, "{", kLongMs), NEXLET_BAD_ARGUMENT);
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
        return {CScriptedHelper::Reply(request.nType == 6 ? 17 : 13 + (request.nType - 2), request, further)};
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

TEST_F(ClientLibrary, RequestBeforeAHelperHasConnectedSaysSo) {
    Open();
    EXPECT_EQ(m_client.Status(kLongMs).result, NEXLET_NOT_CONNECTED);
    EXPECT_EQ(m_client.WaitProcessEnd(0).result, NEXLET_NOT_CONNECTED);
    EXPECT_EQ(m_client.WaitConnected(0), NEXLET_TIMEOUT);
    EXPECT_EQ(m_client.Exit(kLongMs).result, NEXLET_NOT_CONNECTED);
}

TEST_F(ClientLibrary, HelperThatLeavesEndsAWaitingRequest) {
    Open({[&] { m_gone.Add(); }, {}});
    Come(Silence);
    std::thread asker([&] { EXPECT_EQ(m_client.Status(kLongMs).result, NEXLET_GONE); });
    ASSERT_TRUE(m_helper.WaitForRequests(1));
    m_helper.Leave();
    asker.join();
    EXPECT_TRUE(m_gone.WaitFor(1));
    EXPECT_EQ(m_client.Status(kLongMs).result, NEXLET_GONE);
    EXPECT_EQ(m_client.WaitLost(kLongMs), NEXLET_OK);
    Come();
    EXPECT_TRUE(m_client.Status(kLongMs)) << "it came again";
    EXPECT_EQ(m_gone.Count(), 1);
    EXPECT_EQ(m_client.Helper().connections, 2u);
    EXPECT_EQ(m_client.Helper().connected, 1);
}

TEST_F(ClientLibrary, ProbeThatLeavesWithoutAByteIsNoLoss) {
    Open({[&] { m_gone.Add(); }, {}});
    ASSERT_TRUE(m_helper.Come(ServicePipeName(Utf8ToUtf16(m_strMark), "svc"), Silence, /*notice=*/false));
    m_helper.Leave();
    Come();
    m_helper.Leave();
    EXPECT_TRUE(m_gone.WaitFor(1));
    EXPECT_EQ(m_client.WaitLost(kLongMs), NEXLET_OK);
    m_client.Close();
    EXPECT_EQ(m_gone.Count(), 1);
}

TEST_F(ClientLibrary, OwnCloseIsNoLoss) {
    Open({[&] { m_gone.Add(); }, {}});
    Come();
    m_client.Close();
    EXPECT_EQ(m_gone.Count(), 0);
}

TEST_F(ClientLibrary, CallsInsideACallbackThatCouldWaitForThemselvesAreRefused) {
    std::atomic<nexlet_client> handle{0};
    nexlet_result results[4] = {};
    CTally seen;
    Open({{}, [&](std::int32_t direction, std::string_view) {
              if (direction == NEXLET_RECEIVED && seen.Count() == 0) {
                  nexlet_app_status status = {};
                  status.struct_size = sizeof status;
                  nexlet_helper helper = {};
                  helper.struct_size = sizeof helper;
                  results[0] = nexlet_status(handle, 1, &status);
                  results[1] = nexlet_close(handle);
                  results[2] = nexlet_helper_process(handle, &helper);
                  results[3] = nexlet_shutdown(handle);
                  seen.Add();
              }
          }});
    handle = m_client.Handle();
    ASSERT_TRUE(m_helper.Come(ServicePipeName(Utf8ToUtf16(m_strMark), "svc"), Silence));
    ASSERT_TRUE(seen.WaitFor(1));
    EXPECT_EQ(results[0], NEXLET_WRONG_THREAD);
    EXPECT_EQ(results[1], NEXLET_WRONG_THREAD);
    EXPECT_EQ(results[2], NEXLET_OK);
    EXPECT_EQ(results[3], NEXLET_OK);
    EXPECT_EQ(m_client.Status(kLongMs).result, NEXLET_CLOSED);
    m_client.Close();
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

TEST_F(ClientLibrary, TakenNameIsToldAndFreeAgainAfterClose) {
    Open();
    CNexletClient second;
    EXPECT_EQ(second.Open(m_strMark, "svc"), NEXLET_NAME_TAKEN);
    EXPECT_NE(GetLastError(), 0u);
    EXPECT_EQ(second.Open(m_strMark, "another"), NEXLET_OK);
    m_client.Close();
    EXPECT_EQ(second.Open(m_strMark, "svc"), NEXLET_OK);
}

TEST_F(ClientLibrary, ArgumentsThatCannotBeUsedAreToldBeforeAnythingIsDone) {
    nexlet_client handle = 0;
    nexlet_options options = {};
    options.struct_size = sizeof options;
    options.mark = m_strMark.c_str();
    EXPECT_EQ(nexlet_open(&options, &handle), NEXLET_BAD_ARGUMENT) << "no service id";
    options.service_id = "";
    EXPECT_EQ(nexlet_open(&options, &handle), NEXLET_BAD_ARGUMENT);
    const std::string tooLong(259, 'x');
    options.service_id = tooLong.c_str();
    EXPECT_EQ(nexlet_open(&options, &handle), NEXLET_BAD_ARGUMENT);
    options.service_id = "svc";
    EXPECT_EQ(nexlet_open(nullptr, &handle), NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(nexlet_open(&options, nullptr), NEXLET_BAD_ARGUMENT);
    options.struct_size = sizeof options - 1;
    EXPECT_EQ(nexlet_open(&options, &handle), NEXLET_BAD_SIZE);
    EXPECT_EQ(handle, 0u);

    Open();
    nexlet_start_options start = {};
    EXPECT_EQ(nexlet_start(m_client.Handle(), &start, 0), NEXLET_BAD_SIZE);
    start.flags = 0x80;
    EXPECT_EQ(m_client.Start(start, 0), NEXLET_BAD_ARGUMENT);
    start.flags = 0;
    start.type = "6 /from:another";
    EXPECT_EQ(m_client.Start(start, 0), NEXLET_BAD_ARGUMENT);
    nexlet_app_status status = {};
    EXPECT_EQ(nexlet_status(m_client.Handle(), 0, &status), NEXLET_BAD_SIZE);
    EXPECT_EQ(nexlet_status(m_client.Handle(), 0, nullptr), NEXLET_BAD_ARGUMENT);
    nexlet_helper helper = {};
    EXPECT_EQ(nexlet_helper_process(m_client.Handle(), &helper), NEXLET_BAD_SIZE);
    char* text = nullptr;
    EXPECT_EQ(nexlet_encrypt(m_client.Handle(), nullptr, 0, &text), NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(nexlet_encrypt(m_client.Handle(), "x", 0, nullptr), NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(nexlet_send_payload(m_client.Handle(), nullptr, 1, 0), NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(nexlet_host_send("", "x", 1, 0, &text), NEXLET_BAD_ARGUMENT);
}

TEST_F(ClientLibrary, NameThatTheSystemRefusesIsASystemErrorWithItsReason) {
    SetLastError(0);
    EXPECT_EQ(m_client.Open("no\\such\\folder", "svc"), NEXLET_SYSTEM_ERROR);
    EXPECT_NE(GetLastError(), 0u);
}

TEST_F(ClientLibrary, MissingProgramIsNotStarted) {
    Open();
    nexlet_start_options start = {};
    start.program = "C:\\no such folder\\nexlet.exe";
    SetLastError(0);
    EXPECT_EQ(m_client.Start(start, kLongMs), NEXLET_NOT_STARTED);
    EXPECT_NE(GetLastError(), 0u);
}

TEST_F(ClientLibrary, HostOfAMarkThatNobodyServesIsNotConnected) {
    char* answer = nullptr;
    EXPECT_EQ(nexlet_host_send(m_strMark.c_str(), "x", 1, 0, &answer), NEXLET_NOT_CONNECTED);
    EXPECT_EQ(answer, nullptr);
}

TEST_F(ClientLibrary, ClosedHandleIsNobodys) {
    Open();
    const nexlet_client handle = m_client.Handle();
    m_client.Close();
    for (const nexlet_client one : {handle, nexlet_client{0}, ~nexlet_client{0}}) {
        char* text = nullptr;
        EXPECT_EQ(nexlet_close(one), NEXLET_BAD_HANDLE);
        EXPECT_EQ(nexlet_shutdown(one), NEXLET_BAD_HANDLE);
        EXPECT_EQ(nexlet_start(one, nullptr, 0), NEXLET_BAD_HANDLE);
        EXPECT_EQ(nexlet_encrypt(one, "x", 0, &text), NEXLET_BAD_HANDLE);
        EXPECT_EQ(nexlet_send_payload(one, "x", 1, 0), NEXLET_BAD_HANDLE);
    }
    Open();
    EXPECT_NE(m_client.Handle(), handle);
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

TEST_F(ClientLibrary, ShutdownWakesEveryKindOfWait) {
    OpenAndCome(Silence);
    const std::function<nexlet_result()> waits[] = {
        [&] { return m_client.Status(kLongMs).result; },
        [&] { return m_client.Status(kLongMs).result; },  // waits for its turn
        [&] { return m_client.Identity(kLongMs).result; },
        [&] { return m_client.WaitFrame(0, kLongMs).result; },
        [&] { return m_client.WaitLost(kLongMs); },
        [&] { return m_client.AwaitTarget("{}", kLongMs, kLongMs).result; },
        [&] { return m_client.Exit(kLongMs).result; },
    };
    std::vector<std::thread> threads;
    for (const auto& wait : waits) {
        threads.emplace_back([&] {
            const nexlet_result result = wait();
            EXPECT_EQ(result, NEXLET_CLOSED) << nexlet_result_name(result);
        });
    }
    ASSERT_TRUE(m_helper.WaitForRequests(4)) << "status, identity, await, exit";
    EXPECT_EQ(m_client.Shutdown(), NEXLET_OK);
    for (std::thread& one : threads) {
        one.join();
    }
    EXPECT_EQ(m_client.Shutdown(), NEXLET_OK);
}

TEST_F(ClientLibrary, CloseWaitsForTheCallsUnderWay) {
    for (int round = 0; round < 20; ++round) {
        Open();
        Come(Silence);
        const nexlet_client handle = m_client.Handle();
        std::atomic<int> back{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                char* text = nullptr;
                const nexlet_result result = nexlet_encrypt(handle, "x", kLongMs, &text);
                EXPECT_TRUE(result == NEXLET_CLOSED || result == NEXLET_BAD_HANDLE) << nexlet_result_name(result);
                ++back;
            });
        }
        if (round % 2 == 0) {
            ASSERT_TRUE(m_helper.WaitForRequests(1));
        }
        m_client.Close();
        for (std::thread& one : threads) {
            one.join();
        }
        EXPECT_EQ(back, 4);
        m_helper.Leave();
    }
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

TEST_F(ClientLibrary, LeavesNoHandleBehind) {
    const auto round = [&] {
        OpenAndCome();
        EXPECT_TRUE(m_client.Status(kLongMs));
        m_client.Close();
        m_helper.Leave();
    };
    round();
    const std::size_t before = OwnHandleCount();
    for (int i = 0; i < 20; ++i) {
        round();
    }
    EXPECT_LT(OwnHandleCount(), before + 20);
}

}  // namespace
