#include "nexctl/doctor/judge.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <sstream>

#include <gtest/gtest.h>

#include "nexctl/doctor/tell.h"

namespace {

// A helper that serves a caller, with all that it needs.
DoctorFacts Healthy() {
    DoctorFacts facts;
    facts.mark = "m";
    facts.service = "s";
    facts.program = "C:\\a\\b\\nexlet.exe";
    facts.programExists = facts.mutexExists = true;
    facts.hostPipe.state = PipeState::Free;
    facts.servicePipe.state = PipeState::Busy;
    facts.hostGate.exists = facts.hostGate.signalled = true;
    facts.serviceGate.exists = facts.serviceGate.signalled = true;
    facts.helpers = {{7, "C:\\a\\b\\nexlet.exe", "m", "s", "host", "caller", {}}};
    facts.hostPipe.name = "host";
    facts.servicePipe.name = "caller";
    facts.hostPipe.holder = PipeHolder::Helper;
    facts.miniProgramInstalled = true;
    FileFact file;
    file.path = "C:\\a\\file.dll";
    file.version = "1.2.3.4";
    file.exists = file.trusted = file.isNew = file.isLibrary = file.is64Bit = file.mustBeLibrary = true;
    facts.wxSdk = {file};
    file.mustBeSigned = file.mustBeNew = true;
    file.signer = "Somebody";
    facts.yybSdk = {file};
    facts.debugLog = {true, true, 1};
    facts.logFolderCanBeMade = true;
    facts.infoHost = "info.example";
    facts.now = 1000000;
    facts.lastInfoTime = facts.now - 86400;
    return facts;
}

struct Ill {
    const char* code;
    std::function<void(DoctorFacts&)> change;
    bool wrong;
    const char* what;  // part of the one finding
};

void PrintTo(const Ill& ill, std::ostream* out) {
    *out << ill.code;
}

LogFact LogThatEnds(LogEnd end) {
    LogFact log;
    log.path = "Nexlet7.log";
    log.summary.end = end;
    log.summary.strLastText = "the last";
    log.summary.strException = "stoi";
    return log;
}

const Ill kIlls[] = {
    {"program.missing", [](DoctorFacts& f) { f.programExists = false; }, true, "nexlet.exe is not there"},
    {"helper.none",
     [](DoctorFacts& f) {
         f.mutexExists = false;
         f.hostPipe.state = PipeState::Missing;
     },
     false, "no helper of the mark \"m\" runs"},
    {"mutex.stranger",
     [](DoctorFacts& f) {
         f.helpers.clear();
         f.hostPipe.state = PipeState::Missing;
     },
     true, "every start takes itself for a second one"},
    {"host-pipe.missing", [](DoctorFacts& f) { f.hostPipe.state = PipeState::Missing; }, true,
     "does not listen on its own pipe"},
    {"host-pipe.squatted-running", [](DoctorFacts& f) { f.hostPipe.holder = PipeHolder::Stranger; }, true,
     "another program serves the host's pipe host"},
    {"host-pipe.busy", [](DoctorFacts& f) { f.hostPipe.state = PipeState::Busy; }, true, "stays connected"},
    {"host-gate.missing", [](DoctorFacts& f) { f.hostGate.exists = false; }, true, "without its gate event"},
    {"access.denied",
     [](DoctorFacts& f) {
         f.hostGate.signalled = false;
         f.hostGate.denied = true;
     },
     true, "this process may not open"},
    {"access.denied",
     [](DoctorFacts& f) {
         f.serviceGate.signalled = false;
         f.serviceGate.denied = true;
     },
     true, "this process may not open"},
    {"helper.other-session", [](DoctorFacts& f) { f.helpers[0].otherSession = true; }, false, "in another session"},
    {"helper.many",
     [](DoctorFacts& f) {
         f.helpers.push_back({8, "", "m", "", "host", "", {}});
     },
     false, "2 processes have this mark"},
    {"dialog.open", [](DoctorFacts& f) { f.helpers[0].dialogs = {"Proxy"}; }, true,
     "process 7 shows 1 dialog(s), \"Proxy\""},
    {"caller-pipe.missing", [](DoctorFacts& f) { f.servicePipe.state = PipeState::Missing; }, false,
     "nobody serves the caller's pipe"},
    {"caller-pipe.unconnected", [](DoctorFacts& f) { f.servicePipe.state = PipeState::Free; }, true,
     "not connected to it"},
    {"caller-gate.missing", [](DoctorFacts& f) { f.serviceGate.exists = false; }, true, "without its gate event"},
    {"caller-gate.closed", [](DoctorFacts& f) { f.serviceGate.signalled = false; }, true, "waits a second"},
    {"names.shared",
     [](DoctorFacts& f) {
         f.helpers.push_back({8, "", "m_s", "", "CALLER", "", {}});
     },
     true, "the name of the host's pipe of the mark \"m_s\", process 8"},
    {"names.shared",
     [](DoctorFacts& f) {
         f.helpers.push_back({8, "", "x", "y", "other", "host", {}});
     },
     true, "the mark \"x\" with the service \"y\", process 8"},
    {"mini-program.none", [](DoctorFacts& f) { f.miniProgramInstalled = false; }, false, "\"uninstalled\""},
    {"sdk.missing", [](DoctorFacts& f) { f.wxSdk[0].exists = false; }, true, "is missing: opens of the type miniApp"},
    {"sdk.broken", [](DoctorFacts& f) { f.wxSdk[0].isLibrary = false; }, true,
     "file.dll (version 1.2.3.4) is not a library"},
    {"sdk.bitness", [](DoctorFacts& f) { f.wxSdk[0].is64Bit = false; }, true, "not for 64-bit programs"},
    {"sdk.export",
     [](DoctorFacts& f) {
         f.wxSdk[0].missingExports = {"a", "b"};
     },
     true, "does not export a, b"},
    {"sdk.unsigned", [](DoctorFacts& f) { f.yybSdk[0].trusted = false; }, true, "\"Somebody\" as its signer"},
    {"sdk.unsigned",
     [](DoctorFacts& f) {
         f.yybSdk[0].trusted = false;
         f.yybSdk[0].signer.clear();
     },
     true, "has no signer"},
    {"sdk.old", [](DoctorFacts& f) { f.yybSdk[0].isNew = false; }, true, "older than the helper needs"},
    {"yyb-sdk.none", [](DoctorFacts& f) { f.yybSdk.clear(); }, false, "opens of the type yyb"},
    {"log.off", [](DoctorFacts& f) { f.debugLog.value = 2; }, false, "the log is off"},
    {"log.value-type",
     [](DoctorFacts& f) {
         f.debugModle = {true, false, 49};
     },
     true, "debug_modle is not a REG_DWORD"},
    {"log.no-parent", [](DoctorFacts& f) { f.logFolderCanBeMade = false; }, true, "no file is written"},
    {"log.folder-is-file", [](DoctorFacts& f) { f.logFolderIsFile = true; }, true, "is a file: no log is written"},
    {"log.disk-full", [](DoctorFacts& f) { f.logDiskFree = 4096; }, true, "only 4096 bytes left"},
    {"log.exception", [](DoctorFacts& f) { f.log = LogThatEnds(LogEnd::Exception); }, true, "uncaught exception: stoi"},
    {"log.hang-watch", [](DoctorFacts& f) { f.log = LogThatEnds(LogEnd::HangWatch); }, true, "hang watch"},
    {"log.cpu-watch", [](DoctorFacts& f) { f.log = LogThatEnds(LogEnd::CpuWatch); }, true, "processor"},
    {"start.lost",
     [](DoctorFacts& f) {
         f.log = LogThatEnds(LogEnd::NotTold);
         f.log->running = true;
         f.lostStart = {"Nexlet8.log", 600};
     },
     true, "Nexlet8.log is of a second start whose command line nobody took, 600 s ago"},
    {"log.torn", [](DoctorFacts& f) { f.log = LogThatEnds(LogEnd::NotTold); }, true, "with \"the last\""},
    {"request.open",
     [](DoctorFacts& f) {
         f.log = LogThatEnds(LogEnd::NotTold);
         f.log->running = true;
         f.log->silentMs = 8000;
         f.log->summary.nLastMs = 62000;
         f.log->summary.openRequests = {{6, 60000, ""}};
     },
     true, "WM_COPY_DATA_MSG_IPC_GET_OPEN that came at 0:1:0:0 has no reply since 10 s"},
    {"request.refused",
     [](DoctorFacts& f) {
         f.log = LogThatEnds(LogEnd::Orderly);
         f.log->summary.lastRefusal = LogLine{1, "F", 2, "parse error", 0};
     },
     false, "\"parse error\" in F at 0:0:0:1"},
    {"config.never", [](DoctorFacts& f) { f.lastInfoTime.reset(); }, false, "never fetched from info.example"},
    {"config.old", [](DoctorFacts& f) { f.lastInfoTime = f.now - 10 * 86400; }, false, "10 days old"},
    {"config.future", [](DoctorFacts& f) { f.lastInfoTime = f.now + 86400; }, true, "fetched in the future"},
    {"config.no-shortcuts", [](DoctorFacts& f) { f.shortcutCreate = 0; }, false, "forbids desktop shortcuts"},
};

class DoctorOf : public ::testing::TestWithParam<Ill> {};

TEST_P(DoctorOf, FindsTheOneThing) {
    DoctorFacts facts = Healthy();
    GetParam().change(facts);
    const std::vector<Finding> findings = Diagnose(facts);
    ASSERT_EQ(findings.size(), 1u) << FindingsText(findings);
    EXPECT_STREQ(findings[0].code, GetParam().code);
    EXPECT_EQ(findings[0].isWrong, GetParam().wrong);
    EXPECT_NE(findings[0].what.find(GetParam().what), std::string::npos) << findings[0].what;
    EXPECT_FALSE(findings[0].advice.empty());
}

INSTANTIATE_TEST_SUITE_P(Ills, DoctorOf, ::testing::ValuesIn(kIlls), [](const auto& one) {
    std::string name = std::to_string(one.index) + "_" + one.param.code;
    std::ranges::replace_if(
        name, [](char c) { return c == '.' || c == '-'; }, '_');
    return name;
});

TEST(Doctor, HelperThatServesHasNoFinding) {
    EXPECT_TRUE(Diagnose(Healthy()).empty());
}

TEST(Doctor, StartThatWasLostLongAgoIsHistory) {
    DoctorFacts facts = Healthy();
    facts.lostStart = {"Nexlet8.log", 601};
    EXPECT_TRUE(Diagnose(facts).empty());
}

TEST(Doctor, WhatIsWrongStandsBeforeNotes) {
    DoctorFacts facts = Healthy();
    facts.debugLog.value = 0;
    facts.hostPipe.state = PipeState::Missing;
    const std::vector<Finding> findings = Diagnose(facts);
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_TRUE(findings[0].isWrong);
    EXPECT_FALSE(findings[1].isWrong);
}

// What a process with other rights made keeps this one out, whether a helper is seen or not.
TEST(Doctor, DeniedRightsAreToldWithoutAHelperToo) {
    DoctorFacts facts = Healthy();
    facts.helpers.clear();
    facts.serviceGate.signalled = false;
    facts.mutexDenied = facts.hostGate.denied = facts.serviceGate.denied = facts.readyEvent.denied = true;
    facts.mutexName = "mutex";
    facts.hostGate.name = "gate";
    facts.serviceGate.name = "caller gate";
    facts.readyEvent.name = "ready";
    facts.hostPipe.state = facts.servicePipe.state = PipeState::Missing;
    const std::vector<Finding> findings = Diagnose(facts);
    ASSERT_EQ(findings.size(), 2u) << FindingsText(findings);
    EXPECT_STREQ(findings[0].code, "access.denied");
    EXPECT_NE(findings[0].what.find("open mutex, gate, caller gate, ready:"), std::string::npos) << findings[0].what;
    EXPECT_STREQ(findings[1].code, "caller-pipe.missing") << "the mutex is there: neither no helper nor a stranger";
}

TEST(Doctor, HelperWithOtherRightsIsOneThatRuns) {
    DoctorFacts facts = Healthy();
    facts.mutexDenied = true;
    facts.helpers[0].mark.clear();  // its command line cannot be read
    facts.hostPipe.holder = PipeHolder::NotTold;
    const std::vector<Finding> findings = Diagnose(facts);
    ASSERT_EQ(findings.size(), 1u) << FindingsText(findings);
    EXPECT_STREQ(findings[0].code, "access.denied");
    EXPECT_TRUE(DoctorReport(facts, findings)["mutex"]["denied"].asBool());
}

TEST(Doctor, PipeThatSomebodyElseServesIsWrong) {
    DoctorFacts facts = Healthy();
    facts.mutexExists = false;
    EXPECT_STREQ(Diagnose(facts)[0].code, "host-pipe.squatted");
}

// The picture in docs/troubleshooting.md shows this text; tools/make-screenshots --run makes both anew.
TEST(Doctor, SaysWhatItsPictureShows) {
    DoctorFacts facts = Healthy();
    facts.mark = facts.helpers[0].mark = "demo";
    facts.service = "svc-1";
    facts.servicePipe.state = PipeState::Free;
    facts.yybSdk[0].path = R"(C:\app\yybsdk\pcyyb_sdk_dll.dll)";
    facts.yybSdk[0].isNew = false;
    facts.yybSdk[0].version = "1.0.344.9";
    facts.infoHost = "info.nexlet.invalid";
    facts.lastInfoTime.reset();
    std::ifstream file(NEXLET_DOCS_PICTURES "/doctor.txt");
    std::ostringstream pictured;
    pictured << file.rdbuf();
    EXPECT_EQ(FindingsText(Diagnose(facts)), pictured.str());
}

TEST(Doctor, TextIsBrokenAtBlanksAndALongWordStaysWhole) {
    const std::string path(120, 'x');
    EXPECT_EQ(FindingsText({{"a.b", true, "the file " + path + " is not there", "find it"}}),
              "nexctl: wrong: [a.b] the file\n               " + path +
                  "\n               is not there\n           do: find it\n");
    EXPECT_EQ(FindingsText({{"a.b", true, path, path}}),
              "nexctl: wrong: [a.b]\n               " + path + "\n           do: " + path + "\n");
}

TEST(Doctor, NotesAloneAreNothingWrong) {
    EXPECT_EQ(FindingsText({}), "nexctl: nothing is wrong\n");
    EXPECT_EQ(FindingsText({{"a.b", false, "a", "b"}}),
              "nexctl: note:  [a.b] a\n           do: b\nnexctl: nothing is wrong\n");
}

TEST(Doctor, ReportHoldsFactsAndFindings) {
    DoctorFacts facts = Healthy();
    facts.serviceGate.signalled = false;
    facts.hostPipe.serverId = 7;
    const Json::Value report = DoctorReport(facts, Diagnose(facts));
    EXPECT_EQ(report["host_pipe"]["state"].asString(), "free");
    EXPECT_EQ(report["host_pipe"]["process_id"].asInt(), 7);
    EXPECT_FALSE(report["service_pipe"].isMember("process_id"));
    EXPECT_EQ(report["helpers"][0]["mark"].asString(), "m");
    EXPECT_EQ(report["remote_config"]["age_seconds"].asInt(), 86400);
    EXPECT_TRUE(report["registry"]["app_shortcut_create"].isNull());
    EXPECT_EQ(report["findings"].size(), 1u);
    EXPECT_TRUE(report["findings"][0]["wrong"].asBool());
}

}  // namespace
