#include "nexctl/bundle/mask.h"

#include <algorithm>
#include <map>

#include <json/value.h>
#include <log_lines_page.h>

#include "foundation/json_text.h"

namespace {

constexpr std::string_view kPrefix = "[%s(%d)]";

// A line as the sources have it, cut at its values.
struct Pattern {
    std::vector<std::string> literals;  // one more than there are values
    std::vector<char> kinds;            // 's' for a text, 'd' for a number
    std::string text;                   // without the prefix, for the tables below
};

Pattern ReadPattern(std::string_view format) {
    Pattern pattern;
    pattern.text = format;
    std::string literal;
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%' || i + 1 == format.size()) {
            literal += format[i];
        } else if (format[i + 1] == '%') {
            literal += '%';
            ++i;
        } else {
            const std::size_t end = format.find_first_of("sdiuxXpcfgS", i + 1);
            pattern.literals.push_back(literal);
            literal.clear();
            const char kind = end == std::string_view::npos ? 's' : format[end];
            pattern.kinds.push_back(kind == 's' || kind == 'S' || kind == 'c' ? 's' : 'd');
            i = std::min(end, format.size());
        }
    }
    pattern.literals.push_back(literal);
    return pattern;
}

// The lines of each function, from the tables of the page: | `function` | `line` |
const std::multimap<std::string, Pattern, std::less<>>& AllPatterns() {
    static const std::multimap<std::string, Pattern, std::less<>> patterns = [] {
        std::multimap<std::string, Pattern, std::less<>> all;
        for (std::size_t at = 0; at < kLogLinesPage.size();) {
            const std::size_t end = std::min(kLogLinesPage.find('\n', at), kLogLinesPage.size());
            const std::string_view row = kLogLinesPage.substr(at, end - at);
            at = end + 1;
            constexpr std::string_view kHead = "| `";
            constexpr std::string_view kMiddle = "` | `";
            constexpr std::string_view kEnd = "` |";
            const std::size_t middle = row.find(kMiddle);
            if (!row.starts_with(kHead) || middle == std::string_view::npos || !row.ends_with(kEnd)) {
                continue;
            }
            std::string_view format = row.substr(middle + kMiddle.size());
            format.remove_suffix(kEnd.size());
            if (format.starts_with(kPrefix)) {
                format.remove_prefix(kPrefix.size());
            }
            if (format.starts_with(' ')) {
                format.remove_prefix(1);
            }
            all.emplace(row.substr(kHead.size(), middle - kHead.size()), ReadPattern(format));
        }
        return all;
    }();
    return patterns;
}

// The values of a text that has this form; false when it has another.
bool Match(const Pattern& pattern, std::string_view text, std::vector<std::string_view>& values) {
    values.clear();
    if (!text.starts_with(pattern.literals.front())) {
        return false;
    }
    text.remove_prefix(pattern.literals.front().size());
    for (std::size_t i = 0; i < pattern.kinds.size(); ++i) {
        const std::string& next = pattern.literals[i + 1];
        const bool last = i + 1 == pattern.kinds.size();
        const std::size_t end =
            last ? (text.ends_with(next) ? text.size() - next.size() : std::string_view::npos) : text.find(next);
        if (end == std::string_view::npos) {
            return false;
        }
        values.push_back(text.substr(0, end));
        text.remove_prefix(end + next.size());
    }
    return text.empty();
}

// Lines whose texts are names of the product and of its own files: they stay.
constexpr std::string_view kHarmless[] = {
    "enter mark=%s",
    "enter typeBuffer=%s",
    "enter szPath=%s",
    "enter szServiceId=%s",
    "enter m_sdkPath=%s",
    "enter InitMsgWnd m_strServiceId=%s , m_exeWndTitle=%s",
    "m_strServiceId = %s",
    "strPipeName=%s, strEventName=%s",
    "uncaught exception: %s",
    "erase it ,is service id %s, nDelayedTaskCount = %d, bDLLWndExist = %d, bIsDelayedDestroy = %d",
    "FindWindow failed.strExeTitle=%s, Error: %d",
    "Init m_strMark=%s, m_strPipeName=%s, m_strEventName=%s",
    "begin destruct strServiceId = %s ",
    "DelayCheckWndThread strServiceId = %s, interval %d",
    "Failed to get instance parameters for service ID: %s",
    "but %s pipe exist, do not quit process",
    "%s pipe not exist, quit process ",
    "CheckzoltDLLThread end,     = %s",
    "DelayedDestroy strServiceId = %s, nInterval = %d",
    "DelayedDestroyThread end, strServiceId = %s",
    "enter InitWxApi strWxSdk=%s",
    "enter InitYybApi strYybSdk=%s",
    "bLastCall = %s",
};
// Lines without a function begin so. The line with the identity is one of that kind, and is not among them.
constexpr std::string_view kHarmlessHeads[] = {
    "---CheckWxMiniProgramIntalled----", "---IsYybLogined----",  "----OnDownloadStatus----",
    "----InitYybApi strYybSdk",          "----Initialize error", "----IsYybSDKOk strDll",
    "----IsWxSDKOk strDllSdk",
};
// Lines whose text is a message or its content.
constexpr std::string_view kMessages[] = {"ReceiveIPCMessage szMessage=%s", "Type=%d, Message=%s"};
constexpr std::string_view kCommandLine = "zolt strCmd=%s";

