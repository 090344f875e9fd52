// The verb bundle.
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "nexctl/bundle/collect.h"
#include "nexctl/bundle/mask.h"
#include "nexctl/bundle/zip_file.h"
#include "nexctl/console/console_io.h"
#include "nexctl/doctor/judge.h"
#include "nexctl/doctor/tell.h"
#include "nexctl/log/helper_logs.h"
#include "nexctl/log/log_page.h"
#include "nexctl/log/log_prune.h"
#include "nexctl/runner/runner.h"
#include "tooling/text_file.h"

namespace {

constexpr std::size_t kMostLogs = 3;
// Of each log the end is taken.
constexpr std::size_t kMostLogBytes = std::size_t{16} * 1024 * 1024;

// What the doctor quotes of a log is a line of it.
void MaskFacts(DoctorFacts& facts) {
    if (!facts.log) {
        return;
    }
    facts.log->summary.strLastText = kMasked;
    if (facts.log->summary.lastRefusal) {
        facts.log->summary.lastRefusal = MaskLine(*facts.log->summary.lastRefusal);
    }
}

std::string NameOf(const std::string& path) {
    return path.substr(path.find_last_of("\\/") + 1);
}

class CBundle {
  public:
    explicit CBundle(bool withContents) : m_bWithContents(withContents) {}

    void Take(const std::string& name, std::string bytes, const std::string& note = {}) {
        if (!m_bWithContents) {
            bytes = MaskUserNames(bytes);
        }
        Json::Value one(Json::objectValue);
        one["name"] = name;
        one["bytes"] = Json::UInt64(bytes.size());
        if (!note.empty()) {
            one["note"] = note;
        }
        m_taken.append(std::move(one));
        m_entries.push_back({name, std::move(bytes)});
    }
    void Miss(const std::string& what, const std::string& why) {
        Json::Value one(Json::objectValue);
        one["what"] = what;
        one["why"] = why;
        m_missed.append(std::move(one));
    }

    Json::Value Contents() const {
        Json::Value contents(Json::objectValue);
        contents["taken"] = m_taken;
        contents["not_taken"] = m_missed;
        return contents;
    }
    std::string Archive() const { return BuildZip(m_entries); }

  private:
    const bool m_bWithContents;
    std::vector<ZipEntry> m_entries;
    Json::Value m_taken{Json::arrayValue};
    Json::Value m_missed{Json::arrayValue};
};

void TakeLog(CBundle& bundle, const LogFile& file, bool withContents) {
    std::string bytes;
    if (!ReadTextFile(file.strPath, bytes)) {
        bundle.Miss(file.strPath, "it cannot be read");
        return;
    }
    std::string note;
    if (bytes.size() > kMostLogBytes) {
        note = "the last " + SizeText(kMostLogBytes) + " of " + SizeText(bytes.size());
        bytes.erase(0, (bytes.size() - kMostLogBytes) & ~std::size_t{1});
    }
    std::vector<LogLine> lines = ReadLog(bytes);
    if (!withContents) {
        lines = MaskLog(std::move(lines));
    }
    std::string text;
    for (const LogLine& line : lines) {
        text += LogLineText(line) + "\n";
    }
    const std::string name = "logs/" + NameOf(file.strPath);
    bundle.Take(name + ".txt", std::move(text), note);
    PageLog page;
    page.strTitle = LogFileText(file);
    page.timeline = BuildTimeline(lines, std::max(CountRuns(lines) - 1, 0));
    bundle.Take(name + ".html", TimelinePage({page}));
}

}  // namespace

ExitCode CRunner::Bundle(const Step& step) {
    if (step.out.empty()) {
        WriteText(OutputStream::Error, "nexctl: bundle: needs --out FILE.zip\n");
        return ExitCode::Usage;
    }
    CBundle bundle(step.withContents);
    DoctorFacts facts = LookAtMachine(DoctorSubjectOfRun());
    if (!step.withContents) {
        MaskFacts(facts);
    }
    std::vector<Finding> findings = Diagnose(facts);
    if (!step.withContents) {
        // Before the text is broken into lines, at a blank of a name perhaps.
        for (Finding& finding : findings) {
            finding.what = MaskUserNames(finding.what);
        }
    }
    bundle.Take("doctor.json", WriteJson(DoctorReport(facts, findings)) + "\n");
    bundle.Take("doctor.txt", FindingsText(findings));
    bundle.Take("system.json", WriteJson(DescribeSystem()) + "\n");
    const std::vector<RunningHelper> helpers = HelpersThatRun(/*ofMark=*/false);
    bundle.Take("helpers.json", WriteJson(HelpersRecord(helpers)) + "\n");
    bundle.Take("helpers.txt", HelpersText(helpers));
    bundle.Take("pipes.json", WriteJson(DescribePipes(facts.helpers)) + "\n");
    std::vector<std::string> files = {facts.program};
    const std::string folder = facts.program.substr(0, facts.program.find_last_of('\\') + 1);
    for (const char* name : {"nexctl.exe", "nexlet_client.dll"}) {
        files.push_back(folder + name);
    }
    for (const auto* sdk : {&facts.wxSdk, &facts.yybSdk}) {
        for (const FileFact& file : *sdk) {
            files.push_back(file.path);
        }
    }
    const Json::Value described = DescribeFiles(files);
    for (const Json::Value& file : described) {
        if (file.isMember("problem")) {
            bundle.Miss(file["path"].asString(), file["problem"].asString());
        }
    }
    bundle.Take("files.json", WriteJson(described) + "\n");
    bundle.Take("registry.json", WriteJson(DescribeRegistry(step.withContents)) + "\n");
    LogWish wish;
    wish.strMark = m_strMark;
    wish.processIds = step.pids;
    std::vector<LogFile> logs = ChooseLogs(FindLogs(), wish);
    if (logs.empty()) {
        bundle.Miss("logs", "there is none of the mark \"" + m_strMark + "\"");
    } else if (logs.size() > kMostLogs) {
        bundle.Miss(std::to_string(logs.size() - kMostLogs) + " older logs", "the newest three are taken");
        logs.resize(kMostLogs);
    }
    for (const LogFile& log : logs) {
        TakeLog(bundle, log, step.withContents);
    }
    Json::Value line = bundle.Contents();
    line["mark"] = m_strMark;
    line["masked"] = !step.withContents;
    bundle.Take("contents.json", WriteJson(line) + "\n");
    if (!WriteTextFile(step.out, bundle.Archive())) {
        return Finish(step, ExitCode::NotStarted, std::move(line), step.out + " cannot be written");
    }
    line["file"] = step.out;
    for (const Json::Value& one : line["taken"]) {
        WriteText(OutputStream::Error, "nexctl: bundle: took " + one["name"].asString() + ", " +
                                           SizeText(one["bytes"].asUInt64()) +
                                           (one.isMember("note") ? ", " + one["note"].asString() : "") + "\n");
    }
    for (const Json::Value& one : line["not_taken"]) {
        WriteText(OutputStream::Error,
                  "nexctl: bundle: left out " + one["what"].asString() + ": " + one["why"].asString() + "\n");
    }
    WriteText(OutputStream::Error,
              step.withContents ? "nexctl: bundle: contents of requests, identities and machine ids are in it\n"
                                : "nexctl: bundle: contents of requests, identities, machine ids and the names of "
                                  "users in paths are masked; other paths, service ids and keys are not\n");
    return Finish(step, ExitCode::Ok, std::move(line));
}
