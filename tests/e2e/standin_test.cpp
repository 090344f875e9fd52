// Callers against nexlet-standin.exe in the helper's place: each way of answering, or not, gives the result that the
// library and nexctl promise for it.
#include <filesystem>
#include <fstream>

#include "client/include/nexlet_client.hpp"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "tests/e2e/end_to_end.h"
#include "tests/support/console_program.h"
#include "tests/support/stand_in_process.h"

namespace {

// Short: these waits run out.
constexpr std::uint32_t kShortMs = 300;

class StandIn : public CEndToEnd {
  protected:
    void SetUp() override {
        ASSERT_TRUE(m_sandbox.Ready()) << GetLastError();
        ASSERT_TRUE(CopyFileW((OwnFolder() + L"\\nexlet-standin.exe").c_str(), m_sandbox.Exe().c_str(), FALSE))
            << GetLastError();
        m_folder = std::filesystem::path(m_sandbox.Exe()).parent_path();
    }
    void TearDown() override {
        m_client.Close();
        m_helper.Kill();
    }

    void Write(const std::string& scenario, const char* name = "nexlet.scenario") {
        std::ofstream(m_folder / name, std::ios::binary) << scenario;
    }

    // Opens the client and starts the stand-in with this scenario.
    nexlet_result Start(const std::string& scenario, std::uint32_t timeoutMs = kLongMs) {
        Write(scenario);
        EXPECT_EQ(m_client.Open(Utf16ToUtf8(m_strMark), m_strService), NEXLET_OK);
        const std::string program = Utf16ToUtf8(m_sandbox.Exe());
        nexlet_start_options options = {};
        options.program = program.c_str();
        options.channel_id = 7;
        const nexlet_result result = m_client.Start(options, timeoutMs);
        if (m_client.Helper().process_id != 0) {
            m_helper.Attach(m_client.Helper().process_id);
        }
        return result;
    }

    ConsoleRun RunNexctl(const std::string& scenario, std::vector<std::string> arguments) {
        Write(scenario);
        for (const std::string& one : {std::string("--exe"), Utf16ToUtf8(m_sandbox.Exe()), std::string("--mark"),
                                       Utf16ToUtf8(m_strMark), std::string("--service"), m_strService}) {
            arguments.push_back(one);
        }
        return RunConsoleProgram(OwnFolder() + L"\\nexctl.exe", arguments);
    }

    std::string Calls() const {
        std::ifstream file(m_folder / "nexlet_standin_calls.txt");
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::filesystem::path m_folder;
    CNexletClient m_client;
};

constexpr char kStatusReply[] =
    R"(on 2
  reply {"result":"{\"mini_wx_inst\":\"1\",\"mini_wx_login\":\"0\",\"wx_inst\":\"1\",\"wx_login\":\"1\",\"yyb_inst\":\"0\",\"yyb_login\":\"0\"}"}
)";

TEST_F(StandIn, GoodReplyGivesItsContentAndExitEndsTheProcess) {
    ASSERT_EQ(Start(kStatusReply), NEXLET_OK);
    const auto status = m_client.Status(kLongMs);
    ASSERT_TRUE(status) << status.Text();
    EXPECT_EQ(status.value.wx_logged_in, 1);
    EXPECT_EQ(status.value.yyb_installed, 0);
    const auto exit = m_client.Exit(kLongMs);
    EXPECT_EQ(exit.result, NEXLET_OK);
    EXPECT_TRUE(exit.value);
    EXPECT_EQ(m_helper.WaitForEnd(kLongMs), 0u);
}

TEST_F(StandIn, LateReplyTimesOutAndIsNotTakenForTheNextOne) {
    ASSERT_EQ(Start("on 5\nwait 800\nreply {\"result\":\"late\"}\non 5\nreply {\"result\":\"in time\"}"), NEXLET_OK);
    EXPECT_EQ(m_client.Encrypt("a", kShortMs).result, NEXLET_TIMEOUT);
    EXPECT_EQ(m_client.Encrypt("a", kLongMs).value, "in time");
}

TEST_F(StandIn, SilenceTimesOut) {
    ASSERT_EQ(Start("on 2\nsilence"), NEXLET_OK);
    EXPECT_EQ(m_client.Status(kShortMs).result, NEXLET_TIMEOUT);
    EXPECT_TRUE(m_client.Helper().ended == 0);
}

TEST_F(StandIn, CutFrameTimesOutWhileTheConnectionIsUp) {
    ASSERT_EQ(Start("on 2\ncut 12 reply {\"result\":\"x\"}"), NEXLET_OK);
    EXPECT_EQ(m_client.Status(kShortMs).result, NEXLET_TIMEOUT);
}

TEST_F(StandIn, CutFrameAndHangUpIsGone) {
    ASSERT_EQ(Start("on 2\ncut 12 reply {\"result\":\"x\"}\nhangup"), NEXLET_OK);
    EXPECT_EQ(m_client.Status(kLongMs).result, NEXLET_GONE);
    EXPECT_EQ(m_helper.WaitForEnd(kLongMs), 0u);
}

TEST_F(StandIn, FrameOfAnotherKindIsSkippedAndTheNextOneTaken) {
    ASSERT_EQ(Start("on 5\nmagic 513 reply {\"result\":\"no\"}\nreply {\"result\":\"yes\"}"), NEXLET_OK);
    EXPECT_EQ(m_client.Encrypt("a", kLongMs).value, "yes");
}

TEST_F(StandIn, ReplyWithoutItsResultIsABadReply) {
    ASSERT_EQ(Start("on 2\nreply {}"), NEXLET_OK);
    EXPECT_EQ(m_client.Status(kLongMs).result, NEXLET_BAD_REPLY);
}

TEST_F(StandIn, HangUpIsGone) {
    ASSERT_EQ(Start("on 2\nhangup"), NEXLET_OK);
    EXPECT_EQ(m_client.Status(kLongMs).result, NEXLET_GONE);
}

TEST_F(StandIn, ExitIsGoneAndTellsTheExitCode) {
    ASSERT_EQ(Start("on 2\nexit 77"), NEXLET_OK);
    EXPECT_EQ(m_client.Status(kLongMs).result, NEXLET_GONE);
    const auto code = m_client.WaitProcessEnd(kLongMs);
    EXPECT_EQ(code.result, NEXLET_OK);
    EXPECT_EQ(code.value, 77u);
}

TEST_F(StandIn, StartWithoutANoticeTimesOut) {
    EXPECT_EQ(Start("on connect\nsilence", kShortMs * 10), NEXLET_TIMEOUT);
}

TEST_F(StandIn, EndBeforeTheConnectionIsGone) {
    EXPECT_EQ(Start("on 2\nspeak"), NEXLET_GONE);
    EXPECT_EQ(m_client.WaitProcessEnd(kLongMs).value, 1u);
    EXPECT_NE(Calls().find("fault "), std::string::npos) << Calls();
    EXPECT_NE(Calls().find("nexlet.scenario: line 2: no step is called \"speak\""), std::string::npos) << Calls();
}

TEST_F(StandIn, RecordedExchangeAnswers) {
    Write(R"({"exchange":1,"mark":"m","service":"s"}
{"from":"caller","message":{"content":{"nexlet_call":1,"p1":"x"},"message_type":5}}
{"from":"helper","message":{"content":{"nexlet_call":1,"p1":"x","result":"recorded"},"message_type":16}}
)",
          "one.exchange");
    ASSERT_EQ(Start("exchange one.exchange"), NEXLET_OK);
    EXPECT_EQ(m_client.Encrypt("x", kLongMs).value, "recorded");
    EXPECT_NE(Calls().find("request {\"content\":{"), std::string::npos) << Calls();
}

