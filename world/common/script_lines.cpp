#include "world/common/script_lines.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr std::string_view kBlanks = " \t\r";

std::string_view Trimmed(std::string_view text) {
    const std::size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
    text.remove_prefix(begin);
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

}  // namespace

std::vector<ScriptLine> ReadScriptLines(std::string_view text) {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    if (text.starts_with(kMark)) {
        text.remove_prefix(kMark.size());
    }
    std::vector<ScriptLine> lines;
    std::size_t number = 0;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string_view line = Trimmed(text.substr(at, end - at));
        at = end + 1;
        ++number;
        if (!line.empty() && line.front() != '#') {
            lines.push_back({number, std::string(line)});
        }
    }
    return lines;
}

std::string_view TakeWord(std::string_view& text) {
    const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
    text = Trimmed(text.substr(word.size()));
    return word;
}

bool TakeName(std::string_view& text, std::string& name) {
    if (!text.starts_with('"')) {
        name = TakeWord(text);
        return !name.empty();
    }
    const std::size_t end = text.find('"', 1);
    if (end == std::string_view::npos) {
        return false;
    }
    name = text.substr(1, end - 1);
    text.remove_prefix(end + 1);
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    return true;
}

bool TakePath(std::string_view& text, std::string& path) {
    if (!TakeName(text, path)) {
        return false;
    }
    std::ranges::replace(path, '/', '\\');
    if (path.empty() || path.front() == '\\' || path.find_first_of(":\"*?<>|") != std::string::npos) {
        return false;
    }
    for (std::string_view left = path; !left.empty();) {
        const std::size_t end = std::min(left.find('\\'), left.size());
        const std::string_view part = left.substr(0, end);
        // Windows takes dots and blanks off the end of a name, so "..." climbs as well.
        if (part.empty() || part.back() == '.' || part.back() == ' ') {
            return false;
        }
        left.remove_prefix(std::min(end + 1, left.size()));
    }
    return path.back() != '\\';
}

std::optional<std::uint32_t> WholeNumber(std::string_view text) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

std::string LineProblem(const ScriptLine& line, std::string_view wrong) {
    return "line " + std::to_string(line.nNumber) + ": " + std::string(wrong);
}
