#include "world/internet/told_answers.h"

#include <algorithm>
#include <optional>

#include "world/common/script_lines.h"

namespace {

constexpr std::string_view kAnswer = "answer";
// As long as a day: a number that is longer is a slip.
constexpr std::uint32_t kMostDelayMs = 86'400'000;

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
    return lower;
}

bool Fits(std::string_view pattern, std::string_view path) {
    if (pattern.find('?') == std::string_view::npos) {
        path = path.substr(0, path.find('?'));
    }
    if (pattern.ends_with('*')) {
        return path.starts_with(pattern.substr(0, pattern.size() - 1));
    }
    return path == pattern;
}

std::string ReadDelay(std::string_view& rest, ToldAnswer& answer) {
    if (!rest.starts_with("after ")) {
        return {};
    }
    TakeWord(rest);
    const std::string_view word = TakeWord(rest);
    const std::optional<std::uint32_t> delay = WholeNumber(word);
    answer.nDelayMs = delay.value_or(0);
    return delay && *delay <= kMostDelayMs ? std::string()
                                           : "this is not a number of milliseconds: " + std::string(word);
}

std::string ReadBody(std::string_view rest, ToldAnswer& answer) {
    const std::string_view word = TakeWord(rest);
    if (word == "text") {
        answer.strBody = rest;
        return {};
    }
    if (word == "file") {
        return TakePath(rest, answer.strFile) && rest.empty() ? std::string()
                                                              : "\"file\" needs a file below the directory";
    }
    return word.empty() ? std::string() : "a body is \"text\" or \"file\", not \"" + std::string(word) + "\"";
}

}  // namespace

std::string ReadAnswer(std::string_view rest, ToldAnswer& answer) {
    answer = {};
    answer.strHost = Lower(TakeWord(rest));
    answer.strPath = TakeWord(rest);
    const std::optional<std::uint32_t> status = WholeNumber(TakeWord(rest));
    if (answer.strHost.empty() || !(answer.strPath.starts_with('/') || answer.strPath == "*") || !status ||
        *status < 200 || *status > 599) {
        return "\"answer\" needs a host or \"*\", a path, and a status from 200 to 599";
    }
    answer.nStatus = *status;
    const std::string wrong = ReadDelay(rest, answer);
    return wrong.empty() ? ReadBody(rest, answer) : wrong;
}

std::vector<ToldAnswer> ReadAnswers(std::string_view text) {
    std::vector<ToldAnswer> answers;
    for (const ScriptLine& line : ReadScriptLines(text)) {
        std::string_view rest = line.strText;
        ToldAnswer answer;
        if (TakeWord(rest) == kAnswer && ReadAnswer(rest, answer).empty()) {
            answers.push_back(std::move(answer));
        }
    }
    return answers;
}

const ToldAnswer* AnswerFor(const std::vector<ToldAnswer>& answers, std::string_view host, std::string_view path) {
    const std::string lower = Lower(host);
    const auto found = std::ranges::find_if(answers, [&](const ToldAnswer& answer) {
        return (answer.strHost == "*" || answer.strHost == lower) && Fits(answer.strPath, path);
    });
    return found == answers.end() ? nullptr : &*found;
}
