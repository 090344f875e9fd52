// The verb log: the switch, the lines, the page.
#include <algorithm>

#include "foundation/handle.h"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "nexctl/console/console_io.h"
#include "nexctl/log/helper_logs.h"
#include "nexctl/log/log_lines.h"
#include "nexctl/log/log_page.h"
#include "nexctl/log/log_prune.h"
#include "nexctl/runner/runner.h"
#include "tooling/text_file.h"

namespace {

constexpr DWORD kLookMs = 100;
// Of the page beside its log.
constexpr char kPageEnding[] = ".html";

Json::Value LineRecord(const LogLine& line) {
    Json::Value record(Json::objectValue);
    record["time"] = TimeOfDay(line.nTimeMs);
    if (!line.strFunction.empty()) {
        record["function"] = line.strFunction;
        record["line"] = line.nSourceLine;
    }
    record["text"] = line.strText;
    return record;
}

Json::Value FileRecord(const LogFile& file) {
    Json::Value record(Json::objectValue);
    record["path"] = file.strPath;
    record["process_id"] = file.nProcessId;
    record["bytes"] = Json::UInt64(file.nBytes);
    record["running"] = file.bRunning;
    record["mark"] = file.summary.strMark;
    record["services"] = Json::Value(Json::arrayValue);
    for (const std::string& service : file.summary.services) {
        record["services"].append(service);
    }
    record["first_line"] = TimeOfDay(file.summary.nFirstMs);
    record["date"] = file.strDate;
    record["last_line"] = TimeOfDay(file.summary.nLastMs);
    record["last_text"] = file.summary.strLastText;
    record["end"] = LogEndText(file.summary, file.bRunning);
    return record;
}

std::string LogPathOf(std::uint32_t processId) {
    return LogFolder() + "\\Nexlet" + std::to_string(processId) + ".log";
}

// The part of a file's end that is whole lines.
std::string_view WholeLines(std::string_view bytes) {
    constexpr std::string_view kLineEnd("\n\0", 2);
    const std::size_t end = bytes.rfind(kLineEnd);
    return bytes.substr(0, end == std::string_view::npos ? 0 : end + kLineEnd.size());
}

}  // namespace

ExitCode CRunner::Log(const Step& step) {
    const std::string& what = step.arguments[0];
    if (what == "on" || what == "off" || what == "status") {
        return SwitchLog(step, what);
    }
    if (what == "prune") {
        return PruneLogs(step);
    }
    const std::vector<LogFile> files = LogsFor(step);
    if (files.empty()) {
        return Finish(step, ExitCode::Gone, Json::Value(Json::objectValue),
                      ReadLogSwitch().IsOn() ? "there is no such log in " + LogFolder()
                                             : "there is no such log, and it is off; \"nexctl log on\" switches it on "
                                               "for later starts of the helper");
    }
    for (const LogFile& file : files) {
        WriteText(OutputStream::Error, "nexctl: log: " + LogFileText(file) + "\n");
    }
    return what == "follow" ? FollowLog(step, files.front())
           : what == "show" ? ShowLog(step, files)
                            : PageOfLog(step, files);
}

LogWish CRunner::WishOf(const Step& step) const {
    LogWish wish;
    if (m_script.markGiven) {
        wish.strMark = m_strMark;
    }
    if (m_script.serviceGiven) {
        wish.strService = m_strService;
    }
    wish.processIds = step.pids;
    if (step.sinceMs != 0) {
        wish.nWrittenSince = FileTimeBefore(step.sinceMs);
    }
    return wish;
}

