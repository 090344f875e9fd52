// The verb conformance.
#include <algorithm>
#include <sstream>

#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "nexctl/conformance/play.h"
#include "nexctl/console/console_io.h"
#include "nexctl/runner/runner.h"
#include "tooling/text_file.h"

namespace {

// What a folder that nexlet-world has brought up says about itself in its conformance.ini.
struct World {
    std::vector<std::string> plays;
    std::wstring program;
    bool alone = false;
};

World ReadWorld(const std::wstring& folder) {
    const std::wstring file = folder + L"\\conformance.ini";
    const auto read = [&](const wchar_t* key, const wchar_t* without) {
        wchar_t text[MAX_PATH] = {};
        GetPrivateProfileStringW(L"conformance", key, without, text, MAX_PATH, file.c_str());
        return std::wstring(text);
    };
    World world;
    world.program = folder + L"\\" + read(L"program", L"app\\bin\\nexlet.exe");
    world.alone = read(L"alone", L"0") == L"1";
    // Any other folder is one with an SDK that answers.
    std::istringstream names(Utf16ToUtf8(read(L"plays", L"opens")));
    for (std::string name; names >> name;) {
        world.plays.push_back(name);
    }
    return world;
}

}  // namespace

ExitCode CRunner::Conformance(const Step& step) {
    PlaySettings settings;
    settings.program = ProgramPath();
    if (!step.world.empty()) {
        const World world = ReadWorld(Utf8ToUtf16(step.world));
        settings.worlds = world.plays;
        settings.worldAlone = world.alone;
        if (m_script.exe.empty()) {
            settings.program = world.program;
        }
    }
    settings.only = step.only;
    settings.timeoutMs = TimeoutOf(step);
    Json::Value line(Json::objectValue);
    line["program"] = Utf16ToUtf8(settings.program);
    if (GetFileAttributesW(settings.program.c_str()) == INVALID_FILE_ATTRIBUTES) {
        const std::string problem = line["program"].asString() + " is not there";
        return Finish(step, ExitCode::NotStarted, std::move(line), problem);
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
