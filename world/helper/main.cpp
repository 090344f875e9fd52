// nexlet-standin: a helper that does what a scenario says, for testing its callers. See the help page below.
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "foundation/windows_headers.h"

#include "foundation/text_helpers.h"
#include "host/command_line.h"
#include "ipc/transport/pipe_names.h"
#include "tooling/text_file.h"
#include "world/common/stand_in_files.h"
#include "world/helper/helper_scenario.h"
#include "world/helper/scripted_helper.h"

namespace {

constexpr char kHelp[] =
    "usage: nexlet-standin /from:MARK /service_id:ID [/channel:... /type:... /param:...]\n"
    "       nexlet-standin --check FILE\n"
    "       nexlet-standin --help\n"
    "\n"
    "A stand-in for nexlet.exe: opens the pipe that a caller serves for this mark and service\n"
    "id, and answers as a scenario says. The scenario is the file NEXLET_STANDIN_SCENARIO\n"
    "names, else the one beside the program with its name and the ending .scenario, so that a\n"
    "copy called nexlet.exe reads nexlet.scenario. What came, and what is wrong, is written to\n"
    "nexlet_standin_calls.txt beside the program, a line each.\n"
    "\n"
    "scenario, a line each; \"#\" begins a comment line:\n"
    "  on connect         what is done when the pipe is open; without it, \"notice\"\n"
    "  on TYPE            what is done for a request of this type. When it is given several\n"
    "                     times, the n-th request gets the n-th block, later ones the last\n"
    "  on other           the same for every type without a block\n"
    "  exchange FILE      a recording of nexctl answers what no \"on TYPE\" does; beside the\n"
    "                     scenario\n"
    "steps of a block, in order:\n"
    "  notice             the ready notice\n"
    "  reply JSON         the request's reply: its content with these keys\n"
    "  send TYPE JSON     an envelope of this type with this content\n"
    "  payload TEXT       a frame around the text\n"
    "  bytes HEX          these bytes, in no frame\n"
    "  wait MS            a pause\n"
    "  silence            nothing\n"
    "  hangup             the end of the connection\n"
    "  exit CODE          the end of the process, at once\n"
    "before notice, reply, send and payload:\n"
    "  cut N              only the first N bytes of the frame are sent\n"
    "  magic N            the first word of the frame is N instead of 512\n"
    "An exit request (type 9) without a block ends the process with 0.\n"
    "\n"
    "exit codes:\n"
    "  0  the connection is over, or the help or check was printed\n"
    "  1  the command line or the scenario cannot be used\n"
    "  2  the pipe does not exist: no caller serves it\n"
    "  N  of a step \"exit N\"\n";

enum ExitCodeOfStandIn { kDone = 0, kUnusable = 1, kNoPipe = 2 };

int Fail(const CStandInFiles& files, const std::string& problem, int code) {
    files.Record("fault " + problem);
    std::fprintf(stderr, "nexlet-standin: %s; nexlet-standin --help shows how it is used\n", problem.c_str());
    return code;
}

std::filesystem::path ScenarioPath() {
    wchar_t path[32768] = {};
    if (GetEnvironmentVariableW(L"NEXLET_STANDIN_SCENARIO", path, std::size(path)) != 0) {
        return path;
    }
    GetModuleFileNameW(nullptr, path, std::size(path));
    return std::filesystem::path(path).replace_extension(L".scenario");
}

// Reads the scenario and the exchange it names.
bool Load(const std::filesystem::path& path, HelperScenario& scenario, Exchange& exchange, std::string& problem) {
    const std::string name = Utf16ToUtf8(path.wstring());
    std::string text;
    if (!ReadTextFile(name, text)) {
        problem = name + " cannot be read";
        return false;
    }
    if (!ReadHelperScenario(text, scenario, problem)) {
        problem = name + ": " + problem;
        return false;
    }
    if (scenario.strExchange.empty()) {
        return true;
    }
    const std::string recording = Utf16ToUtf8((path.parent_path() / Utf8ToUtf16(scenario.strExchange)).wstring());
    if (!ReadTextFile(recording, text)) {
        problem = recording + " cannot be read";
        return false;
    }
    if (!ReadExchange(text, exchange, problem)) {
        problem = recording + ": " + problem;
        return false;
    }
    return true;
}

// Takes the steps in order. What is sent on an ended connection is lost.
void Play(CScriptedHelper& helper, const HelperSteps& steps, const ScriptedRequest& request) {
    for (const HelperStep& step : steps) {
        switch (step.kind) {
            case HelperStep::Kind::Wait:
                helper.Pause(step.nNumber);
                break;
            case HelperStep::Kind::HangUp:
                helper.HangUp();
                break;
            case HelperStep::Kind::Exit:
                // As a helper that crashes: the work of other threads is not waited for.
                TerminateProcess(GetCurrentProcess(), step.nNumber);
                break;
            default:
                if (const std::string bytes = StepBytes(step, request); !bytes.empty()) {
                    helper.SayBytes(bytes);
                }
        }
    }
}

int Check(const std::filesystem::path& path) {
    HelperScenario scenario;
    Exchange exchange;
    std::string problem;
    if (!Load(path, scenario, exchange, problem)) {
        std::fprintf(stderr, "nexlet-standin: %s\n", problem.c_str());
        return kUnusable;
    }
    std::printf("%s can be played\n", Utf16ToUtf8(path.wstring()).c_str());
    return kDone;
}

int Run(const std::wstring& commandLine) {
    const CStandInFiles files(L"nexlet_standin");
    const std::wstring mark = ReadSwitch(commandLine, kSwitchFrom, kShortSwitchSize).value_or(L"");
    const std::wstring service = ReadSwitch(commandLine, kSwitchServiceId, kShortSwitchSize).value_or(L"");
    if (mark.empty() || service.empty()) {
        return Fail(files, "/from: or /service_id: is missing", kUnusable);
    }
    HelperScenario scenario;
    Exchange exchange;
    std::string problem;
    if (!Load(ScenarioPath(), scenario, exchange, problem)) {
        return Fail(files, problem, kUnusable);
    }
    exchange = MoveExchange(exchange, Utf16ToUtf8(mark), Utf16ToUtf8(service));
    CHelperPlay play(std::move(scenario), std::move(exchange));
    const std::wstring pipe = ServicePipeName(mark, Utf16ToUtf8(service));
    CScriptedHelper helper;
    helper.SetGreeting([&] { Play(helper, play.OnConnect(), ScriptedRequest()); });
    const auto answer = [&](const ScriptedRequest& request) -> std::vector<std::string> {
        files.Record("request " + request.strPayload);
        Play(helper, play.OnRequest(request), request);
        return {};
    };
    if (!helper.Come(pipe, answer, /*notice=*/false)) {
        return Fail(files, "no caller serves the pipe " + Utf16ToUtf8(pipe), kNoPipe);
    }
    helper.WaitForEnd();
    files.Record("end");
    return kDone;
}

}  // namespace

int wmain(int count, wchar_t** values) {
    const std::vector<std::wstring> words(values + 1, values + count);
    if (words.size() == 1 && (words[0] == L"--help" || words[0] == L"-h" || words[0] == L"/?")) {
        std::fputs(kHelp, stdout);
        return kDone;
    }
    if (words.size() == 2 && words[0] == L"--check") {
        return Check(words[1]);
    }
    return Run(GetCommandLineW());
}