ExitCode CRunner::PruneLogs(const Step& step) {
    if (step.olderMs == 0 && step.largerBytes == 0) {
        WriteText(OutputStream::Error, "nexctl: log: prune needs --older, --larger or both\n");
        return ExitCode::Usage;
    }
    PruneRule rule;
    if (step.olderMs != 0) {
        rule.nWrittenBefore = FileTimeBefore(step.olderMs);
    }
    if (step.largerBytes != 0) {
        rule.nLargerThan = step.largerBytes;
    }
    Json::Value line(Json::objectValue);
    line["dry_run"] = step.dryRun;
    line["removed"] = Json::Value(Json::arrayValue);
    line["kept"] = Json::Value(Json::arrayValue);
    std::uint64_t bytes = 0;
    for (const PrunedLog& log : LogsToPrune(ChooseLogs(FindLogs(), WishOf(step)), rule, FileTimeBefore(0))) {
        const std::string& path = log.file.strPath;
        // A process that has it open keeps it, whatever became of the program that the log names.
        const bool removed = step.dryRun || DeleteFileW(Utf8ToUtf16(path).c_str()) != FALSE;
        const std::string error = removed ? "" : " (system error " + std::to_string(GetLastError()) + ")";
        if (removed && !step.dryRun) {
            // The page holds what the log held.
            DeleteFileW(Utf8ToUtf16(path + kPageEnding).c_str());
        }
        bytes += removed ? log.file.nBytes : 0;
        line[removed ? "removed" : "kept"].append(path);
        std::string text = "nexctl: log: ";
        text.append(!removed ? "cannot remove " : step.dryRun ? "would remove " : "removed ");
        text.append(path).append(", ").append(log.strWhy).append(error).append("\n");
        WriteText(OutputStream::Error, text);
    }
    line["bytes"] = Json::UInt64(bytes);
    const bool all = line["kept"].empty();
    return Finish(step, all ? ExitCode::Ok : ExitCode::NotStarted, std::move(line), "not every log could be removed");
}

std::vector<LogFile> CRunner::LogsFor(const Step& step) {
    if (!step.file.empty()) {
        if (GetFileAttributesW(Utf8ToUtf16(step.file).c_str()) == INVALID_FILE_ATTRIBUTES) {
            return {};
        }
        return {ReadLogFile(step.file)};
    }
    std::vector<LogFile> files = ChooseLogs(FindLogs(), WishOf(step));
    // Several are taken when several were asked for by their processes.
    if (files.size() > 1 && step.pids.size() < 2) {
        files.resize(1);
    }
    return files;
}

ExitCode CRunner::SwitchLog(const Step& step, const std::string& what) {
    if (what != "status" && (!SetLogSwitch(what == "on") || (what == "on" && !MakeLogFolder()))) {
        return Finish(step, ExitCode::NotStarted, Json::Value(Json::objectValue),
                      "the registry or the folder cannot be written");
    }
    if (what == "on") {
        WriteText(OutputStream::Error,
                  "nexctl: log: a log holds requests and replies in full, with what callers put into them: names, "
                  "paths, machine ids. Look before you hand one on; \"nexctl bundle\" masks such contents\n");
    }
    const LogSwitch now = ReadLogSwitch();
    Json::Value line(Json::objectValue);
    line["on"] = now.IsOn();
    line["debug_log"] = now.nDebugLog;
    line["debug_modle"] = now.nDebugModle;
    line["folder"] = LogFolder();
    line["folder_can_be_made"] = LogFolderCanBeMade();
    line["files"] = Json::Value(Json::arrayValue);
    for (const LogFile& file : FindLogs()) {
        line["files"].append(FileRecord(file));
    }
    return Finish(step, ExitCode::Ok, std::move(line));
}

ExitCode CRunner::ShowLog(const Step& step, const std::vector<LogFile>& files) {
    for (const LogFile& file : files) {
        std::string bytes;
        if (!ReadTextFile(file.strPath, bytes)) {
            return Finish(step, ExitCode::Gone, Json::Value(Json::objectValue), file.strPath + " cannot be read");
        }
        std::string text;
        for (const LogLine& line : ReadLog(bytes)) {
            if (FunctionContains(line, step.function)) {
                text += (step.text ? LogLineText(line) : WriteJson(LineRecord(line))) + "\n";
            }
        }
        WriteText(OutputStream::Output, text);
    }
    return ExitCode::Ok;
}

