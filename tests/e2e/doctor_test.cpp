// The doctor beside real faults.
#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "foundation/handle.h"
#include "ipc/protocol/message_type.h"
#include "ipc/transport/pipe_names.h"
#include "tests/e2e/doctor_fixture.h"
#include "tests/support/stand_in_process.h"

#include <sddl.h>

namespace {

TEST_F(NexctlDoctor, FindsNothingWrongWithAHelperThatServes) {
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

TEST_F(NexctlDoctor, SaysWhatIsWrongAndWhatToDo) {
    ASSERT_EQ(Run({"start", "--service", "again"}).dwExitCode, 0u);
    // The caller that has gone is followed by another: the helper does not come to it.
    const auto caller = Serve("again");
    const ConsoleRun run = Run({"doctor", "--service", "again"});
    EXPECT_EQ(run.dwExitCode, 5u) << run.strOut << run.strErr;
    const Json::Value report = JsonLines(run.strOut).at(0);
    EXPECT_EQ(report["service_pipe"]["state"].asString(), "free");
    std::string found;
    for (const Json::Value& finding : report["findings"]) {
        found += finding["what"].asString() + "\n";
    }
    EXPECT_NE(found.find("is served, but the helper is not connected to it"), std::string::npos) << found;
    EXPECT_NE(found.find("ocean.dll is missing"), std::string::npos) << found;
    EXPECT_NE(run.strErr.find("nexctl: wrong: [caller-pipe.unconnected] the"), std::string::npos) << run.strErr;
}

TEST_F(NexctlDoctor, WithoutAHelperSaysThatNoneRuns) {
    m_sandbox.LayOcean(L"good");
    const ConsoleRun run = Run({"doctor"});
    EXPECT_EQ(run.dwExitCode, 0u) << run.strErr;
    EXPECT_FALSE(JsonLines(run.strOut).at(0)["mutex"]["exists"].asBool());
    EXPECT_NE(run.strErr.find("no helper of the mark"), std::string::npos) << run.strErr;
}

TEST_F(NexctlDoctor, LeavesAStartThatWaitsAlone) {
    std::atomic<bool> ended{false};
    ConsoleRun waiting;
    std::thread waiter([&] {
        waiting = RunPlain(
            {"start", "--no-start", "--mark", Utf16ToUtf8(m_strMark), "--service", m_strService, "--timeout", "60000"});
        ended = true;
    });
    const std::wstring pipe = ServicePipeName(m_strMark, m_strService);
    while (!ended && WaitNamedPipeW(pipe.c_str(), 100) == FALSE) {
        Sleep(10);
    }
    const ConsoleRun run = Run({"doctor", "--service", m_strService});
    EXPECT_EQ(JsonLines(run.strOut).at(0)["service_pipe"]["state"].asString(), "free") << run.strOut;
    // Nobody has come to it: a probe that connects would have ended the wait before the doctor's own end.
    EXPECT_FALSE(ended);
    StartBare(L"/from:" + m_strMark + L" /service_id:" + Utf8ToUtf16(m_strService));
    waiter.join();
    EXPECT_EQ(waiting.dwExitCode, 0u) << waiting.strErr;
}

TEST_F(NexctlDoctor, NamesAStrangerThatHoldsTheMutex) {
    const CKernelHandle mutex(CreateMutexW(nullptr, FALSE, HostMutexName(m_strMark).c_str()));
    ASSERT_TRUE(mutex.valid());
    const auto codes = CodesOf();
    EXPECT_TRUE(Has(codes, "mutex.stranger"));
    EXPECT_FALSE(Has(codes, "helper.none"));
}

// What an object of a process with other rights looks like from here: it lets nobody in.
struct NobodysObject {
    NobodysObject() {
        attributes.nLength = sizeof attributes;
        EXPECT_NE(ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P", SDDL_REVISION_1,
                                                                       &attributes.lpSecurityDescriptor, nullptr),
                  FALSE);
    }
    ~NobodysObject() { LocalFree(attributes.lpSecurityDescriptor); }
    NobodysObject(const NobodysObject&) = delete;
    NobodysObject& operator=(const NobodysObject&) = delete;

    SECURITY_ATTRIBUTES attributes = {};
};

TEST_F(NexctlDoctor, NamesAGateThatItMayNotOpenWithAndWithoutAHelper) {
    NobodysObject nobodys;
    EXPECT_FALSE(Has(CodesOf(), "access.denied"));
    const CKernelHandle gate(CreateEventW(&nobodys.attributes, TRUE, TRUE, HostEventName(m_strMark).c_str()));
    ASSERT_TRUE(gate.valid());
    EXPECT_TRUE(Has(CodesOf(), "access.denied"));
    ASSERT_EQ(Run({"start"}).dwExitCode, 0u);
    const auto codes = CodesOf();
    EXPECT_TRUE(Has(codes, "access.denied"));
    EXPECT_FALSE(Has(codes, "host-gate.missing")) << "it is there";
}

TEST_F(NexctlDoctor, NamesACallersGateThatItMayNotOpen) {
    NobodysObject nobodys;
    const CKernelHandle gate(
        CreateEventW(&nobodys.attributes, TRUE, TRUE, ServiceEventName(m_strMark, m_strService).c_str()));
    ASSERT_TRUE(gate.valid());
    EXPECT_FALSE(Has(CodesOf(), "access.denied")) << "no service is asked for";
    EXPECT_TRUE(Has(CodesOf({"--service", m_strService}), "access.denied"));
}

TEST_F(NexctlDoctor, TakesAMutexThatItMayNotOpenForOneThatIsThere) {
    NobodysObject nobodys;
    const CKernelHandle mutex(CreateMutexW(&nobodys.attributes, FALSE, HostMutexName(m_strMark).c_str()));
    ASSERT_TRUE(mutex.valid());
    const auto codes = CodesOf();
    EXPECT_TRUE(Has(codes, "access.denied"));
    EXPECT_FALSE(Has(codes, "helper.none"));
    // A start does not take itself for a second one, so a stranger is not what is wrong.
    EXPECT_FALSE(Has(codes, "mutex.stranger"));
}

TEST_F(NexctlDoctor, NamesASquatterOnTheHostsPipeWithAndWithoutAHelper) {
    const CFileHandle squatter(CreateNamedPipeW(HostPipeName(m_strMark).c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE,
                                                /*nMaxInstances=*/1, 0, 0, 0, nullptr));
    ASSERT_TRUE(squatter.valid());
    EXPECT_TRUE(Has(CodesOf(), "host-pipe.squatted"));
    ASSERT_EQ(Run({"start"}).dwExitCode, 0u);
    const auto codes = CodesOf();
    EXPECT_TRUE(Has(codes, "host-pipe.squatted-running"));
    EXPECT_FALSE(Has(codes, "host-pipe.missing"));
}

TEST_F(NexctlDoctor, NamesAClientThatStaysOnTheHostsPipe) {
    ASSERT_EQ(Run({"start"}).dwExitCode, 0u);
    EXPECT_FALSE(Has(CodesOf(), "host-pipe.busy"));
    SendToHost(MessageType::S_MT_GetWxAppStatus, ServiceContent("other"));
    EXPECT_TRUE(Has(CodesOf(), "host-pipe.busy"));
    LeaveHost();
}

TEST_F(NexctlDoctor, NamesAPipeNameThatAnotherMarkShares) {
    m_sandbox.LayOcean(L"good");
    ASSERT_EQ(
        RunPlain({"start", "--exe", Utf16ToUtf8(m_sandbox.Exe()), "--mark", Utf16ToUtf8(m_strMark) + "_b"}).dwExitCode,
        0u);
    EXPECT_TRUE(Has(CodesOf({"--service", "b"}), "names.shared"));
    EXPECT_FALSE(Has(CodesOf({"--service", "c"}), "names.shared"));
}

TEST_F(NexctlDoctor, NamesAnSdkThatCannotBeLoadedAndWhy) {
    m_sandbox.LayOcean(L"missing_export");
    EXPECT_TRUE(Has(CodesOf(), "sdk.export"));
    m_sandbox.LayOcean(L"broken");
    EXPECT_TRUE(Has(CodesOf(), "sdk.broken"));
    m_sandbox.LayOcean(L"good");
    EXPECT_FALSE(Has(CodesOf(), "sdk.export"));
    // The processor in the header of a program's file, after its signature.
    const std::filesystem::path library = std::filesystem::path(m_sandbox.SdkPath()) / L"wxsdk" / L"ocean.dll";
    std::fstream file(library, std::ios::binary | std::ios::in | std::ios::out);
    std::uint32_t header = 0;
    file.seekg(0x3C);
    file.read(reinterpret_cast<char*>(&header), sizeof header);
    file.seekp(header + 4);
    file.write("\x4C\x01", 2);
    file.close();
    EXPECT_TRUE(Has(CodesOf(), "sdk.bitness"));
}

TEST_F(NexctlDoctor, LooksBesideTheHelperThatRunsAndNotBesideItself) {
    m_sandbox.LayOcean(L"good");
    ASSERT_EQ(Run({"start"}).dwExitCode, 0u);
    const ConsoleRun run = RunPlain({"doctor", "--mark", Utf16ToUtf8(m_strMark)});
    const Json::Value report = JsonLines(run.strOut).at(0);
    EXPECT_EQ(report["program"]["path"].asString(), Utf16ToUtf8(m_sandbox.Exe()));
    EXPECT_TRUE(report["wx_sdk"][0]["exists"].asBool()) << run.strOut;
}

TEST_F(NexctlDoctor, TellsTheExceptionThatEndedTheHelper) {
    ASSERT_EQ(Run({"start", "--type", "abc"}).dwExitCode, 4u);
    EXPECT_TRUE(Has(CodesOf(), "log.exception"));
}

TEST_F(NexctlDoctor, TellsAHelperThatWasKilled) {
    ASSERT_EQ(Run({"start"}).dwExitCode, 0u);
    EXPECT_FALSE(Has(CodesOf(), "log.torn"));
    m_helper.Kill();
    EXPECT_TRUE(Has(CodesOf(), "log.torn"));
}

TEST_F(NexctlDoctor, TellsTheLastRefusal) {
    ASSERT_EQ(Run({"start", "send", "99", "{}"}).dwExitCode, 0u);
    EXPECT_TRUE(Has(CodesOf(), "request.refused"));
}

TEST_F(NexctlDoctor, TellsAnOpenThatHangsInTheSdk) {
    const CTestEvent gate;
    m_sandbox.LayOcean(L"good");
    m_sandbox.SetOcean(L"hold", gate.Name());
    ASSERT_EQ(Run({"start", "open", MiniAppOpen("t"), "--timeout", "500"}).dwExitCode, 3u);
    while (!Has(CodesOf(), "request.open")) {
        ASSERT_TRUE(m_helper.IsRunning()) << Log().Tail();
    }
}

}  // namespace
