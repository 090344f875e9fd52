#include "nexctl/log/log_lines.h"

#include <algorithm>
#include <optional>

#include "nexctl/console/utf16_bytes.h"

namespace {

constexpr std::int64_t kDayMs = 24ll * 60 * 60 * 1000;
// Lines of two threads may change places; a step back that is longer is midnight.
constexpr std::int64_t kDisorderMs = 12ll * 60 * 60 * 1000;

// Takes a number of up to three digits off the front.
std::optional<int> TakeNumber(std::string_view& text) {
    std::size_t length = 0;
    int value = 0;
    while (length < text.size() && length < 3 && text[length] >= '0' && text[length] <= '9') {
        value = value * 10 + (text[length] - '0');
        ++length;
    }
    if (length == 0) {
        return std::nullopt;
    }
    text.remove_prefix(length);
    return value;
}

// Takes "hour:minute:second:millisecond" and a tab off the front.
std::optional<std::int64_t> TakeTime(std::string_view& text) {
    constexpr int kLimits[] = {24, 60, 61, 1000};
    constexpr char kEnds[] = {':', ':', ':', '\t'};
    constexpr std::int64_t kFactors[] = {3600000, 60000, 1000, 1};
    std::string_view rest = text;
    std::int64_t time = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const auto number = TakeNumber(rest);
        if (!number || *number >= kLimits[i] || !rest.starts_with(kEnds[i])) {
            return std::nullopt;
        }
        rest.remove_prefix(1);
        time += *number * kFactors[i];
    }
    text = rest;
    return time;
}

// "[Function(12)] text", also without the blank; other texts stay as they are.
void SplitOrigin(std::string_view text, LogLine& line) {
    const std::size_t close = text.find(")]");
    const std::size_t open = close == std::string_view::npos ? close : text.rfind('(', close);
    if (!text.starts_with('[') || open == std::string_view::npos || open < 2 || close - open < 2 || close - open > 9) {
        line.strText = text;
        return;
    }
    int number = 0;
    for (const char c : text.substr(open + 1, close - open - 1)) {
        if (c < '0' || c > '9') {
            line.strText = text;
            return;
        }
        number = number * 10 + (c - '0');
    }
    line.strFunction = text.substr(1, open - 1);
    line.nSourceLine = number;
    std::string_view rest = text.substr(close + 2);
    if (rest.starts_with(' ')) {
        rest.remove_prefix(1);
    }
    line.strText = rest;
}

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::vector<LogLine> ReadLog(std::string_view bytes) {
    const std::string text = DecodeUtf16(bytes);
    std::vector<LogLine> lines;
    std::int64_t days = 0;
    std::int64_t last = 0;
    int run = -1;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        std::string_view one(text.data() + at, end - at);
        at = end + 1;
        if (one.ends_with('\r')) {
            one.remove_suffix(1);
        }
        const auto time = TakeTime(one);
        if (!time) {
            if (!lines.empty()) {
                lines.back().strText += '\n';
                lines.back().strText += one;
            }
            continue;
        }
        if (!lines.empty() && *time + days + kDisorderMs < last) {
            days += kDayMs;
        }
        LogLine line;
        line.nTimeMs = *time + days;
        last = line.nTimeMs;
        SplitOrigin(one, line);
        if (line.strFunction.empty() && line.strText == "start") {
            ++run;
        }
        line.nRun = std::max(run, 0);
        lines.push_back(std::move(line));
    }
    return lines;
}

std::string TimeOfDay(std::int64_t nTimeMs) {
    const std::int64_t time = nTimeMs % kDayMs;
    return std::to_string(time / 3600000) + ":" + std::to_string(time / 60000 % 60) + ":" +
           std::to_string(time / 1000 % 60) + ":" + std::to_string(time % 1000);
}

bool FunctionContains(const LogLine& line, std::string_view text) {
    return std::search(line.strFunction.begin(), line.strFunction.end(), text.begin(), text.end(),
                       [](char a, char b) { return Lower(a) == Lower(b); }) != line.strFunction.end() ||
           text.empty();
}

std::string LogLineText(const LogLine& line) {
    std::string text = TimeOfDay(line.nTimeMs) + "\t";
    if (!line.strFunction.empty()) {
        text += "[" + line.strFunction + "(" + std::to_string(line.nSourceLine) + ")] ";
    }
    return text + line.strText;
}

bool IsRefusal(const LogLine& line) {
    constexpr std::string_view kRefusals[] = {
        "nlength is 0",       "parse error",           "jvRoot is error", "jvRoot not message_type",
        "jvRoot not content", "receive extension msg", "not contain p1",  "service ipc not init",
        "InvokeFunc failed"};
    return std::find(std::begin(kRefusals), std::end(kRefusals), line.strText) != std::end(kRefusals);
}
