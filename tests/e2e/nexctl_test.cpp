// nexctl from the outside: its words, its JSON, its exit codes.
#include <filesystem>
#include <thread>
#include <vector>

#include "foundation/handle.h"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "tests/e2e/end_to_end.h"
#include "tests/support/console_program.h"
#include "tests/support/stand_in_yyb.h"
#include "tests/support/unique_name.h"

namespace {

std::vector<Json::Value> JsonLines(const std::string& text) {
    std::vector<Json::Value> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        lines.push_back(JsonOf(text.substr(at, end - at)));
        at = end == std::string::npos ? text.size() : end + 1;
    }
    return lines;
}

class Nexctl : public CEndToEnd {
  protected:
    // The caller is nexctl here, so the fixture serves no pipe.
    void SetUp() override { ASSERT_TRUE(m_sandbox.Ready()) << GetLastError(); }

    ConsoleRun Run(std::vector<std::string> arguments, const std::string& input = {}) {
        for (const std::string& one :
             {std::string("--exe"), Utf16ToUtf8(m_sandbox.Exe()), std::string("--mark"), Utf16ToUtf8(m_strMark)}) {
            arguments.push_back(one);
        }
        return RunPlain(arguments, input);
    }

    ConsoleRun RunPlain(const std::vector<std::string>& arguments, const std::string& input = {}) {
        ConsoleRun run = RunConsoleProgram(OwnFolder() + L"\\nexctl.exe", arguments, input);
        EXPECT_TRUE(run.bStarted && run.bEnded);
        SCOPED_TRACE(run.strOut + run.strErr);
        for (const Json::Value& line : JsonLinesIfAny(run.strOut)) {
            if (line.isObject() && line["step"] == "start" && line["process_id"].isUInt()) {
                m_helper.Attach(line["process_id"].asUInt());
            }
        }
        return run;
    }

  private:
    static std::vector<Json::Value> JsonLinesIfAny(const std::string& text) {
        return text.starts_with('{') ? JsonLines(text) : std::vector<Json::Value>();
    }
};

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
    const ConsoleRun run = Run({"start"});
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

INSTANTIATE_TEST_SUITE_P(Files, NexctlReplay, ::testing::Values("open", "requests", "refusals"),
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
    EXPECT_TRUE(JsonLines(status.strOut).at(0)["on"].asBool());
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

TEST_F(Nexctl, DoctorFindsNothingWrongWithAHelperThatServes) {
    m_sandbox.LayOcean(L"good");
    const ConsoleRun run = Run({"start", "doctor"});
    EXPECT_EQ(run.dwExitCode, 0u) << run.strOut << run.strErr;
    const Json::Value report = JsonLines(run.strOut).at(1);
    EXPECT_TRUE(report["mutex"]["exists"].asBool());
    EXPECT_EQ(report["host_pipe"]["state"].asString(), "free");
    EXPECT_EQ(report["host_pipe"]["process_id"].asUInt(), m_helper.Id()) << "who holds it";
    EXPECT_EQ(report["service_pipe"]["state"].asString(), "busy");
    EXPECT_TRUE(report["service_gate"]["signalled"].asBool());
    EXPECT_TRUE(report["ready_event"]["exists"].asBool());
    bool listed = false;
    for (const Json::Value& helper : report["helpers"]) {
        listed = listed || (helper["process_id"].asUInt() == m_helper.Id() &&
                            helper["mark"].asString() == Utf16ToUtf8(m_strMark));
    }
    EXPECT_TRUE(listed);
    EXPECT_TRUE(report["installed"]["mini_program"].asBool());
    EXPECT_TRUE(report["wx_sdk"][0]["exists"].asBool());
    EXPECT_TRUE(report["log"]["on"].asBool());
    EXPECT_NE(run.strErr.find("nothing is wrong"), std::string::npos) << run.strErr;
    // It has been looked at and not disturbed.
    EXPECT_TRUE(m_helper.IsRunning());
}

TEST_F(Nexctl, DoctorSaysWhatIsWrongAndWhatToDo) {
    ASSERT_EQ(Run({"start"}).dwExitCode, 0u);
    // The caller that has gone is followed by another: the helper does not come to it.
    const auto caller = Serve("nexctl");
    const ConsoleRun run = Run({"doctor"});
    EXPECT_EQ(run.dwExitCode, 5u) << run.strOut << run.strErr;
    const Json::Value report = JsonLines(run.strOut).at(0);
    EXPECT_EQ(report["service_pipe"]["state"].asString(), "free");
    EXPECT_EQ(report["service_pipe"]["process_id"].asUInt(), GetCurrentProcessId());
    std::string found;
    for (const Json::Value& finding : report["findings"]) {
        found += finding["what"].asString() + "\n";
    }
    EXPECT_NE(found.find("is served, but the helper is not connected to it"), std::string::npos) << found;
    EXPECT_NE(found.find("ocean.dll is missing"), std::string::npos) << found;
    EXPECT_NE(run.strErr.find("nexctl: wrong: the caller's pipe of the service"), std::string::npos) << run.strErr;
}

TEST_F(Nexctl, DoctorWithoutAHelperSaysThatNoneRuns) {
    m_sandbox.LayOcean(L"good");
    const ConsoleRun run = Run({"doctor"});
    EXPECT_EQ(run.dwExitCode, 0u) << run.strErr;
    EXPECT_FALSE(JsonLines(run.strOut).at(0)["mutex"]["exists"].asBool());
    EXPECT_NE(run.strErr.find("no helper of the mark"), std::string::npos) << run.strErr;
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
