// The verb clean.
#include "nexctl/clean/leftovers.h"
#include "nexctl/console/console_io.h"
#include "nexctl/runner/runner.h"

ExitCode CRunner::Clean(const Step& step) {
    std::vector<Leftover> leftovers = FindLeftovers();
    const bool all = !step.yes || RemoveLeftovers(leftovers);
    Json::Value line(Json::objectValue);
    line["removed"] = step.yes;
    line["found"] = Json::Value(Json::arrayValue);
    for (const Leftover& leftover : leftovers) {
        Json::Value one(Json::objectValue);
        one["kind"] = LeftoverKindName(leftover.kind);
        one["name"] = leftover.name;
        if (!leftover.value.empty()) {
            one["value"] = leftover.value;
        }
        const char* fate = leftover.inUse              ? "keeps, a process writes it: "
                           : !leftover.problem.empty() ? "cannot remove "
                           : step.yes                  ? "removed "
                                                       : "would remove ";
        one["kept"] = leftover.inUse || !leftover.problem.empty();
        line["found"].append(std::move(one));
        WriteText(OutputStream::Error, "nexctl: clean: " + std::string(fate) + LeftoverText(leftover) +
                                           (leftover.problem.empty() ? "" : " (" + leftover.problem + ")") + "\n");
    }
    for (const RunningHelper& helper : HelpersThatRun(/*ofMark=*/false)) {
        WriteText(OutputStream::Error, "nexctl: clean: process " + std::to_string(helper.processId) +
                                           " of the mark \"" + helper.mark +
                                           "\" runs and may write some of this again; \"nexctl stop --wait\" first\n");
    }
    return Finish(step, all ? ExitCode::Ok : ExitCode::NotStarted, std::move(line), "not everything could be removed");
}
