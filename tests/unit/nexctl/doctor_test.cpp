#include "nexctl/doctor.h"

#include <fstream>
#include <functional>
#include <sstream>

#include <gtest/gtest.h>

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
    facts.helpers = {{7, "C:\\a\\b\\nexlet.exe", "m"}};
    facts.miniProgramInstalled = true;
    FileFact file;
    file.path = "C:\\a\\file.dll";
    file.exists = file.trusted = file.isNew = true;
    facts.wxSdk = {file};
    file.mustBeSigned = file.mustBeNew = true;
    facts.yybSdk = {file};
    facts.debugLog = 1;
    facts.logFolderCanBeMade = true;
    facts.now = 1000000;
    facts.lastInfoTime = facts.now - 86400;
    return facts;
}

struct Ill {
    const char* name;
    std::function<void(DoctorFacts&)> change;
    bool wrong;
    const char* what;  // part of the one finding
};

void PrintTo(const Ill& ill, std::ostream* out) {
    *out << ill.name;
}

const Ill kIlls[] = {
    {"NoProgram", [](DoctorFacts& f) { f.programExists = false; }, true, "nexlet.exe is not there"},
    {"NoHelper",
     [](DoctorFacts& f) {
         f.mutexExists = false;
         f.hostPipe.state = PipeState::Missing;
     },
     false, "no helper of the mark \"m\" runs"},
    {"HelperIsDeaf", [](DoctorFacts& f) { f.hostPipe.state = PipeState::Missing; }, true,
     "does not listen on its own pipe"},
    {"HostWithoutAGate", [](DoctorFacts& f) { f.hostGate.exists = false; }, true, "without its gate event"},
    {"TwoOfAMark",
     [](DoctorFacts& f) {
         f.helpers.push_back({8, "", "m"});
     },
     false, "2 processes carry this mark"},
    {"NoCaller", [](DoctorFacts& f) { f.servicePipe.state = PipeState::Missing; }, false,
     "nobody serves the caller's pipe"},
    {"CallerAlone", [](DoctorFacts& f) { f.servicePipe.state = PipeState::Free; }, true, "not connected to it"},
    {"CallerWithoutAGate", [](DoctorFacts& f) { f.serviceGate.exists = false; }, true, "without its gate event"},
    {"GateIsClosed", [](DoctorFacts& f) { f.serviceGate.signalled = false; }, true, "waits a second"},
    {"NothingInstalled", [](DoctorFacts& f) { f.miniProgramInstalled = false; }, false, "\"uninstalled\""},
    {"LibraryMissing", [](DoctorFacts& f) { f.wxSdk[0].exists = false; }, true,
     "is missing: opens of the type miniApp"},
    {"LibraryUnsigned", [](DoctorFacts& f) { f.yybSdk[0].trusted = false; }, true,
     "does not bear the publisher's name"},
    {"LibraryOld", [](DoctorFacts& f) { f.yybSdk[0].isNew = false; }, true, "older than the helper needs"},
    {"NoYybFolder", [](DoctorFacts& f) { f.yybSdk.clear(); }, false, "opens of the type yyb"},
    {"LogOff", [](DoctorFacts& f) { f.debugLog = 2; }, false, "the log is off"},
    {"LogWithoutAFolder", [](DoctorFacts& f) { f.logFolderCanBeMade = false; }, true, "no file is written"},
    {"NoConfiguration", [](DoctorFacts& f) { f.lastInfoTime.reset(); }, false, "has never come"},
    {"OldConfiguration", [](DoctorFacts& f) { f.lastInfoTime = f.now - 10 * 86400; }, false, "10 days old"},
};

class DoctorOf : public ::testing::TestWithParam<Ill> {};

TEST_P(DoctorOf, FindsTheOneThing) {
    DoctorFacts facts = Healthy();
    GetParam().change(facts);
    const std::vector<Finding> findings = Diagnose(facts);
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].isWrong, GetParam().wrong);
    EXPECT_NE(findings[0].what.find(GetParam().what), std::string::npos) << findings[0].what;
    EXPECT_FALSE(findings[0].advice.empty());
}

INSTANTIATE_TEST_SUITE_P(Ills, DoctorOf, ::testing::ValuesIn(kIlls),
                         [](const auto& one) { return std::string(one.param.name); });

TEST(Doctor, HelperThatServesHasNoFinding) {
    EXPECT_TRUE(Diagnose(Healthy()).empty());
}

TEST(Doctor, WhatIsWrongStandsBeforeNotes) {
    DoctorFacts facts = Healthy();
    facts.debugLog = 0;
    facts.hostPipe.state = PipeState::Missing;
    const std::vector<Finding> findings = Diagnose(facts);
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_TRUE(findings[0].isWrong);
    EXPECT_FALSE(findings[1].isWrong);
}

TEST(Doctor, PipeThatSomebodyElseServesIsWrong) {
    DoctorFacts facts = Healthy();
    facts.mutexExists = false;
    EXPECT_NE(Diagnose(facts)[0].what.find("no helper of it runs"), std::string::npos);
}

// The picture in docs/troubleshooting.md shows this text; tools/make-screenshots --run makes both anew.
TEST(Doctor, SaysWhatItsPictureShows) {
    DoctorFacts facts = Healthy();
    facts.mark = facts.helpers[0].mark = "demo";
    facts.service = "svc-1";
    facts.servicePipe.state = PipeState::Free;
    facts.yybSdk[0].path = R"(C:\app\yybsdk\pcyyb_sdk_dll.dll)";
    facts.yybSdk[0].isNew = false;
    facts.lastInfoTime.reset();
    std::ifstream file(NEXLET_DOCS_PICTURES "/doctor.txt");
    std::ostringstream pictured;
    pictured << file.rdbuf();
    EXPECT_EQ(FindingsText(Diagnose(facts)), pictured.str());
}

TEST(Doctor, TextIsBrokenAtBlanksAndALongWordStaysWhole) {
    const std::string path(120, 'x');
    EXPECT_EQ(
        FindingsText({{true, "the file " + path + " is not there", "find it"}}),
        "nexctl: wrong: the file\n               " + path + "\n               is not there\n           do: find it\n");
    EXPECT_EQ(FindingsText({{true, path, path}}), "nexctl: wrong: " + path + "\n           do: " + path + "\n");
}

TEST(Doctor, NotesAloneAreNothingWrong) {
    EXPECT_EQ(FindingsText({}), "nexctl: nothing is wrong\n");
    EXPECT_EQ(FindingsText({{false, "a", "b"}}), "nexctl: note:  a\n           do: b\nnexctl: nothing is wrong\n");
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