ExitCode CRunner::FollowLog(const Step& step, const LogFile& file) {
    const std::string& path = file.strPath;
    const CKernelHandle process(file.nProcessId != 0 ? OpenProcess(SYNCHRONIZE, FALSE, file.nProcessId) : nullptr);
    const ULONGLONG startedAt = GetTickCount64();
    const std::uint32_t timeoutMs = TimeoutOf(step);
    std::size_t shown = 0;
    std::uint32_t printed = 0;
    bool begun = false;
    for (;;) {
        // Looked at before the file is read, so that what was written before the end is shown.
        const bool ended = !process || WaitForSingleObject(process.get(), begun ? kLookMs : 0) == WAIT_OBJECT_0;
        const bool late = GetTickCount64() - startedAt >= timeoutMs;
        std::string bytes;
        if (!ReadTextFile(path, bytes)) {
            return Finish(step, ExitCode::Gone, Json::Value(Json::objectValue), path + " cannot be read");
        }
        const std::vector<LogLine> lines = ReadLog(WholeLines(bytes));
        for (; shown < lines.size(); ++shown) {
            if (FunctionContains(lines[shown], step.function)) {
                PrintLine(LineRecord(lines[shown]));
                if (++printed == step.count) {
                    return ExitCode::Ok;
                }
            }
        }
        if (ended || late) {
            return ExitCode::Ok;
        }
        begun = true;
    }
}

ExitCode CRunner::PageOfLog(const Step& step, const std::vector<LogFile>& files) {
    std::vector<PageLog> logs;
    Json::Value line(Json::objectValue);
    std::size_t lines = 0;
    std::size_t lanes = 0;
    for (const LogFile& file : files) {
        std::string bytes;
        if (!ReadTextFile(file.strPath, bytes)) {
            return Finish(step, ExitCode::Gone, Json::Value(Json::objectValue), file.strPath + " cannot be read");
        }
        std::vector<LogLine> all = ReadLog(bytes);
        const int runs = CountRuns(all);
        const int run = step.run == 0 ? std::max(runs - 1, 0) : static_cast<int>(step.run) - 1;
        line["run"] = run + 1;
        line["runs"] = runs;
        std::erase_if(all, [&](const LogLine& one) { return !FunctionContains(one, step.function); });
        PageLog& log = logs.emplace_back();
        log.strTitle = LogFileText(file);
        log.timeline = BuildTimeline(all, run);
        lines += log.timeline.lines.size();
        lanes += log.timeline.lanes.size();
    }
    const std::string out = step.out.empty() ? files.front().strPath + kPageEnding : step.out;
    if (!WriteTextFile(out, TimelinePage(logs))) {
        return Finish(step, ExitCode::NotStarted, Json::Value(Json::objectValue), out + " cannot be written");
    }
    line["page"] = out;
    line["lines"] = Json::UInt64(lines);
    line["lanes"] = Json::UInt64(lanes);
    return Finish(step, ExitCode::Ok, std::move(line));
}

std::string CRunner::RefusalInLog(std::uint32_t processId) {
    if (!ReadLogSwitch().IsOn()) {
        return "no reply; the helper's log is off, \"nexctl log on\" switches it on for the next start";
    }
    std::string sent;
    {
        const CNativeGuard guard(m_lockFrames);
        sent = m_strSent;
    }
    std::string bytes;
    if (!ReadTextFile(LogPathOf(processId), bytes)) {
        return "no reply; the helper writes no log: it was started before the log was on";
    }
    const std::vector<LogLine> lines = ReadLog(bytes);
    const Timeline timeline = BuildTimeline(lines, std::max(CountRuns(lines) - 1, 0));
    const TimelineSpan* own = nullptr;
    for (const TimelineLane& lane : timeline.lanes) {
        for (const TimelineSpan& span : lane.spans) {
            // The log cuts a long payload.
            const bool same = !span.strMessage.empty() && sent.starts_with(span.strMessage);
            if (span.bRequest && same && (own == nullptr || span.nFirstLine > own->nFirstLine)) {
                own = &span;
            }
        }
    }
    constexpr std::string_view kRefused = "refused: ";
    if (own == nullptr) {
        return "no reply; the log does not show this request: it has not been read";
    }
    if (own->strOutcome.starts_with(kRefused)) {
        return "no reply; its log says \"" + own->strOutcome.substr(kRefused.size()) + "\" (" +
               timeline.lines[own->nLastLine].strFunction + ")";
    }
    return "no reply; the log has no refusal for this request: refused without a line, or still waiting for the SDK";
}

std::string CRunner::LastWords(std::uint32_t processId) {
    std::string bytes;
    if (processId == 0 || !ReadTextFile(LogPathOf(processId), bytes)) {
        return {};
    }
    const LogSummary summary = SummariseLog(bytes);
    return "; its log says: " +
           (summary.end == LogEnd::NotTold ? "\"" + summary.strLastText + "\"" : LogEndText(summary, false));
}
