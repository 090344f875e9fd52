// The verb log: the switch, the lines, the page.
#include <algorithm>
#include <cstdio>

#include "foundation/handle.h"
#include "foundation/json_text.h"
#include "foundation/windows_headers.h"
#include "nexctl/helper_logs.h"
#include "nexctl/log_lines.h"
#include "nexctl/log_page.h"
#include "nexctl/runner.h"
#include "nexctl/text_file.h"

namespace {

constexpr DWORD kLookMs = 100;

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
    return record;
}

}  // namespace

ExitCode CRunner::Log(const Step& step) {
    const std::string& what = step.arguments[0];
    if (what == "on" || what == "off" || what == "status") {
        return SwitchLog(step, what);
    }
    std::string path = step.file;
    std::uint32_t processId = step.pid;
    if (path.empty()) {
        const std::vector<LogFile> files = FindLogs();
        const auto found = std::find_if(files.begin(), files.end(), [&](const LogFile& file) {
            return step.pid == 0 || file.nProcessId == step.pid;
        });
        if (found == files.end()) {
            return Finish(step, ExitCode::Gone, Json::Value(Json::objectValue),
                          ReadLogSwitch().IsOn() ? "there is no log in " + LogFolder()
                                                 : "there is no log, and it is off; \"nexctl log on\" switches it on "
                                                   "for later starts of the helper");
        }
        path = found->strPath;
        processId = found->nProcessId;
    }
    return what == "follow" ? FollowLog(step, path, processId)
           : what == "show" ? ShowLog(step, path)
                            : PageOfLog(step, path);
}

ExitCode CRunner::SwitchLog(const Step& step, const std::string& what) {
    if (what != "status" && (!SetLogSwitch(what == "on") || (what == "on" && !MakeLogFolder()))) {
        return Finish(step, ExitCode::NotStarted, Json::Value(Json::objectValue),
                      "the registry or the folder cannot be written");
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

ExitCode CRunner::ShowLog(const Step& step, const std::string& path) {
    std::string bytes;
    if (!ReadTextFile(path, bytes)) {
        return Finish(step, ExitCode::Gone, Json::Value(Json::objectValue), path + " cannot be read");
    }
    for (const LogLine& line : ReadLog(bytes)) {
        if (FunctionContains(line, step.function)) {
            PrintLine(LineRecord(line));
        }
    }
    return ExitCode::Ok;
}

ExitCode CRunner::FollowLog(const Step& step, const std::string& path, std::uint32_t processId) {
    const CKernelHandle process(processId != 0 ? OpenProcess(SYNCHRONIZE, FALSE, processId) : nullptr);
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
        const std::vector<LogLine> lines = ReadLog(bytes.substr(0, bytes.rfind(std::string("\n\0", 2)) + 2));
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

ExitCode CRunner::PageOfLog(const Step& step, const std::string& path) {
    std::string bytes;
    if (!ReadTextFile(path, bytes)) {
        return Finish(step, ExitCode::Gone, Json::Value(Json::objectValue), path + " cannot be read");
    }
    const std::vector<LogLine> lines = ReadLog(bytes);
    const int runs = CountRuns(lines);
    const int run = step.run == 0 ? std::max(runs - 1, 0) : static_cast<int>(step.run) - 1;
    const Timeline timeline = BuildTimeline(lines, run);
    const std::string out = step.out.empty() ? path + ".html" : step.out;
    if (!WriteTextFile(out, TimelinePage(timeline, path))) {
        return Finish(step, ExitCode::NotStarted, Json::Value(Json::objectValue), out + " cannot be written");
    }
    Json::Value line(Json::objectValue);
    line["page"] = out;
    line["lines"] = Json::UInt64(timeline.lines.size());
    line["lanes"] = Json::UInt64(timeline.lanes.size());
    line["run"] = run + 1;
    line["runs"] = runs;
    return Finish(step, ExitCode::Ok, std::move(line));
}

std::string CRunner::RefusalInLog(std::uint32_t processId) const {
    if (!ReadLogSwitch().IsOn()) {
        return "; its log is off, \"nexctl log on\" switches it on for the next start";
    }
    std::string bytes;
    if (processId == 0 || !ReadTextFile(LogFolder() + "\\Nexlet" + std::to_string(processId) + ".log", bytes)) {
        return {};
    }
    // What became of the latest message that it got.
    const std::vector<LogLine> lines = ReadLog(bytes);
    for (auto line = lines.rbegin(); line != lines.rend() && line->strText != "ReceiveIPCMessage begin"; ++line) {
        if (IsRefusal(*line)) {
            return "; its log says \"" + line->strText + "\" (" + line->strFunction + ")";
        }
    }
    return {};
}
