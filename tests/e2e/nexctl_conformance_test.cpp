// nexctl conformance against the real program, and against one that breaks rules.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>

#include "tests/e2e/nexctl_fixture.h"

namespace {

class NexctlConformance : public Nexctl {
  protected:
    // Tells and removes the logs of the helpers that were played against.
    void TearDown() override {
        const Json::Value status = JsonLines(RunPlain({"log", "status"}).strOut).at(0);
        for (const Json::Value& file : status["files"]) {
            if (file["mark"].asString().starts_with("conformance")) {
                if (HasFailure()) {
                    std::cerr << file["path"].asString() << ": " << CHelperLog(file["process_id"].asUInt()).Tail(60);
                }
                DeleteFileW(Utf8ToUtf16(file["path"].asString()).c_str());
            }
        }
        Nexctl::TearDown();
    }
    // The outcome of every rule, and what came.
    std::map<std::string, Json::Value> Play(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"conformance", "--json"});
        for (const std::string& one : {std::string("--exe"), Utf16ToUtf8(m_sandbox.Exe())}) {
            arguments.push_back(one);
        }
        m_run = RunConsoleProgram(OwnFolder() + L"\\nexctl.exe", arguments, {}, /*timeoutMs=*/170000);
        std::map<std::string, Json::Value> rules;
        for (const Json::Value& line : JsonLines(m_run.strOut)) {
            if (line.isMember("rule")) {
                rules[line["rule"].asString()] = line;
            } else {
                m_summary = line;
            }
        }
        return rules;
    }

    ConsoleRun m_run;
    Json::Value m_summary;
};

TEST_F(NexctlConformance, RealProgramKeepsEveryRuleWithAnSdkThatAnswers) {
    m_sandbox.LayOcean(L"good");
    const std::string page = Utf16ToUtf8(m_sandbox.SdkPath()) + "\\rules.html";
    const auto rules = Play({"--world", Utf16ToUtf8(m_sandbox.SdkPath()), "--out", page, "--timeout", "30000"});
    EXPECT_EQ(m_run.dwExitCode, 0u) << m_run.strOut << m_run.strErr;
    std::vector<std::string> leftOut;
    for (const auto& [id, line] : rules) {
        if (line["outcome"] == "left out") {
            leftOut.push_back(id);
        } else {
            EXPECT_EQ(line["outcome"].asString(), "kept") << line;
        }
    }
    EXPECT_EQ(leftOut, (std::vector<std::string>{"exchange.bare", "exchange.fails", "exchange.missing",
                                                 "exchange.products", "exchange.refuses", "exchange.screen-saver"}))
        << "each of them has a world of its own";
    EXPECT_EQ(m_summary["kept"].asUInt() + leftOut.size(), rules.size());
    std::ifstream file{std::filesystem::path(Utf8ToUtf16(page))};
    const std::string html{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(html.find("<h1>0 of " + std::to_string(rules.size()) + " rules broken</h1>"), std::string::npos);
}

TEST_F(NexctlConformance, ProgramThatBreaksARuleIsCaught) {
    ASSERT_TRUE(CopyFileW((OwnFolder() + L"\\nexlet-standin.exe").c_str(), m_sandbox.Exe().c_str(), FALSE));
    // The second reply is of the right type and loses what the caller has put in.
    std::ofstream(std::filesystem::path(m_sandbox.Exe()).parent_path() / "nexlet.scenario")
        << "on 2\n  reply {\"result\":\"\"}\non 3\n  send 14 {\"result\":\"\"}\n"
           "on 4\n  reply {\"strQ32\":\"\",\"strQ36\":\"\"}\non 5\n  reply {\"result\":\"\"}\n";
    auto rules = Play({"--only", "answer.", "--timeout", "30000"});
    EXPECT_EQ(m_run.dwExitCode, 5u) << m_run.strErr;
    ASSERT_EQ(rules.size(), 4u) << m_run.strOut;
    EXPECT_EQ(rules["answer.status"]["outcome"].asString(), "kept") << rules["answer.status"];
    EXPECT_EQ(rules["answer.encrypt"]["outcome"].asString(), "kept") << rules["answer.encrypt"];
    EXPECT_EQ(rules["answer.status-encrypted"]["outcome"].asString(), "broken");
    EXPECT_EQ(rules["answer.status-encrypted"]["detail"].asString(), "\"tag\" is missing");
    EXPECT_EQ(m_summary["broken"].asUInt(), 1u);
    // It serves no host's pipe, and says nothing to a question.
    EXPECT_EQ(Play({"--only", "host.acknowledges", "--timeout", "300"})["host.acknowledges"]["outcome"], "broken");
    EXPECT_EQ(Play({"--only", "poll.not-from", "--timeout", "300"})["poll.not-from"]["outcome"], "broken");
    // Its ready notice comes, and then nothing.
    const Json::Value start = Play({"--only", "start.no-channel", "--timeout", "300"})["start.no-channel"];
    EXPECT_EQ(start["outcome"].asString(), "broken") << start;
    EXPECT_EQ(Play({"--only", "exchange.open"})["exchange.open"]["outcome"], "left out");
    EXPECT_EQ(Run({"conformance", "--only", "no such rule"}).dwExitCode, 1u);
}

TEST_F(NexctlConformance, ProgramThatIsNotThereEndsWithTwo) {
    const ConsoleRun run = RunPlain({"conformance", "--exe", "C:\\no such folder\\nexlet.exe"});
    EXPECT_EQ(run.dwExitCode, 2u);
    EXPECT_NE(run.strErr.find("C:\\no such folder\\nexlet.exe is not there"), std::string::npos) << run.strErr;
}

}  // namespace
