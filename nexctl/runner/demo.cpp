#include "nexctl/console/console_io.h"
#include "nexctl/runner/runner.h"

namespace {

constexpr char kOpen[] =
    R"({"type":"miniApp","appId":"wx0123456789abcdef","appPath":"pages/index/index","taskId":"demo-1","from":"nexctl"})";
constexpr char kPoll[] = R"({"type":"miniApp","taskId":"demo-1","from":"nexctl"})";

Step MakeStep(const Step& like, const char* verb, const char* argument = nullptr) {
    Step step;
    step.verb = FindVerb(verb);
    step.timeoutMs = like.timeoutMs;
    if (argument != nullptr) {
        step.arguments.emplace_back(argument);
    }
    return step;
}

void Say(const std::string& text) {
    WriteText(OutputStream::Output, text + "\n");
}

}  // namespace

ExitCode CRunner::Demo(const Step& step) {
    m_bDemo = true;
    Step poll = MakeStep(step, "poll", kPoll);
    poll.until = std::string("1");
    const struct {
        const char* words;
        Step step;
    } acts[] = {
        {"Serving the pipe and the gate, starting the helper, waiting for its ready notice:", MakeStep(step, "start")},
        {"Opening a mini-program:", MakeStep(step, "open", kOpen)},
        {"Asking how the open has ended until the SDK has answered:", poll},
        {"Asking the helper to exit, which takes it 2 to 12 seconds:", MakeStep(step, "exit")},
    };
    for (const auto& act : acts) {
        Say(act.words);
        const ExitCode code = RunStep(act.step);
        if (code != ExitCode::Ok) {
            Say("The demo stopped here.");
            return code;
        }
    }
    if (m_client.Helper().ended == 0) {
        Say("The helper let the connection go, but its process runs on.");
        return ExitCode::Timeout;
    }
    Say("The demo worked: ready notice, open, result \"1\", exit; the helper ended by itself with exit code 0.");
    return ExitCode::Ok;
}
