// nexctl helpers and nexctl stop beside real helpers.
#include "tests/e2e/nexctl_fixture.h"
#include "tests/support/unique_name.h"

namespace {

class NexctlHelpers : public Nexctl {
  protected:
    std::string Mark() const { return Utf16ToUtf8(m_strMark); }

    Json::Value Listed() {
        const ConsoleRun run = Run({"helpers"});
        EXPECT_EQ(run.dwExitCode, 0u) << run.strErr;
        return JsonLines(run.strOut).at(0)["helpers"];
    }
    // A helper with the service "svc" and, on top, one of this name.
    void StartWithTwoServices(const std::string& second) {
        m_caller = Serve(m_strService);
        StartHelper();
        m_second = Serve(second);
        HelperStart start = MakeStart();
        ASSERT_EQ(m_second->StartHelper(start), CallerResult::Ok);
        ReceivedFrame notice;
        ASSERT_EQ(m_second->WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, notice), CallerResult::Ok);
        // The process that has handed the command line over is one of the mark until it ends.
        ASSERT_EQ(WaitForSingleObject(m_second->ProcessHandle(), kLongMs), WAIT_OBJECT_0);
    }

    std::unique_ptr<CLibraryCaller> m_second;
};

TEST_F(NexctlHelpers, ListTellsMarkVersionServicesAgeAndLog) {
    StartWithTwoServices("two");
    const Json::Value helpers = Listed();
    ASSERT_EQ(helpers.size(), 1u) << helpers;
    const Json::Value& helper = helpers[0];
    EXPECT_EQ(helper["process_id"].asUInt(), m_helper.Id());
    EXPECT_EQ(helper["mark"].asString(), Mark());
    EXPECT_EQ(helper["program"].asString(), Utf16ToUtf8(m_sandbox.Exe()));
    EXPECT_EQ(helper["version"].asString().rfind("1.", 0), 0u) << helper;
    EXPECT_TRUE(helper["serves"].asBool());
    EXPECT_TRUE(helper["age_seconds"].isUInt()) << helper;
    EXPECT_EQ(helper["log"].asString(), "C:\\temp\\zolt\\Nexlet" + std::to_string(m_helper.Id()) + ".log");
    ASSERT_EQ(helper["services"].size(), 2u) << helper;
    for (const Json::Value& service : helper["services"]) {
        EXPECT_TRUE(service["connected"].asBool()) << service;
    }
    // It has been looked at and not disturbed.
    ExpectServed();
}

TEST_F(NexctlHelpers, ListTellsAServiceWhoseCallerHasGone) {
    StartWithTwoServices("two");
    m_second.reset();
    ASSERT_TRUE(Log().WaitFor("Disconnected from server!", kLongMs));
    const Json::Value services = Listed()[0]["services"];
    ASSERT_EQ(services.size(), 2u) << services;
    EXPECT_EQ(services[0]["id"].asString(), m_strService);
    EXPECT_TRUE(services[0]["connected"].asBool());
    EXPECT_EQ(services[1]["id"].asString(), "two");
    EXPECT_FALSE(services[1]["connected"].asBool());
}

TEST_F(NexctlHelpers, ListForPeopleHasALineForTheHelper) {
    m_caller = Serve(m_strService);
    StartHelper();
    const ConsoleRun run = Run({"helpers", "--text"});
    EXPECT_EQ(run.dwExitCode, 0u);
    EXPECT_EQ(run.strOut.rfind("PROCESS ", 0), 0u) << run.strOut;
    EXPECT_NE(run.strOut.find("\n" + std::to_string(m_helper.Id()) + " "), std::string::npos) << run.strOut;
    EXPECT_EQ(RunPlain({"helpers", "--text", "--mark", Mark() + "none"}).strOut, "no helper runs\n");
}

TEST_F(NexctlHelpers, StopLetsEveryServiceGoAndWaitsUntilTheFileCanBeReplaced) {
    StartWithTwoServices("zwei 中");
    const ConsoleRun run = Run({"stop", "--wait", "--timeout", "60000"});
    EXPECT_EQ(run.dwExitCode, 0u) << run.strOut << run.strErr;
    const Json::Value line = JsonLines(run.strOut).at(0);
    EXPECT_EQ(line["services"].size(), 2u) << line;
    EXPECT_TRUE(line["process_ended"].asBool());
    EXPECT_TRUE(line["file_free"].asBool());
    EXPECT_EQ(m_helper.WaitForEnd(0), 0u);
    EXPECT_NE(DeleteFileW(m_sandbox.Exe().c_str()), FALSE) << GetLastError();
}

TEST_F(NexctlHelpers, StopThatRunsOutOfTimeSaysWhoIsLeft) {
    m_caller = Serve(m_strService);
    StartHelper();
    // A delayed check with a negative interval keeps its service for ever.
    Json::Value content(Json::objectValue);
    content["p1"] = R"({"interval":-1})";
    ASSERT_EQ(m_caller->Send(Number(MessageType::S_MT_DelayCheckWndStatus), content, kLongMs), CallerResult::Ok);
    ASSERT_TRUE(Log().WaitFor("Invalid interval, exiting thread", kLongMs));
    const ConsoleRun run = Run({"stop", "--wait", "--timeout", "5000"});
    EXPECT_EQ(run.dwExitCode, 3u) << run.strOut;
    EXPECT_NE(run.strErr.find("still there: process " + std::to_string(m_helper.Id()) + " of the mark \"" + Mark() +
                              "\", which has " + m_strService),
              std::string::npos)
        << run.strErr;
}

TEST_F(NexctlHelpers, StopNamesTheHelperOfAnotherMarkThatRunsFromTheFile) {
    m_caller = Serve(m_strService);
    StartHelper();
    const ConsoleRun run = RunPlain(
        {"stop", "--wait", "--timeout", "200", "--mark", Mark() + "other", "--exe", Utf16ToUtf8(m_sandbox.Exe())});
    EXPECT_EQ(run.dwExitCode, 3u) << run.strOut;
    const Json::Value line = JsonLines(run.strOut).at(0);
    EXPECT_TRUE(line["process_ended"].asBool()) << "there is none of that mark";
    EXPECT_FALSE(line["file_free"].asBool());
    ASSERT_EQ(line["held_by"].size(), 1u) << line;
    EXPECT_EQ(line["held_by"][0].asUInt(), m_helper.Id());
    ExpectServed();
}

TEST_F(NexctlHelpers, StopWithoutAHelperIsDone) {
    const ConsoleRun run = Run({"stop", "--wait"});
    EXPECT_EQ(run.dwExitCode, 0u) << run.strErr;
    EXPECT_EQ(JsonLines(run.strOut).at(0)["process_ids"].size(), 0u);
}

TEST_F(NexctlHelpers, StopOfAHelperThatCannotBeAskedSaysSo) {
    m_caller = Serve(m_strService);
    StartHelper();
    SendToHost(MessageType::S_MT_GetWxAppStatus, ServiceContent("other"));
    const ConsoleRun run = Run({"stop", "--timeout", "300"});
    EXPECT_EQ(run.dwExitCode, 3u) << run.strOut;
    EXPECT_NE(run.strErr.find("cannot be asked on the host's pipe"), std::string::npos) << run.strErr;
    LeaveHost();
}

}  // namespace
