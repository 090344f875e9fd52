// nexlet_client.dll against the real helper.
#include <atomic>
#include <thread>

#include "client/include/nexlet_client.hpp"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "tests/e2e/end_to_end.h"
#include "tests/support/console_program.h"

namespace {

class ClientLibraryE2e : public CEndToEnd {
  protected:
    void SetUp() override {
        ASSERT_TRUE(m_sandbox.Ready()) << GetLastError();
        m_strProgram = Utf16ToUtf8(m_sandbox.Exe());
        ASSERT_EQ(m_client.Open(Utf16ToUtf8(m_strMark), m_strService, {[this] { ++m_nGone; }, {}}), NEXLET_OK);
    }
    void TearDown() override {
        m_client.Close();
        CEndToEnd::TearDown();
    }

    nexlet_start_options Options() const {
        nexlet_start_options options = {};
        options.program = m_strProgram.c_str();
        options.channel_id = 7;
        return options;
    }
    void Start(nexlet_start_options options) {
        ASSERT_EQ(m_client.Start(options, kLongMs), NEXLET_OK);
        ASSERT_TRUE(m_helper.Attach(m_client.Helper().process_id)) << GetLastError();
    }

    // How often the callback was called, at least once: it may come after the waits that the loss ends.
    int TimesGone() const {
        const ULONGLONG startedAt = GetTickCount64();
        while (m_nGone == 0 && GetTickCount64() - startedAt < kLongMs) {
            Sleep(10);
        }
        return m_nGone;
    }

