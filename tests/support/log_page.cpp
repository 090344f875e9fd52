#include "tests/support/log_page.h"

#include <fstream>
#include <optional>
#include <stdexcept>
#include <vector>

namespace {

constexpr std::string_view kOrigin = "[%s(%d)]";
// Longer lines are cut when they are written.
constexpr std::size_t kLongest = 8000;

struct KnownLine {
    std::string strOperation;
    std::vector<std::string> vecPieces;  // the text between the values
};

struct Parts {
    std::string_view operation;
    std::string_view text;  // with its blank
};

std::optional<Parts> Split(std::string_view line) {
    const std::size_t end = line.find(")]");
    const std::size_t number = line.substr(0, end).rfind('(');
    if (!line.starts_with('[') || end == std::string_view::npos || number == std::string_view::npos) {
        return std::nullopt;
    }
    return Parts{line.substr(1, number - 1), line.substr(end + 2)};
}

// Cuts a format at its conversions.
std::vector<std::string> PiecesOf(std::string_view format) {
    std::vector<std::string> pieces(1);
    for (std::size_t at = 0; at < format.size(); ++at) {
        if (format[at] != '%') {
            pieces.back() += format[at];
        } else if (format.substr(at).starts_with("%%")) {
            pieces.back() += '%';
            ++at;
        } else {
            at = format.find_first_of("dsfXu", at);
            pieces.emplace_back();
        }
    }
    return pieces;
}

// The code between the at-th pair of backquotes of a row.
std::string_view CodeOf(std::string_view row, int index) {
    for (;; --index) {
        const std::size_t begin = row.find('`');
        const std::size_t end = begin != std::string_view::npos ? row.find('`', begin + 1) : begin;
        if (end == std::string_view::npos) {
            return {};
        }
        if (index == 0) {
            return row.substr(begin + 1, end - begin - 1);
        }
        row.remove_prefix(end + 1);
    }
}

std::vector<KnownLine> ReadPage() {
    std::ifstream page(NEXLET_LOG_PAGE);
    std::vector<KnownLine> lines;
    for (std::string row; std::getline(page, row);) {
        const std::string_view format = CodeOf(row, 1);
        if (row.starts_with("| `") && format.starts_with(kOrigin)) {
            lines.push_back({std::string(CodeOf(row, 0)), PiecesOf(format.substr(kOrigin.size()))});
        }
    }
    if (lines.empty()) {
        throw std::runtime_error("cannot read " NEXLET_LOG_PAGE);
    }
    return lines;
}

bool Matches(const std::vector<std::string>& pieces, std::string_view text) {
    if (!text.starts_with(pieces.front())) {
        return false;
    }
    if (pieces.size() == 1) {
        return text == pieces.front();
    }
    text.remove_prefix(pieces.front().size());
    for (std::size_t i = 1; i + 1 < pieces.size(); ++i) {
        const std::size_t found = text.find(pieces[i]);
        if (found == std::string_view::npos) {
            return false;
        }
        text.remove_prefix(found + pieces[i].size());
    }
    return text.ends_with(pieces.back());
}

}  // namespace

std::string LogLineFault(std::string_view line) {
    static const std::vector<KnownLine> page = ReadPage();
    const auto parts = Split(line);
    if (!parts || line.size() > kLongest) {
        return {};
    }
    bool nameIsKnown = false;
    bool textIsKnown = false;
    for (const KnownLine& known : page) {
        const bool sameName = known.strOperation == parts->operation;
        const bool sameText = Matches(known.vecPieces, parts->text);
        if (sameName && sameText) {
            return {};
        }
        nameIsKnown = nameIsKnown || sameName;
        textIsKnown = textIsKnown || sameText;
    }
    if (!nameIsKnown && !textIsKnown) {
        return {};
    }
    return std::string(nameIsKnown ? "not a line of this operation: " : "not the operation of this line: ") +
           std::string(line);
}

bool IsLogLine(std::string_view line, std::string_view text) {
    const auto parts = Split(line);
    if (!parts) {
        return line == text;
    }
    return text.starts_with(']') ? parts->text == text.substr(1)
                                 : parts->text.starts_with(' ') && parts->text.substr(1) == text;
}
