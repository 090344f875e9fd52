// nexctl from the outside: its words, its JSON, its exit codes.
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "foundation/handle.h"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "tests/e2e/nexctl_fixture.h"
#include "tests/support/stand_in_process.h"
#include "tests/support/stand_in_yyb.h"
#include "tests/support/unique_name.h"

namespace {

// The helper keeps the identity in the registry, which tests that run at the same time share.
class CIdentityTurn {
  public:
    CIdentityTurn() : m_mutex(CreateMutexW(nullptr, FALSE, L"nexlet_e2e_identity")) {
        WaitForSingleObject(m_mutex.get(), INFINITE);
        RegDeleteTreeW(HKEY_CURRENT_USER, L"SOFTWARE\\qimei");
    }
    ~CIdentityTurn() {
        RegDeleteTreeW(HKEY_CURRENT_USER, L"SOFTWARE\\qimei");
        ReleaseMutex(m_mutex.get());
    }
    CIdentityTurn(const CIdentityTurn&) = delete;
    CIdentityTurn& operator=(const CIdentityTurn&) = delete;

  private:
    CKernelHandle m_mutex;
};

TEST_F(Nexctl, HelpIsPrintedForEveryWayOfAskingAndEndsWithZero) {
    for (const auto& arguments : {std::vector<std::string>{"--help"}, {"help"}, {"open", "--help"}, {"help", "open"}}) {
        const ConsoleRun run = RunPlain(arguments);
        EXPECT_EQ(run.dwExitCode, 0u);
        EXPECT_EQ(run.strErr, "");
        EXPECT_NE(run.strOut.find(arguments.size() == 1 ? "usage: nexctl VERB" : "usage: nexctl open JSON"),
                  std::string::npos)
            << run.strOut;
    }
}

TEST_F(Nexctl, UnusableCommandLineEndsWithOneAndSaysWhyOnStandardError) {
    for (const auto& arguments :
         {std::vector<std::string>{}, {"bogus"}, {"open"}, {"open", "{"}, {"status", "--x", "1"}}) {
        const ConsoleRun run = RunPlain(arguments);
        EXPECT_EQ(run.dwExitCode, 1u);
        EXPECT_EQ(run.strOut, "");
        EXPECT_EQ(run.strErr.rfind("nexctl: ", 0), 0u) << run.strErr;
    }
}

TEST_F(Nexctl, MissingProgramEndsWithTwo) {
    const ConsoleRun run = RunPlain({"start", "--exe", "C:\\no such folder\\nexlet.exe"});
    EXPECT_EQ(run.dwExitCode, 2u);
    EXPECT_EQ(JsonLines(run.strOut).at(0)["outcome"].asString(), "not started");
}

TEST_F(Nexctl, TakenPipeEndsWithTwo) {
    const auto caller = Serve("nexctl");
    const ConsoleRun run = Run({"start", "--service", "nexctl"});
    EXPECT_EQ(run.dwExitCode, 2u);
    EXPECT_NE(run.strErr.find("already serves"), std::string::npos) << run.strErr;
}

TEST_F(Nexctl, NobodyComingEndsWithThree) {
    const ConsoleRun run = Run({"listen", "--no-start", "--timeout", "100"});
    EXPECT_EQ(run.dwExitCode, 3u);
    EXPECT_EQ(JsonLines(run.strOut).at(0)["outcome"].asString(), "timeout");
}

TEST_F(Nexctl, NoHostEndsWithFour) {
    const ConsoleRun run = Run({"host", "2", "{}", "--timeout", "100"});
    EXPECT_EQ(run.dwExitCode, 4u);
}

TEST_F(Nexctl, HelperThatDiesEndsWithFourAndTellsItsExitCode) {
    const ConsoleRun run = Run({"start", "--type", "abc"});
    EXPECT_EQ(run.dwExitCode, 4u);
    const Json::Value line = JsonLines(run.strOut).at(0);
    EXPECT_EQ(line["outcome"].asString(), "gone");
    EXPECT_EQ(line["exit_code"].asUInt(), 3u);
    EXPECT_NE(run.strErr.find("its exit code was 3; its log says: ended: uncaught exception: stoi"), std::string::npos)
        << run.strErr;
}

TEST_F(Nexctl, ExitRunsAlsoAfterAVerbThatFailed) {
    const ConsoleRun run =
        Run({"start", "open", R"({"type":"miniApp","appId":"a","taskId":"t","from":"x"})", "status", "exit"});
    EXPECT_EQ(run.dwExitCode, 5u) << "the open's own code";
    const std::vector<Json::Value> lines = JsonLines(run.strOut);
    ASSERT_EQ(lines.size(), 3u) << run.strOut;
    EXPECT_EQ(lines[2]["step"].asString(), "exit");
    EXPECT_TRUE(lines[2]["process_ended"].asBool());
}

TEST_F(Nexctl, EveryRunTakesAServiceIdOfItsOwn) {
    const std::string first = JsonLines(Run({"start", "doctor"}).strOut).at(1)["service"].asString();
    const std::string second = JsonLines(Run({"start", "doctor"}).strOut).at(1)["service"].asString();
    EXPECT_NE(first, "");
    EXPECT_NE(first, second);
}

TEST_F(Nexctl, StartWithoutANoticeSaysWhatMayBeTheReason) {
    // A helper that runs does not come back to a service whose connection it has lost.
    ASSERT_EQ(Run({"start", "--service", "again"}).dwExitCode, 0u);
    const ConsoleRun run = Run({"start", "--service", "again", "--timeout", "3000"});
    EXPECT_EQ(run.dwExitCode, 3u);
    EXPECT_NE(run.strErr.find("no ready notice within 3000 ms. Was this service id used in the last 70 s?"),
              std::string::npos)
        << run.strErr;
}

TEST_F(Nexctl, RefusalWithoutALineIsToldAsOne) {
    // An open without p1 is refused, and the helper writes nothing about it.
    const ConsoleRun run = Run({"start", "send", "6", R"({"service_id":"x"})", "--timeout", "1000"});
    EXPECT_EQ(run.dwExitCode, 3u);
    EXPECT_EQ(
        run.strErr,
        "nexctl: send: no reply; the log has no refusal for this request: refused without a line, or still waiting "
        "for the SDK\n");
}

TEST_F(Nexctl, RefusalOfAnotherServiceIsNotQuotedForAnOpenThatHangs) {
    const CTestEvent gate;
    m_sandbox.LayOcean(L"good");
    m_sandbox.SetOcean(L"hold", gate.Name());
    ASSERT_EQ(Run({"start"}).dwExitCode, 0u);
    ConsoleRun hanging;
    std::thread opener([&] { hanging = Run({"open", MiniAppOpen("t"), "--service", "hangs", "--timeout", "8000"}); });
    while (m_sandbox.OceanCalls().find("holding id=1") == std::string::npos && m_helper.IsRunning()) {
        Sleep(10);
    }
    // Another service of the same helper has a request refused meanwhile.
    const ConsoleRun refused = Run({"send", "99", "{}", "--expect", "13", "--service", "other", "--timeout", "500"});
    EXPECT_NE(refused.strErr.find("its log says \"receive extension msg\""), std::string::npos) << refused.strErr;
    opener.join();
    EXPECT_EQ(hanging.dwExitCode, 3u);
    EXPECT_EQ(hanging.strErr.find("receive extension msg"), std::string::npos) << hanging.strErr;
    EXPECT_NE(hanging.strErr.find("still waiting for the SDK"), std::string::npos) << hanging.strErr;
}

TEST_F(Nexctl, StartThatNobodyTookSaysWhoHasTheMark) {
    ASSERT_EQ(Run({"start"}).dwExitCode, 0u);
    // Somebody stays on the host's pipe, so a second start has nobody to hand its command line to.
    SendToHost(MessageType::S_MT_GetWxAppStatus, ServiceContent("other"));
    const ConsoleRun run = Run({"start", "--service", "second", "--timeout", "20000"});
    LeaveHost();
    EXPECT_EQ(run.dwExitCode, 4u) << run.strOut << run.strErr;
    EXPECT_NE(
        run.strErr.find(" ended with 0 without a ready notice: another helper has the mark and its pipe was busy; "
                        "try again"),
        std::string::npos)
        << run.strErr;
}

TEST_F(Nexctl, OpenThatTheSdkRefusesSaysWhoRefused) {
    m_sandbox.LayOcean(L"refusing");
    const ConsoleRun run = Run({"start", "open", MiniAppOpen("t")});
    EXPECT_EQ(run.dwExitCode, 5u);
    EXPECT_EQ(run.strErr, "nexctl: open: the helper answered \"0\": the SDK or the client refused the open\n");
}

TEST_F(Nexctl, VersionIsPrinted) {
    const ConsoleRun run = RunPlain({"--version"});
    EXPECT_EQ(run.dwExitCode, 0u);
    EXPECT_EQ(run.strOut.rfind("nexctl 1.", 0), 0u) << run.strOut;
}

TEST_F(Nexctl, RefusedRequestEndsWithThree) {
    const ConsoleRun run = Run({"start", "send", "2", "\"no object\"", "--timeout", "1500"});
    EXPECT_EQ(run.dwExitCode, 3u);
    EXPECT_EQ(JsonLines(run.strOut).at(1)["outcome"].asString(), "timeout");
    EXPECT_TRUE(Log().Has("jvRoot not content"));
}

TEST_F(Nexctl, AnswerThatSaysNoEndsWithFive) {
    const ConsoleRun run = Run({"start", "open", R"({"type":"miniApp","appId":"a","taskId":"t","from":"x"})"});
    EXPECT_EQ(run.dwExitCode, 5u);
    EXPECT_EQ(JsonLines(run.strOut).at(1)["reply"]["content"]["result"].asString(), "InitWxApi error");
    EXPECT_NE(run.strErr.find("InitWxApi error"), std::string::npos);
}

TEST_F(Nexctl, OneRunTakesAWholeExchangeToItsEnd) {
    m_sandbox.LayOcean(L"late");
    const ConsoleRun run =
        Run({"start", "open", "-", "poll", MiniAppPoll("t"), "--until", "1", "exit", "--frames"}, MiniAppOpen("t"));
    EXPECT_EQ(run.dwExitCode, 0u) << run.strOut << run.strErr;
    std::vector<std::string> steps;
    std::vector<int> sent;
    for (const Json::Value& line : JsonLines(run.strOut)) {
        if (line.isMember("step")) {
            EXPECT_EQ(line["outcome"].asString(), "ok");
            steps.push_back(line["step"].asString());
            if (steps.back() == "exit") {
                EXPECT_TRUE(line["process_ended"].asBool());
                EXPECT_EQ(line["exit_code"].asUInt(), 0u);
            }
        } else if (line["direction"] == "sent" && (sent.empty() || sent.back() != line["type"].asInt())) {
            sent.push_back(line["type"].asInt());
        }
    }
    EXPECT_EQ(steps, (std::vector<std::string>{"start", "open", "poll", "exit"}));
    EXPECT_EQ(sent, (std::vector<int>{6, 7, 9}));
}

TEST_F(Nexctl, EveryRequestVerbGetsItsReply) {
    const CIdentityTurn turn;
    // Without an SDK there is no identity, and that ends with a code of its own.
    const CStandInYyb sdk(std::filesystem::path(m_sandbox.SdkPath()) / L"yybsdk");
    const ConsoleRun run = Run({"start", "status", "status-encrypted", "encrypt", "a text", "send", "4", "{}", "send",
                                "2", R"({"mine":1})", "watch", R"({"interval":1})"});
    EXPECT_EQ(run.dwExitCode, 0u) << run.strOut << run.strErr;
    const std::vector<Json::Value> lines = JsonLines(run.strOut);
    ASSERT_EQ(lines.size(), 7u) << run.strOut;
    EXPECT_EQ(lines[1]["reply"]["message_type"].asInt(), 13);
    EXPECT_EQ(lines[2]["reply"]["message_type"].asInt(), 14);
    EXPECT_EQ(lines[3]["reply"]["message_type"].asInt(), 16);
    EXPECT_EQ(lines[4]["reply"]["message_type"].asInt(), 15);
    EXPECT_EQ(lines[4]["reply"]["content"]["strQ32"].asString(), "qone_32");
    EXPECT_EQ(lines[5]["reply"]["content"]["mine"].asInt(), 1);
    EXPECT_FALSE(lines[6].isMember("reply"));
}

TEST_F(Nexctl, IdentityThatIsNotThereEndsWithFive) {
    const CIdentityTurn turn;
    const ConsoleRun run = Run({"start", "qimei"});
    EXPECT_EQ(run.dwExitCode, 5u);
    EXPECT_EQ(JsonLines(run.strOut).at(1)["reply"]["content"]["strQ32"].asString(), "");
    EXPECT_NE(run.strErr.find("the helper has no device identity"), std::string::npos) << run.strErr;
}

TEST_F(Nexctl, SecondRunForwardsToTheHelperThatIsThere) {
    ASSERT_EQ(Run({"start"}).dwExitCode, 0u);
    CHelperProcess first = std::move(m_helper);
    m_helper = CHelperProcess();
    const ConsoleRun run = Run({"start", "--service", "second"});
    EXPECT_EQ(run.dwExitCode, 0u) << run.strOut << run.strErr;
    EXPECT_TRUE(first.IsRunning());
    EXPECT_TRUE(first.Log().Has("Not the first time"));
}

TEST_F(Nexctl, ProgramThatIsNotUsedIsTold) {
    const ConsoleRun first = Run({"start"});
    ASSERT_EQ(first.dwExitCode, 0u);
    EXPECT_EQ(first.strErr, "") << "here it was used";
    const std::string pid = std::to_string(m_helper.Id());
    EXPECT_EQ(
        Run({"start", "--service", "second"}).strErr,
        "nexctl: start: --exe is not used: the helper that runs, process " + pid + ", has taken the command line\n");
    const std::string told = Run({"listen", "--no-start", "--timeout", "100"}).strErr;
    EXPECT_EQ(told.rfind("nexctl: listen: --exe is not used: --no-start starts nothing\n", 0), 0u) << told;
}

TEST_F(Nexctl, OpenThatWouldEndTheHelperIsNotSent) {
    const ConsoleRun run = Run({"start", "open", R"({"type":5})", "--frames"});
    EXPECT_EQ(run.dwExitCode, 1u) << run.strOut << run.strErr;
    EXPECT_NE(run.strErr.find("open_json: the key \"type\" holds a number and must hold a text"), std::string::npos)
        << run.strErr;
    for (const Json::Value& line : JsonLines(run.strOut)) {
        EXPECT_NE(line["direction"].asString(), "sent") << run.strOut;
    }
    EXPECT_TRUE(m_helper.IsRunning());
}

TEST_F(Nexctl, QuestionThatWouldEndOrKeepTheHelperIsNotSent) {
    const struct {
        const char* verb;
        const char* question;
        const char* words;
    } kQuestions[] = {
        {"poll", R"({"mon_wndexists":"1"})", "the key \"mon_wndexists\" holds a text"},
        {"watch", R"({"mon_wndexists":"1"})", "the key \"mon_wndexists\" holds a text"},
        {"watch", R"({"successLog":[5]})", "\"successLog\""},
        {"watch", R"({"interval":-1})", "\"interval\""},
    };
    for (const auto& question : kQuestions) {
        const ConsoleRun run = Run({question.verb, question.question, "--frames"});
        EXPECT_EQ(run.dwExitCode, 1u) << run.strOut << run.strErr;
        EXPECT_NE(run.strErr.find(question.words), std::string::npos) << run.strErr;
        for (const Json::Value& line : JsonLines(run.strOut)) {
            EXPECT_NE(line["direction"].asString(), "sent") << run.strOut;
        }
    }
    // What only gets a word of failure is sent.
    EXPECT_EQ(Run({"poll", "{}"}).dwExitCode, 5u);
    EXPECT_EQ(Run({"poll", R"({"from":"x","type":"other"})", "--until", "1"}).dwExitCode, 5u);
}

TEST_F(Nexctl, ListenPrintsEachFrameWithDirectionTypeNameAndJson) {
    const ConsoleRun run = Run({"start", "listen", "--timeout", "100", "--frames"});
    EXPECT_EQ(run.dwExitCode, 0u) << run.strErr;
    const Json::Value frame = JsonLines(run.strOut).at(0);
    EXPECT_EQ(frame["direction"].asString(), "received");
    EXPECT_EQ(frame["type"].asInt(), 12);
    EXPECT_EQ(frame["name"].asString(), "S_MT_InitReply");
    EXPECT_EQ(frame["message"]["content"]["p1"].asString(), "1");
}

TEST_F(Nexctl, EncodeAndDecodeAreEachOthersWayBack) {
    const ConsoleRun encoded = RunPlain({"encode", "6", R"({"service_id":"中"})"});
    EXPECT_EQ(encoded.dwExitCode, 0u);
    const ConsoleRun decoded = RunPlain({"decode", "-"}, encoded.strOut);
    EXPECT_EQ(decoded.dwExitCode, 0u);
    const Json::Value line = JsonLines(decoded.strOut).at(0);
    EXPECT_EQ(line["name"].asString(), "WM_COPY_DATA_MSG_IPC_GET_OPEN");
    EXPECT_EQ(line["message"]["content"]["service_id"].asString(), "中");
    EXPECT_EQ(RunPlain({"decode", "00 02"}).dwExitCode, 5u);
    EXPECT_EQ(RunPlain({"decode", "zz"}).dwExitCode, 1u);
}

TEST_F(Nexctl, FileInUtf16WithItsMarkIsReadLikeOneInUtf8) {
    const std::filesystem::path folder = m_sandbox.SdkPath();
    const std::string plain = Utf16ToUtf8((folder / "plain.json").wstring());
    const std::string wide = Utf16ToUtf8((folder / "wide.json").wstring());
    std::ofstream(folder / "plain.json", std::ios::binary) << R"({"a":"中"})";
    // As ">" of PowerShell writes it, with its line end.
    std::string bytes = "\xFF\xFE";
    for (const wchar_t c : std::wstring(LR"({"a":"中"})") + L"\r\n") {
        bytes += static_cast<char>(c & 0xFF);
        bytes += static_cast<char>(c >> 8);
    }
    std::ofstream(folder / "wide.json", std::ios::binary) << bytes;
    const ConsoleRun expected = RunPlain({"encode", "2", "@" + plain});
    EXPECT_EQ(expected.dwExitCode, 0u) << expected.strErr;
    EXPECT_EQ(RunPlain({"encode", "2", "@" + wide}).strOut, expected.strOut);
    EXPECT_EQ(RunPlain({"encode", "2", "-"}, bytes).strOut, expected.strOut);
    EXPECT_EQ(RunPlain({"encode", "2", "-"}, "\xEF\xBB\xBF{\"a\":\"中\"}").strOut, expected.strOut);
}

TEST_F(Nexctl, QuotingThatHelpGivesForCmdWorksThere) {
    const std::string help = RunPlain({"help"}).strOut;
    const std::size_t at = help.find("\n  cmd ");
    ASSERT_NE(at, std::string::npos) << help;
    const std::size_t from = help.find_first_not_of(' ', at + 7);
    const std::string quoted = help.substr(from, help.find('\n', from) - from);
    wchar_t cmd[MAX_PATH] = {};
    GetSystemDirectoryW(cmd, MAX_PATH);
    const std::wstring exe = std::wstring(cmd) + L"\\cmd.exe";
    const ConsoleRun run = RunCommandLine(
        exe, L"cmd /s /c \"\"" + OwnFolder() + L"\\nexctl.exe\" encode 2 " + Utf8ToUtf16(quoted) + L"\"");
    EXPECT_EQ(run.dwExitCode, 0u) << quoted << "\n" << run.strErr;
    EXPECT_EQ(run.strOut, RunPlain({"encode", "2", R"({"a":1})"}).strOut);
}

TEST_F(Nexctl, OutputOfTheHelperDoesNotComeBetweenTheLines) {
    // This program stands in for a helper that writes on its standard output: it complains of its arguments there.
    wchar_t system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    const ConsoleRun run = RunPlain({"start", "--exe", Utf16ToUtf8(system) + "\\hostname.exe", "--timeout", "2000"});
    EXPECT_NE(run.dwExitCode, 0u);
    const std::vector<Json::Value> lines = JsonLines(run.strOut);
    ASSERT_EQ(lines.size(), 1u) << run.strOut;
    EXPECT_EQ(lines[0]["step"].asString(), "start");
}

TEST_F(Nexctl, DemoEndsWithTheHelperGoneByItself) {
    m_sandbox.LayOcean(L"good");
    const ConsoleRun run = Run({"demo"});
    EXPECT_EQ(run.dwExitCode, 0u) << run.strOut << run.strErr;
    EXPECT_NE(run.strOut.find("The demo worked"), std::string::npos) << run.strOut;
    for (const char* name : {"S_MT_InitReply", "WM_COPY_DATA_MSG_IPC_GET_OPEN", "S_MT_OpenMiniAppReply",
                             "S_MT_OpenMiniAppSuccessfully", "S_MT_StatusReply", "S_MT_ExitExeProcess"}) {
        EXPECT_NE(run.strOut.find(name), std::string::npos) << name << "\n" << run.strOut;
    }
}

TEST_F(Nexctl, DemoWithoutAnSdkSaysWhereItStopped) {
    const ConsoleRun run = Run({"demo"});
    EXPECT_EQ(run.dwExitCode, 5u);
    EXPECT_NE(run.strOut.find("The demo stopped here."), std::string::npos) << run.strOut;
    EXPECT_NE(run.strErr.find("InitWxApi error"), std::string::npos) << run.strErr;
}

// The helper's side of the golden exchanges; the library and the protocol's page are held to the same files.
class NexctlReplay : public Nexctl, public ::testing::WithParamInterface<const char*> {};

TEST_P(NexctlReplay, HelperAnswersAsTheGoldenExchangeSays) {
    m_sandbox.LayOcean(L"good");
    const ConsoleRun run = Run({"replay", std::string(NEXLET_EXCHANGES) + "/" + GetParam() + ".exchange"});
    EXPECT_EQ(run.dwExitCode, 0u) << run.strOut << run.strErr;
    const Json::Value line = JsonLines(run.strOut).at(0);
    EXPECT_EQ(line["differences"].size(), 0u);
    EXPECT_GT(line["frames"].asInt(), 2);
}

INSTANTIATE_TEST_SUITE_P(Files, NexctlReplay, ::testing::Values("open", "requests", "refusals", "words"),
                         [](const auto& file) { return std::string(file.param); });

TEST_F(Nexctl, RecordedExchangeIsPlayedAgain) {
    m_sandbox.LayOcean(L"late");
    const std::string file = Utf16ToUtf8(m_sandbox.SdkPath()) + "\\run.exchange";
    const ConsoleRun recorded = Run({"record", file, "encrypt", "text", "open", MiniAppOpen("t"), "poll",
                                     MiniAppPoll("t"), "--until", "1", "--every", "20", "exit"});
    ASSERT_EQ(recorded.dwExitCode, 0u) << recorded.strOut << recorded.strErr;
    const ConsoleRun same = Run({"replay", file, "--every", "20", "--service", "another"});
    EXPECT_EQ(same.dwExitCode, 0u) << same.strOut << same.strErr;
}

TEST_F(Nexctl, RecordKeepsAFileThatIsThereUnlessForced) {
    const std::filesystem::path path = std::filesystem::path(m_sandbox.SdkPath()) / "mine.exchange";
    const std::string file = Utf16ToUtf8(path.wstring());
    std::ofstream(path, std::ios::binary) << "mine";
    const auto content = [&] {
        std::ifstream stream(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(stream), {});
    };
    const ConsoleRun kept = RunPlain({"names", "record", file});
    EXPECT_EQ(kept.dwExitCode, 1u);
    EXPECT_EQ(kept.strOut, "") << "nothing is done before";
    EXPECT_EQ(kept.strErr, "nexctl: record: " + file + " exists; --force overwrites it\n");
    EXPECT_EQ(content(), "mine");
    EXPECT_EQ(RunPlain({"record", file, "--force", "names"}).dwExitCode, 0u);
    EXPECT_EQ(content().rfind(R"({"exchange":1)", 0), 0u) << content();
}

TEST_F(Nexctl, ReplayGivesItsComparisonAlsoWhenTheExitTakesLonger) {
    const std::filesystem::path path = std::filesystem::path(m_sandbox.SdkPath()) / "exit.exchange";
    std::ofstream(path, std::ios::binary)
        << R"({"exchange":1,"mark":"m","service":"s"})"
        << "\n"
        << R"({"from":"caller","message":{"content":{"service_id":"s"},"message_type":9}})"
        << "\n";
    // The helper ends the service 2 seconds after the request at the earliest.
    const ConsoleRun run = Run({"start", "replay", Utf16ToUtf8(path.wstring()), "--timeout", "200", "--service", "s"});
    EXPECT_EQ(run.dwExitCode, 0u) << run.strOut << run.strErr;
    const Json::Value line = JsonLines(run.strOut).at(1);
    EXPECT_EQ(line["frames"].asInt(), 1);
    EXPECT_FALSE(line["released"].asBool());
    EXPECT_EQ(run.strErr, "nexctl: replay: the helper has not yet let the service go\n");
}

TEST_F(Nexctl, ReplayTellsWhatIsAnother) {
    const ConsoleRun run = Run({"replay", std::string(NEXLET_EXCHANGES) + "/open.exchange", "--timeout", "20000"});
    EXPECT_EQ(run.dwExitCode, 5u) << run.strOut << run.strErr;
    const Json::Value differences = JsonLines(run.strOut).at(0)["differences"];
    ASSERT_EQ(differences.size(), 2u) << "there is no library that opens anything: open and poll";
    EXPECT_EQ(differences[0]["difference"].asString(), R"("result" is "InitWxApi error" instead of "1")");
}

TEST_F(Nexctl, LogIsShownFilteredFollowedAndMadeAPage) {
    ASSERT_EQ(Run({"start", "send", "2", "{}"}).dwExitCode, 0u);
    const std::string pid = std::to_string(m_helper.Id());
    const ConsoleRun shown = RunPlain({"log", "show", "--pid", pid, "--function", "pipeclientcallback::receive"});
    EXPECT_EQ(shown.dwExitCode, 0u) << shown.strErr;
    const std::vector<Json::Value> lines = JsonLines(shown.strOut);
    ASSERT_FALSE(lines.empty());
    bool arrived = false;
    for (const Json::Value& line : lines) {
        EXPECT_EQ(line["function"].asString(), "CPipeClientCallback::ReceiveIPCMessage");
        arrived = arrived || line["text"].asString() == "receive MessageType::S_MT_GetWxAppStatus";
    }
    EXPECT_TRUE(arrived);
    const ConsoleRun followed = RunPlain({"log", "follow", "--pid", pid, "--count", "3"});
    EXPECT_EQ(followed.dwExitCode, 0u);
    EXPECT_EQ(JsonLines(followed.strOut).size(), 3u);
    const std::string page = Utf16ToUtf8(m_sandbox.SdkPath()) + "\\page.html";
    const ConsoleRun paged = RunPlain({"log", "page", "--pid", pid, "--out", page});
    EXPECT_EQ(paged.dwExitCode, 0u) << paged.strErr;
    EXPECT_GT(JsonLines(paged.strOut).at(0)["lanes"].asInt(), 4);
    EXPECT_NE(GetFileAttributesW(Utf8ToUtf16(page).c_str()), INVALID_FILE_ATTRIBUTES);
    const ConsoleRun status = RunPlain({"log", "status"});
    const Json::Value told = JsonLines(status.strOut).at(0);
    EXPECT_TRUE(told["on"].asBool());
    bool listed = false;
    for (const Json::Value& file : told["files"]) {
        if (file["process_id"].asUInt() == m_helper.Id()) {
            listed = true;
            EXPECT_EQ(file["mark"].asString(), Utf16ToUtf8(m_strMark));
            EXPECT_EQ(file["services"].size(), 1u);
            EXPECT_TRUE(file["running"].asBool());
            EXPECT_EQ(file["end"].asString(), "runs");
        }
    }
    EXPECT_TRUE(listed) << status.strOut;
    // By its mark alone, and for people.
    const ConsoleRun text = RunPlain({"log", "show", "--text", "--mark", Utf16ToUtf8(m_strMark)});
    EXPECT_EQ(text.dwExitCode, 0u);
    EXPECT_NE(text.strErr.find("process " + pid + ", mark \"" + Utf16ToUtf8(m_strMark) + "\""), std::string::npos)
        << text.strErr;
    EXPECT_NE(text.strOut.find("\t[wWinMain("), std::string::npos) << text.strOut;
    EXPECT_EQ(RunPlain({"log", "show", "--mark", "no such mark"}).dwExitCode, 4u);
    EXPECT_EQ(RunPlain({"log", "show", "--mark", Utf16ToUtf8(m_strMark), "--since", "1h"}).dwExitCode, 0u);
    EXPECT_EQ(RunPlain({"log", "show", "--mark", Utf16ToUtf8(m_strMark), "--service", "other"}).dwExitCode, 4u);
    EXPECT_EQ(RunPlain({"log", "show", "--pid", "4000000000"}).dwExitCode, 4u);
    EXPECT_EQ(RunPlain({"log", "everything"}).dwExitCode, 1u);
}

TEST_F(Nexctl, FollowEndsWithTheProcess) {
    ASSERT_EQ(Run({"start"}).dwExitCode, 0u);
    ConsoleRun followed;
    std::thread follower([&] {
        followed = RunPlain({"log", "follow", "--pid", std::to_string(m_helper.Id()), "--timeout", "60000"});
    });
    m_helper.WaitForEnd(100);
    EXPECT_TRUE(m_helper.IsRunning());
    TerminateProcess(m_helper.Handle(), 0);
    follower.join();
    EXPECT_EQ(followed.dwExitCode, 0u) << followed.strErr;
    EXPECT_EQ(JsonLines(followed.strOut).at(0)["text"].asString(), "start");
}

TEST_F(Nexctl, SilenceIsExplainedFromTheLog) {
    const ConsoleRun run = Run({"start", "send", "99", "{}", "--expect", "13", "--timeout", "500"});
    EXPECT_EQ(run.dwExitCode, 3u);
    EXPECT_NE(run.strErr.find("its log says \"receive extension msg\""), std::string::npos) << run.strErr;
}

TEST_F(Nexctl, FileThatIsNoExchangeEndsWithOne) {
    const std::string file = Utf16ToUtf8(m_sandbox.Exe());
    const ConsoleRun run = RunPlain({"show", file});
    EXPECT_EQ(run.dwExitCode, 1u);
    EXPECT_NE(run.strErr.find("line 1"), std::string::npos) << run.strErr;
    EXPECT_EQ(RunPlain({"replay", "C:\\no such file"}).dwExitCode, 1u);
    EXPECT_EQ(RunPlain({"record", "C:\\no such folder\\x", "names"}).dwExitCode, 2u);
}

}  // namespace
