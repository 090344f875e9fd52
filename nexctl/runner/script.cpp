#include "nexctl/runner/script.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

#include "foundation/json_text.h"
#include "nexctl/console/console_io.h"
#include "nexctl/console/input_text.h"
#include "nexctl/log/log_choice.h"
#include "tooling/text_file.h"

namespace {

bool ReadNumber(std::string_view text, std::uint32_t& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

// "@FILE" and "-" become the text of the file or of standard input.
bool ReadIn(std::string& argument, std::string& problem) {
    if (argument == "-") {
        if (!ReadStandardInput(argument)) {
            problem = "standard input cannot be read";
            return false;
        }
        return true;
    }
    if (argument.size() < 2 || argument[0] != '@') {
        return true;
    }
    const std::string path = argument.substr(1);
    std::string bytes;
    if (!ReadTextFile(path, bytes)) {
        problem = path + " cannot be read";
        return false;
    }
    argument = DecodeInputText(bytes);
    return true;
}

const std::vector<std::string_view>& KnownOptions() {
    static const std::vector<std::string_view> options = {
        "--exe",           "--mark",   "--service", "--mid",   "--type",  "--channel",  "--channel-id", "--param",
        "--no-start",      "--frames", "--trace",   "--hex",   "--text",  "--summary",  "--help",       "--timeout",
        "--until",         "--every",  "--expect",  "--count", "--file",  "--function", "--out",        "--pid",
        "--run",           "--since",  "--version", "--wait",  "--older", "--larger",   "--yes",        "--dry-run",
        "--with-contents", "--json",   "--world",   "--only",  "--force"};
    return options;
}

constexpr std::pair<std::string_view, bool Script::*> kScriptFlags[] = {
    {"--no-start", &Script::noStart},
    {"--frames", &Script::frames},
    {"--trace", &Script::trace},
    {"--hex", &Script::hex},
};
constexpr std::pair<std::string_view, bool Step::*> kStepFlags[] = {
    {"--text", &Step::text}, {"--summary", &Step::summary}, {"--wait", &Step::wait},
    {"--yes", &Step::yes},   {"--dry-run", &Step::dryRun},  {"--with-contents", &Step::withContents},
    {"--json", &Step::json}, {"--force", &Step::force},
};
constexpr std::pair<std::string_view, std::string Step::*> kStepTexts[] = {
    {"--until", &Step::until}, {"--file", &Step::file},   {"--function", &Step::function},
    {"--out", &Step::out},     {"--world", &Step::world}, {"--only", &Step::only},
};

std::string MeantWords(std::string_view text, const std::vector<std::string_view>& names) {
    const std::string meant = DidYouMean(text, names);
    return meant.empty() ? meant : "; did you mean \"" + meant + "\"?";
}

// How many letters have to be put in, taken out, changed or swapped with the next to make one text the other.
std::size_t Slips(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> slips(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                slips[i][j] = i + j;
                continue;
            }
            slips[i][j] = std::min(
                {slips[i - 1][j] + 1, slips[i][j - 1] + 1, slips[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                slips[i][j] = std::min(slips[i][j], slips[i - 2][j - 2] + 1);
            }
        }
    }
    return slips[a.size()][b.size()];
}

// Walks the arguments once; each Take... leaves problem set when it fails.
class CScriptReader {
  public:
    CScriptReader(const std::vector<std::string>& arguments, Script& script, std::string& problem)
        : m_arguments(arguments), m_script(script), m_problem(problem) {}

    bool Read() {
        while (m_nAt < m_arguments.size()) {
            const std::string& token = m_arguments[m_nAt++];
            if (!(token.starts_with("--") ? TakeOption(token) : TakeVerb(token))) {
                return false;
            }
        }
        if (m_script.steps.empty()) {
            m_problem = "no verb";
            return false;
        }
        return true;
    }

  private:
    bool Fail(std::string problem) {
        m_problem = std::move(problem);
        return false;
    }

    // The verb that an option belongs to; null, with the problem told, before the first.
    Step* LastStep(const std::string& option) {
        if (m_script.steps.empty()) {
            Fail(option + " must follow a verb");
            return nullptr;
        }
        return &m_script.steps.back();
    }

    bool TakeVerb(const std::string& name) {
        Step step;
        step.verb = FindVerb(name);
        if (step.verb == nullptr) {
            std::vector<std::string_view> names;
            for (const VerbInfo& verb : AllVerbs()) {
                names.emplace_back(verb.name);
            }
            return Fail("unknown verb \"" + name + "\"" + MeantWords(name, names));
        }
        for (std::size_t i = 0; i < step.verb->count; ++i) {
            std::string argument;
            // A lone "-" is standard input; a longer word with two dashes is an option, not an argument.
            if (m_nAt >= m_arguments.size() || m_arguments[m_nAt].starts_with("--")) {
                return Fail(name + " needs " + step.verb->arguments);
            }
            argument = m_arguments[m_nAt++];
            if (std::string_view(step.verb->arguments) == "FILE") {
                argument.insert(0, "@");
            }
            if (!ReadIn(argument, m_problem)) {
                return false;
            }
            step.arguments.push_back(std::move(argument));
        }
        m_script.steps.push_back(std::move(step));
        return CheckArguments(m_script.steps.back());
    }

    bool CheckArguments(const Step& step) {
        const std::string_view arguments = step.verb->arguments;
        std::uint32_t type = 0;
        if (arguments.starts_with("TYPE ") &&
            (!ReadNumber(step.arguments[0], type) || type > std::numeric_limits<std::int32_t>::max())) {
            return Fail("\"" + step.arguments[0] + "\" is not a message type");
        }
        if (std::string_view(step.verb->name) == "log") {
            for (const char* what : {"on", "off", "status", "show", "follow", "page", "prune"}) {
                if (step.arguments[0] == what) {
                    return true;
                }
            }
            return Fail("log needs on, off, status, show, follow, page or prune, not \"" + step.arguments[0] + "\"");
        }
        const bool commandLine = std::string_view(step.verb->name) == "host" && type == 1;
        const bool json = arguments.ends_with("JSON") || (arguments.ends_with("BODY") && !commandLine);
        Json::Value value;
        if (json && !ParseJson(step.arguments.back(), value)) {
            return Fail("not JSON: " + step.arguments.back());
        }
        return true;
    }

    bool TakeOption(const std::string& name) {
        for (const auto& [flag, member] : kScriptFlags) {
            if (name == flag) {
                m_script.*member = true;
                return true;
            }
        }
        for (const auto& [flag, member] : kStepFlags) {
            if (name == flag) {
                Step* const step = LastStep(name);
                if (step != nullptr) {
                    step->*member = true;
                }
                return step != nullptr;
            }
        }
        if (name == "--help") {
            Step step;
            step.verb = FindVerb("help");
            m_script.steps.push_back(step);
            return true;
        }
        if (m_nAt >= m_arguments.size()) {
            return Fail(name + " needs a value");
        }
        std::string value = m_arguments[m_nAt++];
        if (std::string* text = TextOption(name)) {
            *text = value;
            m_script.markGiven = m_script.markGiven || name == "--mark";
            m_script.serviceGiven = m_script.serviceGiven || name == "--service";
            return true;
        }
        if (name == "--channel" || name == "--param") {
            Json::Value unused;
            if (!ReadIn(value, m_problem)) {
                return false;
            }
            if (!ParseJson(value, unused)) {
                return Fail(name + " is not JSON: " + value);
            }
            if (name == "--param") {
                m_script.param = value;
            } else {
                m_script.channel = value;
            }
            return true;
        }
        for (const auto& [option, member] : kStepTexts) {
            if (name == option) {
                Step* const step = LastStep(name);
                if (step != nullptr) {
                    step->*member = value;
                }
                return step != nullptr;
            }
        }
        if (name == "--since" || name == "--older") {
            const auto span = ReadSpan(value);
            if (!span) {
                return Fail(name + " needs a span such as 90s, 15m, 2h or 7d, not \"" + value + "\"");
            }
            Step* const step = LastStep(name);
            if (step != nullptr) {
                (name == "--since" ? step->sinceMs : step->olderMs) = *span;
            }
            return step != nullptr;
        }
        if (name == "--larger") {
            const auto size = ReadSize(value);
            if (!size) {
                return Fail("--larger needs a size such as 200KB, 50MB or 1GB, not \"" + value + "\"");
            }
            Step* const step = LastStep(name);
            if (step != nullptr) {
                step->largerBytes = *size;
            }
            return step != nullptr;
        }
        return TakeNumber(name, value);
    }

    std::string* TextOption(const std::string& name) {
        return name == "--exe"       ? &m_script.exe
               : name == "--mark"    ? &m_script.mark
               : name == "--service" ? &m_script.service
               : name == "--mid"     ? &m_script.mid
               : name == "--type"    ? &m_script.type
                                     : nullptr;
    }

    bool TakeNumber(const std::string& name, const std::string& value) {
        const bool known = name == "--timeout" || name == "--every" || name == "--expect" || name == "--count" ||
                           name == "--channel-id" || name == "--pid" || name == "--run";
        if (!known) {
            return Fail("unknown option \"" + name + "\"" + MeantWords(name, KnownOptions()));
        }
        std::uint32_t number = 0;
        if (!ReadNumber(value, number)) {
            return Fail(name + " needs a number, not \"" + value + "\"");
        }
        if (name == "--channel-id") {
            m_script.channelId = number;
            return true;
        }
        if (m_script.steps.empty()) {
            if (name == "--timeout") {
                m_script.timeoutMs = number;
                return true;
            }
            return Fail(name + " must follow a verb");
        }
        Step& step = m_script.steps.back();
        if (name == "--timeout") {
            step.timeoutMs = number;
        } else if (name == "--every") {
            step.everyMs = number;
        } else if (name == "--count") {
            step.count = number;
        } else if (name == "--pid") {
            step.pids.push_back(number);
        } else if (name == "--run") {
            step.run = number;
        } else {
            step.expect = static_cast<int>(number);
        }
        return true;
    }

    const std::vector<std::string>& m_arguments;
    Script& m_script;
    std::string& m_problem;
    std::size_t m_nAt = 0;
};

}  // namespace

std::string DidYouMean(std::string_view text, const std::vector<std::string_view>& names) {
    constexpr std::size_t kMostSlips = 2;
    std::string_view best;
    std::size_t fewest = kMostSlips + 1;
    for (const std::string_view name : names) {
        // Of a short word two letters are most of it.
        const std::size_t slips = Slips(text, name);
        if (slips < fewest && slips * 2 < name.size()) {
            best = name;
            fewest = slips;
        }
    }
    return std::string(best);
}

bool ParseScript(const std::vector<std::string>& arguments, Script& script, std::string& problem) {
    return CScriptReader(arguments, script, problem).Read();
}
