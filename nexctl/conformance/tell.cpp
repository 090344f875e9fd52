#include <algorithm>

#include "foundation/json_text.h"
#include "nexctl/conformance/rules.h"

namespace {

std::string Escaped(const std::string& text) {
    std::string html;
    for (const char c : text) {
        html += c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '&' ? "&amp;" : c == '"' ? "&quot;" : std::string(1, c);
    }
    return html;
}

}  // namespace

const char* RuleOutcomeName(RuleOutcome outcome) {
    return outcome == RuleOutcome::Kept ? "kept" : outcome == RuleOutcome::Broken ? "broken" : "left out";
}

std::string RuleLine(const RuleResult& result) {
    std::string line = RuleOutcomeName(result.outcome);
    line.resize(10, ' ');
    line += result.rule->id + ": " + result.rule->text + "\n";
    return result.detail.empty() ? line : line + "          " + result.detail + "\n";
}

std::string RuleJson(const RuleResult& result) {
    Json::Value line(Json::objectValue);
    line["rule"] = result.rule->id;
    line["text"] = result.rule->text;
    line["outcome"] = RuleOutcomeName(result.outcome);
    if (!result.detail.empty()) {
        line["detail"] = result.detail;
    }
    return WriteJson(line) + "\n";
}

std::string RulePage(const std::string& program, const std::vector<RuleResult>& results) {
    const auto broken = std::ranges::count(results, RuleOutcome::Broken, &RuleResult::outcome);
    std::string page =
        "<!doctype html>\n<html lang=\"en\">\n<meta charset=\"utf-8\">\n<title>Conformance</title>\n<style>\n"
        "body{font:14px sans-serif;margin:2em;color-scheme:light dark}td{padding:.2em 1em .2em 0;vertical-align:top}\n"
        ".broken{font-weight:bold;color:#c00}\n</style>\n<h1>" +
        std::to_string(broken) + " of " + std::to_string(results.size()) + " rules broken</h1>\n<p>" +
        Escaped(program) + "</p>\n<table>\n<tr><th>outcome<th>rule<th>what has to happen<th>what came\n";
    for (const RuleResult& result : results) {
        const std::string outcome = RuleOutcomeName(result.outcome);
        page.append("<tr><td class=\"").append(outcome).append("\">").append(outcome);
        for (const std::string& cell : {result.rule->id, result.rule->text, result.detail}) {
            page.append("<td>").append(Escaped(cell));
        }
        page.append("\n");
    }
    return page + "</table>\n</html>\n";
}
