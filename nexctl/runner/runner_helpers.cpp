// The verbs helpers and stop.
#include <algorithm>

#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "nexctl/console/console_io.h"
#include "nexctl/helpers/look_helpers.h"
#include "nexctl/helpers/stop_helper.h"
#include "nexctl/runner/runner.h"

namespace {

// The helper takes 2 seconds of grace and up to 10 until its next look.
constexpr std::uint32_t kStopTimeoutMs = 30000;

// Whether it was not among them.
bool AddOnce(std::vector<std::string>& texts, const std::string& text) {
    const bool isNew = std::ranges::find(texts, text) == texts.end();
    if (isNew) {
        texts.push_back(text);
    }
    return isNew;
}

// "process 12 of the mark "m", which has a, b"
std::string HolderText(const RunningHelper& helper) {
    std::string services;
    for (const ServiceState& service : helper.services) {
        services += (services.empty() ? ", which has " : ", ") + service.id;
    }
    return "process " + std::to_string(helper.processId) + " of the mark \"" + helper.mark + "\"" + services;
}

bool SamePath(const std::string& a, const std::string& b) {
    return CompareStringOrdinal(Utf8ToUtf16(a).c_str(), -1, Utf8ToUtf16(b).c_str(), -1, TRUE) == CSTR_EQUAL;
}

}  // namespace

std::vector<RunningHelper> CRunner::HelpersThatRun(bool ofMark) const {
    const std::wstring program = ProgramPath();
    std::vector<RunningHelper> helpers = FindRunningHelpers(program.substr(program.find_last_of(L"\\/") + 1));
    if (ofMark) {
        std::erase_if(helpers, [&](const RunningHelper& helper) { return helper.mark != m_strMark; });
    }
    return helpers;
}

ExitCode CRunner::Helpers(const Step& step) {
    const std::vector<RunningHelper> helpers = HelpersThatRun(m_script.markGiven);
    if (step.text) {
        WriteText(OutputStream::Output, HelpersText(helpers));
        return ExitCode::Ok;
    }
    return Finish(step, ExitCode::Ok, HelpersRecord(helpers));
}

ExitCode CRunner::Stop(const Step& step) {
    const std::vector<RunningHelper> helpers = HelpersThatRun(/*ofMark=*/true);
    const CDeadline deadline(TimeoutOf(step, kStopTimeoutMs));
    // Opened before anything is asked, so that no later process of the same number is waited for.
    std::vector<CKernelHandle> processes;
    std::vector<std::string> services;
    std::vector<std::string> programs;
    Json::Value line(Json::objectValue);
    line["process_ids"] = Json::Value(Json::arrayValue);
    line["services"] = Json::Value(Json::arrayValue);
    for (const RunningHelper& helper : helpers) {
        processes.emplace_back(OpenProcess(SYNCHRONIZE, FALSE, helper.processId));
        line["process_ids"].append(helper.processId);
        AddOnce(programs, helper.program);
        for (const ServiceState& service : helper.services) {
            if (AddOnce(services, service.id)) {
                line["services"].append(service.id);
            }
        }
    }
    if (programs.empty()) {
        programs.push_back(Utf16ToUtf8(ProgramPath()));
    }
    if (!services.empty()) {
        DWORD systemError = 0;
        const CallerResult asked = AskToLetGo(Utf8ToUtf16(m_strMark), services, deadline, systemError);
        if (asked != CallerResult::Ok) {
            line["system_error"] = Json::UInt(systemError);
            return Finish(step, asked == CallerResult::Timeout ? ExitCode::Timeout : ExitCode::Gone, std::move(line),
                          HolderText(helpers.front()) + " cannot be asked on the host's pipe (" +
                              DescribeCallerResult(asked) + "); end it");
        }
    }
    if (!step.wait) {
        return Finish(step, ExitCode::Ok, std::move(line));
    }
    bool ended = true;
    for (const CKernelHandle& process : processes) {
        ended = ended && (!process || WaitForSingleObject(process.get(), deadline.RemainingMs()) == WAIT_OBJECT_0);
    }
    std::string held;
    for (const std::string& program : programs) {
        if (!WaitUntilFree(Utf8ToUtf16(program), deadline)) {
            held = program;
        }
    }
    line["process_ended"] = ended;
    line["file_free"] = held.empty();
    if (ended && held.empty()) {
        return Finish(step, ExitCode::Ok, std::move(line));
    }
    // Whoever it is that is left.
    std::string holders;
    line["held_by"] = Json::Value(Json::arrayValue);
    for (const RunningHelper& helper : HelpersThatRun(/*ofMark=*/false)) {
        if (helper.mark == m_strMark || (!held.empty() && SamePath(helper.program, held))) {
            holders += (holders.empty() ? "" : ", and ") + HolderText(helper);
            line["held_by"].append(helper.processId);
        }
    }
    return Finish(step, ExitCode::Timeout, std::move(line),
                  !holders.empty() ? "still there: " + holders : held + " is held by another program");
}