TEST_F(StandIn, NexctlEndsWithTheCodeOfEachAnswer) {
    const std::pair<std::string, DWORD> cases[] = {
        {kStatusReply, 0},    {"on 2\nwait 1500\nreply {}", 3},
        {"on 2\nsilence", 3}, {"on 2\ncut 5 reply {}", 3},
        {"on 2\nhangup", 4},  {"on 2\nexit 9", 4},
    };
    for (const auto& [scenario, code] : cases) {
        const ConsoleRun run = RunNexctl(scenario, {"start", "status", "--timeout", code == 3 ? "1000" : "30000"});
        EXPECT_TRUE(run.bStarted && run.bEnded);
        EXPECT_EQ(run.dwExitCode, code) << scenario << "\n" << run.strOut << run.strErr;
        m_sandbox.EndPrograms();
    }
}

TEST_F(StandIn, NexctlTellsTheExitCodeOfAHelperThatEndsAMomentAfterItsConnection) {
    const ConsoleRun run = RunNexctl("on 2\nhangup\nwait 100\nexit 9", {"start", "status"});
    EXPECT_EQ(run.dwExitCode, 4u) << run.strOut << run.strErr;
    EXPECT_NE(run.strErr.find("its exit code was 9"), std::string::npos) << run.strErr;
}

TEST_F(StandIn, ProgramTellsHowItIsUsedAndWhatIsWrong) {
    const std::wstring program = OwnFolder() + L"\\nexlet-standin.exe";
    const ConsoleRun help = RunConsoleProgram(program, {"--help"});
    EXPECT_EQ(help.dwExitCode, 0u);
    EXPECT_EQ(help.strOut.rfind("usage: nexlet-standin", 0), 0u) << help.strOut;

    Write(kStatusReply);
    const std::string file = Utf16ToUtf8((m_folder / "nexlet.scenario").wstring());
    EXPECT_EQ(RunConsoleProgram(program, {"--check", file}).dwExitCode, 0u);
    Write("on 2\nwait x\n");
    const ConsoleRun check = RunConsoleProgram(program, {"--check", file});
    EXPECT_EQ(check.dwExitCode, 1u);
    EXPECT_NE(check.strErr.find("line 2: this is not a number"), std::string::npos) << check.strErr;
    EXPECT_EQ(RunConsoleProgram(program, {"--check", file + "2"}).dwExitCode, 1u);

    // The copy, which keeps its record in the sandbox.
    const ConsoleRun bare = RunConsoleProgram(m_sandbox.Exe(), {});
    EXPECT_EQ(bare.dwExitCode, 1u);
    EXPECT_NE(bare.strErr.find("/from:"), std::string::npos) << bare.strErr;
    Write("");
    const ConsoleRun alone = RunConsoleProgram(m_sandbox.Exe(), {"/from:" + Utf16ToUtf8(m_strMark), "/service_id:x"});
    EXPECT_EQ(alone.dwExitCode, 2u);
    EXPECT_NE(alone.strErr.find("no caller serves"), std::string::npos) << alone.strErr;
}

}  // namespace
