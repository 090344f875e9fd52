#include <algorithm>
#include <string>
#include <vector>

#include "foundation/text_helpers.h"
#include "nexctl/console/console_io.h"
#include "nexctl/runner/runner.h"
#include "nexctl/runner/script.h"

namespace {

// The verb that comes before or after "help", if there is one.
const VerbInfo* HelpSubject(const std::vector<std::string>& arguments) {
    for (const std::string& one : arguments) {
        const VerbInfo* verb = FindVerb(one);
        if (verb != nullptr && one != "help") {
            return verb;
        }
    }
    return nullptr;
}

bool AsksForHelp(const std::vector<std::string>& arguments) {
    for (const std::string& one : arguments) {
        if (one == "help" || one == "--help" || one == "-h" || one == "/?") {
            return true;
        }
    }
    return false;
}

}  // namespace

int wmain(int count, wchar_t** values) {
    BeginConsole();
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) {
        arguments.push_back(Utf16ToUtf8(values[i]));
    }
    if (AsksForHelp(arguments)) {
        WriteText(OutputStream::Output, HelpText(HelpSubject(arguments)));
        return static_cast<int>(ExitCode::Ok);
    }
    if (std::find(arguments.begin(), arguments.end(), "--version") != arguments.end()) {
        WriteText(OutputStream::Output, "nexctl " NEXCTL_VERSION "\n");
        return static_cast<int>(ExitCode::Ok);
    }
    Script script;
    std::string problem;
    if (!ParseScript(arguments, script, problem)) {
        WriteText(OutputStream::Error, "nexctl: " + problem + "; nexctl --help shows how it is used\n");
        return static_cast<int>(ExitCode::Usage);
    }
    return static_cast<int>(CRunner(script).Run());
}