// Words of replies, which say how something ended and nothing else.
bool IsResultWord(std::string_view text) {
    constexpr std::string_view kWords[] = {"0",
                                           "1",
                                           "Loading",
                                           "uninstalled",
                                           "ParseAppOpenInfo error",
                                           "not from",
                                           "not type",
                                           "is system screen saver",
                                           "OpenWithWeChat lack param",
                                           "OpenWithWxSDK lack param",
                                           "OpenWidthYybSDK lack param",
                                           "InitWxApi error",
                                           "InitYybApi error",
                                           "install",
                                           "LaunchError",
                                           "miniApp",
                                           "weChat",
                                           "yyb",
                                           ""};
    return std::ranges::find(kWords, text) != std::end(kWords);
}

void MaskValue(Json::Value& value, const std::string& key) {
    if (value.isObject()) {
        for (const std::string& name : value.getMemberNames()) {
            MaskValue(value[name], name);
        }
    } else if (value.isArray()) {
        for (Json::Value& one : value) {
            MaskValue(one, key);
        }
    } else if (value.isString()) {
        Json::Value inner;
        const std::string text = value.asString();
        if (ParseJson(text, inner) && inner.isObject()) {
            MaskValue(inner, key);
            value = WriteJson(inner);
        } else if (!IsResultWord(text)) {
            value = std::string(kMasked);
        }
    } else if (!value.isNull() && key != "message_type" && key != "nexlet_call") {
        value = std::string(kMasked);
    }
}

std::string MaskText(const Pattern& pattern, const std::vector<std::string_view>& values) {
    const bool harmless = std::ranges::find(kHarmless, pattern.text) != std::end(kHarmless);
    const bool message = std::ranges::find(kMessages, pattern.text) != std::end(kMessages);
    std::string text = pattern.literals.front();
    for (std::size_t i = 0; i < values.size(); ++i) {
        const bool kept = pattern.kinds[i] != 's' || harmless;
        text += kept                           ? std::string(values[i])
                : message                      ? MaskJson(values[i])
                : pattern.text == kCommandLine ? MaskCommandLine(values[i])
                : IsResultWord(values[i])      ? std::string(values[i])
                                               : std::string(kMasked);
        text += pattern.literals[i + 1];
    }
    return text;
}

}  // namespace

std::string MaskJson(std::string_view text) {
    Json::Value value;
    if (!ParseJson(text, value) || !value.isObject()) {
        return std::string(kMasked);
    }
    MaskValue(value, "");
    return WriteJson(value);
}

std::string MaskCommandLine(std::string_view text) {
    std::string masked(text);
    for (const std::string_view key : {"/channel:", "/param:"}) {
        for (std::size_t at = masked.find(key); at != std::string::npos; at = masked.find(key, at)) {
            at += key.size();
            const bool quoted = at < masked.size() && masked[at] == '"';
            const std::size_t close = masked.find(quoted ? '"' : ' ', at + (quoted ? 1 : 0));
            const std::size_t end = close == std::string::npos ? masked.size() : close + (quoted ? 1 : 0);
            masked.replace(at, end - at, kMasked);
        }
    }
    return masked;
}

LogLine MaskLine(const LogLine& line) {
    LogLine masked = line;
    if (line.strFunction.empty()) {
        const bool known = line.strText == "start" ||
                           std::ranges::any_of(kHarmlessHeads,
                                               [&](std::string_view head) { return line.strText.starts_with(head); }) ||
                           (line.strText.size() > 2 && line.strText[1] == ':' && line.strText.ends_with(".exe"));
        masked.strText = known ? line.strText : std::string(kMasked);
        return masked;
    }
    std::vector<std::string_view> values;
    const auto [first, last] = AllPatterns().equal_range(line.strFunction);
    for (auto pattern = first; pattern != last; ++pattern) {
        if (Match(pattern->second, line.strText, values)) {
            masked.strText = MaskText(pattern->second, values);
            return masked;
        }
    }
    masked.strText = kMasked;
    return masked;
}

std::vector<LogLine> MaskLog(std::vector<LogLine> lines) {
    for (LogLine& line : lines) {
        line = MaskLine(line);
    }
    return lines;
}

std::string MaskUserNames(std::string_view text) {
    constexpr std::string_view kFolders[] = {"users", "documents and settings", "home"};
    constexpr std::string_view kSlashes = "\\/";
    constexpr std::string_view kNameEnds = "\\/\"<>|:*?\r\n";
    const auto startsWith = [&](std::size_t at, std::string_view folder) {
        for (std::size_t i = 0; i < folder.size(); ++i) {
            const char c = at + i < text.size() ? text[at + i] : '\0';
            if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != folder[i]) {
                return false;
            }
        }
        return true;
    };
    std::string masked;
    std::size_t copied = 0;
    for (std::size_t colon = text.find(':'); colon != std::string_view::npos; colon = text.find(':', colon + 1)) {
        const std::size_t folder = text.find_first_not_of(kSlashes, colon + 1);
        if (folder == std::string_view::npos || folder == colon + 1) {
            continue;
        }
        for (const std::string_view known : kFolders) {
            const std::size_t after = folder + known.size();
            const std::size_t name = text.find_first_not_of(kSlashes, after);
            if (startsWith(folder, known) && name != std::string_view::npos && name > after) {
                const std::size_t end = std::min(text.find_first_of(kNameEnds, name), text.size());
                masked += text.substr(copied, name - copied);
                masked += end > name ? kMasked : "";
                copied = end;
                break;
            }
        }
    }
    return masked.append(text.substr(copied));
}
