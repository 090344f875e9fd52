// The verb conformance.
#include <algorithm>

#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "nexctl/conformance/play.h"
#include "nexctl/console/console_io.h"
#include "nexctl/runner.h"
#include "tooling/text_file.h"

ExitCode CRunner::Conformance(const Step& step) {
    PlaySettings settings;
    settings.hasWorld = !step.world.empty();
    settings.program =
        settings.hasWorld && m_script.exe.empty() ? Utf8ToUtf16(step.world) + L"\\app\\bin\\nexlet.exe" : ProgramPath();
    settings.only = step.only;
    settings.timeoutMs = TimeoutOf(step);
    Json::Value line(Json::objectValue);
    line["program"] = Utf16ToUtf8(settings.program);
    if (GetFileAttributesW(settings.program.c_str()) == INVALID_FILE_ATTRIBUTES) {
        return Finish(step, ExitCode::NotStarted, std::move(line), line["program"].asString() + " is not there");
    }
    if (std::ranges::none_of(AllRules(), [&](const Rule& rule) { return rule.id.starts_with(step.only); })) {
        WriteText(OutputStream::Error, "nexctl: conformance: no rule begins with \"" + step.only + "\"\n");
        return ExitCode::Usage;
    }
    const std::vector<RuleResult> results = PlayRules(settings, [&](const RuleResult& result) {
        WriteText(OutputStream::Output, step.json ? RuleJson(result) : RuleLine(result));
    });
    const auto count = [&](RuleOutcome outcome) {
        return Json::Int64(std::ranges::count(results, outcome, &RuleResult::outcome));
    };
    line["kept"] = count(RuleOutcome::Kept);
    line["broken"] = count(RuleOutcome::Broken);
    line["left_out"] = count(RuleOutcome::LeftOut);
    if (!step.out.empty() && !WriteTextFile(step.out, RulePage(line["program"].asString(), results))) {
        return Finish(step, ExitCode::NotStarted, std::move(line), step.out + " cannot be written");
    }
    const bool kept = line["broken"] == 0;
    return Finish(step, kept ? ExitCode::Ok : ExitCode::Refused, std::move(line), "rules are broken");
}