    std::string m_strProgram;
    std::atomic<int> m_nGone{0};
    CNexletClient m_client;
};

TEST_F(ClientLibraryE2e, HelperIsStartedAskedOpenedAndLetGo) {
    m_sandbox.LayOcean(L"late");
    Start(Options());
    const auto status = m_client.Status(kLongMs);
    ASSERT_TRUE(status) << status.Text();
    EXPECT_EQ(status.value.mini_program_installed, 1);
    EXPECT_FALSE(m_client.Encrypt("text", kLongMs).value.empty());
    EXPECT_TRUE(m_client.Identity(kLongMs));
    EXPECT_FALSE(m_client.StatusEncrypted(kLongMs).value.empty());
    EXPECT_EQ(m_client.OpenTarget(MiniAppOpen("t"), kLongMs).value, "1");
    EXPECT_EQ(m_client.AwaitTarget(MiniAppPoll("t"), 20, kLongMs).value, "1");
    EXPECT_EQ(m_client.WatchTarget(R"({"type":"miniApp","taskId":"t","from":"x","interval":0})", kLongMs), NEXLET_OK);
    const auto exit = m_client.Exit(60000);
    ASSERT_EQ(exit.result, NEXLET_OK);
    EXPECT_TRUE(exit.value) << "nobody else needs it";
    const auto code = m_client.WaitProcessEnd(0);
    EXPECT_EQ(code.result, NEXLET_OK);
    EXPECT_EQ(code.value, 0u);
    EXPECT_EQ(TimesGone(), 1);
}

TEST_F(ClientLibraryE2e, RunningHelperTakesTheCommandLineWithoutASecondProcess) {
    Start(Options());
    const DWORD first = m_client.Helper().process_id;
    EXPECT_EQ(m_client.Helper().forwarded, 0);
    CNexletClient second;
    ASSERT_EQ(second.Open(Utf16ToUtf8(m_strMark), "second"), NEXLET_OK);
    ASSERT_EQ(second.Start(Options(), kLongMs), NEXLET_OK);
    EXPECT_EQ(second.Helper().forwarded, 1);
    EXPECT_EQ(second.Helper().process_id, first);
    EXPECT_TRUE(second.Status(kLongMs));
    EXPECT_TRUE(m_client.Status(kLongMs)) << "the first is served on";
    EXPECT_TRUE(Log().Has("Not the first time"));
}

TEST_F(ClientLibraryE2e, SecondProcessForwardsWhenItIsAskedFor) {
    Start(Options());
    CNexletClient second;
    ASSERT_EQ(second.Open(Utf16ToUtf8(m_strMark), "second"), NEXLET_OK);
    nexlet_start_options options = Options();
    options.flags = NEXLET_START_PROCESS;
    ASSERT_EQ(second.Start(options, kLongMs), NEXLET_OK);
    // The process that counts is the one at the other end, not the one that forwarded.
    EXPECT_EQ(second.Helper().forwarded, 1);
    EXPECT_EQ(second.Helper().process_id, m_client.Helper().process_id);
    EXPECT_EQ(second.Helper().ended, 0);
    const auto exit = second.Exit(60000);
    EXPECT_EQ(exit.result, NEXLET_OK);
    EXPECT_FALSE(exit.value) << "the first service needs it";
    EXPECT_TRUE(m_client.Status(kLongMs));
}

TEST_F(ClientLibraryE2e, ServiceOfAnEarlierRunIsLetGoAndTheStartGoesOn) {
    Start(Options());
    const DWORD process = m_client.Helper().process_id;
    CNexletClient other;
    ASSERT_EQ(other.Open(Utf16ToUtf8(m_strMark)), NEXLET_OK);
    ASSERT_EQ(other.Start(Options(), kLongMs), NEXLET_OK);
    m_client.Close();
    // The helper holds the service for up to 70 seconds more, by itself.
    ASSERT_EQ(m_client.Open(Utf16ToUtf8(m_strMark), m_strService), NEXLET_OK);
    ASSERT_EQ(m_client.Start(Options(), 60000), NEXLET_OK);
    EXPECT_EQ(m_client.Helper().process_id, process);
    EXPECT_EQ(m_client.Helper().forwarded, 1);
    EXPECT_TRUE(m_client.Status(kLongMs));
    EXPECT_TRUE(other.Status(kLongMs));
}

TEST_F(ClientLibraryE2e, StartsAtOneTimeAreOneProcess) {
    std::vector<CNexletClient> clients(4);
    std::vector<std::thread> starters;
    for (CNexletClient& client : clients) {
        ASSERT_EQ(client.Open(Utf16ToUtf8(m_strMark)), NEXLET_OK);
        starters.emplace_back([&] { EXPECT_EQ(client.Start(Options(), kLongMs), NEXLET_OK); });
    }
    for (std::thread& starter : starters) {
        starter.join();
    }
    ASSERT_TRUE(m_helper.Attach(clients[0].Helper().process_id));
    int found = 0;
    for (const CNexletClient& client : clients) {
        EXPECT_EQ(client.Helper().process_id, clients[0].Helper().process_id);
        found += client.Helper().forwarded;
    }
    EXPECT_EQ(found, 3);
    EXPECT_FALSE(Log().Has("enter ExistzoltExcute")) << "a second process was started";
}

TEST_F(ClientLibraryE2e, ProgramThatDiesAtItsStartIsGone) {
    nexlet_start_options options = Options();
    options.type = "abc";
    EXPECT_EQ(m_client.Start(options, kLongMs), NEXLET_GONE);
    EXPECT_EQ(m_client.Helper().ended, 1);
    EXPECT_EQ(m_client.Helper().exit_code, 3u);
    EXPECT_EQ(m_nGone, 0) << "there was no connection";
}

TEST_F(ClientLibraryE2e, HelperKilledWhileARequestWaitsIsGone) {
    Start(Options());
    // The helper is ended from the side while requests come and go.
    std::atomic<nexlet_result> last{NEXLET_OK};
    std::thread asker([&] {
        while (last == NEXLET_OK) {
            last = m_client.Status(kLongMs).result;
        }
    });
    std::thread waiter([&] { EXPECT_EQ(m_client.WaitFrame(99, kLongMs).result, NEXLET_GONE); });
    ASSERT_TRUE(m_client.Status(kLongMs));
    m_helper.Kill();
    asker.join();
    waiter.join();
    EXPECT_EQ(last, NEXLET_GONE);
    EXPECT_EQ(m_client.WaitLost(kLongMs), NEXLET_OK);
    EXPECT_EQ(m_client.Status(kLongMs).result, NEXLET_GONE);
    EXPECT_EQ(m_client.Exit(kLongMs).result, NEXLET_GONE);
    // A new one serves the same client.
    Start(Options());
    EXPECT_TRUE(m_client.Status(kLongMs));
    EXPECT_EQ(TimesGone(), 1);
}

TEST_F(ClientLibraryE2e, HelperKilledDuringItsExitIsNoHang) {
    Start(Options());
    std::thread leaver([&] {
        const nexlet_result result = m_client.Exit(kLongMs).result;
        EXPECT_TRUE(result == NEXLET_OK || result == NEXLET_GONE) << nexlet_result_name(result);
    });
    EXPECT_TRUE(Log().WaitFor("DestroyWxServiceItme begin", kLongMs));
    m_helper.Kill();
    leaver.join();
}

TEST_F(ClientLibraryE2e, HelperKilledAtItsStartIsGone) {
    nexlet_start_options options = Options();
    options.flags = NEXLET_START_NO_WAIT;
    ASSERT_EQ(m_client.Start(options, kLongMs), NEXLET_OK);
    ASSERT_TRUE(m_helper.Attach(m_client.Helper().process_id));
    m_helper.Kill();
    const auto notice = m_client.WaitFrame(NEXLET_TYPE_READY, kLongMs);
    if (notice) {
        // It was quicker than the end.
        EXPECT_EQ(m_client.WaitFrame(NEXLET_TYPE_READY, kLongMs).result, NEXLET_GONE);
    } else {
        EXPECT_EQ(notice.result, NEXLET_GONE);
    }
}

TEST_F(ClientLibraryE2e, RefusedRequestIsATimeoutAndTheNextOneIsServed) {
    Start(Options());
    ASSERT_EQ(m_client.SendPayload("no json", kLongMs), NEXLET_OK);
    EXPECT_EQ(m_client.WaitFrame(0, 200).result, NEXLET_TIMEOUT);
    EXPECT_TRUE(m_client.Status(kLongMs));
    EXPECT_TRUE(Log().Has("parse error"));
}

TEST_F(ClientLibraryE2e, HostAcknowledgesACommandLine) {
    Start(Options());
    const std::string mark = Utf16ToUtf8(m_strMark);
    Json::Value content(Json::objectValue);
    content["message_type"] = 1;
    content["content"] = "/from:" + mark + " /service_id:" + m_strService;
    const std::string payload = WriteJson(content);
    char* answer = nullptr;
    ASSERT_EQ(nexlet_host_send(mark.c_str(), payload.data(), payload.size(), kLongMs, &answer), NEXLET_OK);
    EXPECT_STREQ(answer, "1");
    nexlet_free(answer);
    EXPECT_EQ(m_client.WaitFrame(NEXLET_TYPE_READY, kLongMs).result, NEXLET_OK) << "the ready notice comes again";
}

TEST_F(ClientLibraryE2e, CallerInPlainCWorks) {
    m_client.Close();
    const ConsoleRun run = RunConsoleProgram(OwnFolder() + L"\\c_caller.exe", {Utf16ToUtf8(m_strMark), m_strProgram});
    EXPECT_TRUE(run.bStarted && run.bEnded);
    EXPECT_EQ(run.dwExitCode, 0u) << run.strOut << run.strErr;
    for (const char* line : {"status: NEXLET_OK", "mini program installed: 1, word: InitWxApi error", "ended: 1",
                             "close: NEXLET_OK", "gone: 1"}) {
        EXPECT_NE(run.strOut.find(line), std::string::npos) << line << " is not in\n" << run.strOut;
    }
}

}  // namespace
