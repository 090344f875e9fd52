#include <cstdio>
#include <string>
#include <vector>

#include "foundation/windows_headers.h"

#include <fcntl.h>
#include <io.h>

#include "foundation/text_helpers.h"
#include "nexctl/runner.h"
#include "nexctl/script.h"

namespace {

// The verb that help stands behind or in front of, if any.
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
    // Line ends as they are written: JSON lines end with one character everywhere.
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stdin), _O_BINARY);

    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) {
        arguments.push_back(Utf16ToUtf8(values[i]));
    }
    if (AsksForHelp(arguments)) {
        std::fputs(HelpText(HelpSubject(arguments)).c_str(), stdout);
        return static_cast<int>(ExitCode::Ok);
    }
    Script script;
    std::string problem;
    if (!ParseScript(arguments, script, problem)) {
        std::fprintf(stderr, "nexctl: %s; nexctl --help shows how it is used\n", problem.c_str());
        return static_cast<int>(ExitCode::Usage);
    }
    return static_cast<int>(CRunner(script).Run());
}
