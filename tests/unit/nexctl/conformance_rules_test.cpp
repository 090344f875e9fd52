#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>

#include "foundation/json_text.h"
#include "nexctl/conformance/rules.h"
#include "tooling/exchange.h"

namespace {

bool Has(const std::string& id) {
    return std::ranges::find(AllRules(), id, &Rule::id) != AllRules().end();
}

TEST(ConformanceRules, EachHasANameOfItsOwn) {
    std::set<std::string> ids;
    for (const Rule& rule : AllRules()) {
        EXPECT_TRUE(ids.insert(rule.id).second) << rule.id;
        EXPECT_NE(rule.text, "");
    }
    EXPECT_GT(ids.size(), 60u);
}

TEST(ConformanceRules, EveryRequestTypeIsAskedWithNullAndThoseWithAReplyAreAnswered) {
    for (int type = 2; type <= 9; ++type) {
        EXPECT_TRUE(Has("silence.null." + std::to_string(type))) << type;
    }
    for (int reply = 13; reply <= 17; ++reply) {
        const std::string word = R"("message_type":)" + std::to_string(reply);
        EXPECT_TRUE(std::ranges::any_of(AllRules(), [&](const Rule& rule) {
            return rule.reply.find(word) != std::string::npos;
        })) << reply;
    }
}

TEST(ConformanceRules, RepliesAreEnvelopesAndExchangesCanBeRead) {
    for (const Rule& rule : AllRules()) {
        SCOPED_TRACE(rule.id);
        Json::Value value;
        EXPECT_TRUE(rule.reply.empty() || ParseJson(rule.reply, value));
        if (rule.kind == RuleKind::Exchange) {
            Exchange exchange;
            std::string problem;
            EXPECT_TRUE(ReadExchange(rule.sent, exchange, problem)) << problem;
            EXPECT_GT(exchange.frames.size(), 2u);
        }
    }
}

// The cells of the first column of the table below a heading of docs/protocol.md.
std::vector<std::string> FirstCells(const std::string& heading) {
    std::ifstream page(NEXLET_DOCS "/protocol.md");
    std::vector<std::string> cells;
    bool inside = false;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("## ")) {
            inside = line == "## " + heading;
        } else if (inside && line.starts_with("| ")) {
            cells.push_back(line.substr(2, line.find(" |", 2) - 2));
        }
    }
    EXPECT_GT(cells.size(), 4u) << heading;
    // The head of the table.
    cells.erase(cells.begin());
    return cells;
}

std::vector<Exchange> AllExchanges() {
    std::vector<Exchange> exchanges;
    for (const Rule& rule : AllRules()) {
        std::string problem;
        if (rule.kind == RuleKind::Exchange) {
            EXPECT_TRUE(ReadExchange(rule.sent, exchanges.emplace_back(), problem)) << problem;
        }
    }
    return exchanges;
}

// The exchanges hold what the page of the protocol tells.
TEST(ConformanceRules, EveryMessageTypeOfTheProtocolIsInAnExchange) {
    std::set<std::string> types;
    for (const Exchange& exchange : AllExchanges()) {
        for (const ExchangeFrame& frame : exchange.frames) {
            Json::Value message;
            if (ParseJson(frame.payload, message) && message.isObject() && message["content"].isObject()) {
                types.insert(message["message_type"].asString());
            }
        }
    }
    int told = 0;
    for (const std::string& type : FirstCells("Messages on the caller's pipe")) {
        // Other tables of the section have keys.
        if (type.find_first_not_of("0123456789") == std::string::npos) {
            EXPECT_TRUE(types.contains(type)) << type;
            ++told;
        }
    }
    EXPECT_EQ(told, 9);
    for (const char* reply : {"13", "14", "15", "16", "17"}) {
        EXPECT_TRUE(types.contains(reply)) << reply;
    }
}

TEST(ConformanceRules, EveryResultWordOfTheProtocolIsInAnExchange) {
    std::set<std::string> words;
    for (const Exchange& exchange : AllExchanges()) {
        for (const ExchangeFrame& frame : exchange.frames) {
            Json::Value message;
            if (frame.direction == FrameDirection::Received && ParseJson(frame.payload, message)) {
                words.insert(message["content"]["result"].asString());
            }
        }
    }
    int told = 0;
    for (const std::string& cell : FirstCells("Result words")) {
        // `one`, `two`; a word that begins with dots is one that begins like the word before it.
        std::string before;
        for (std::size_t at = cell.find('`'); at != std::string::npos; at = cell.find('`', at + 1)) {
            const std::size_t end = cell.find('`', at + 1);
            std::string word = cell.substr(at + 1, end - at - 1);
            if (word.starts_with("... ")) {
                const std::string kind = word.substr(4, word.find(' ', 4) - 4);
                word = before.substr(0, before.find("weChat")) + kind + before.substr(before.find("weChat") + 6);
            } else {
                before = word;
            }
            EXPECT_TRUE(words.contains(word)) << word;
            ++told;
            at = end;
        }
    }
    EXPECT_GE(told, 18);
}

TEST(ConformanceRules, EveryRefusalOfTheProtocolIsARuleAndEveryRuleIsInTheExchangeOfRefusals) {
    const std::map<std::string, std::vector<std::string>> kRulesOf = {
        {"empty", {"silence.empty", "host.silence.empty"}},
        {"not JSON, or nested too deep", {"silence.no-json", "silence.deep", "host.silence.no-json"}},
        {"JSON, but not an object", {"silence.array", "host.silence.array"}},
        {"no `message_type`, or not an integer", {"silence.no-type", "silence.type-real", "host.silence.type-text"}},
        {"no `content`, or neither object nor null (types other than 1)",
         {"silence.no-content", "silence.content-text", "host.silence.no-content"}},
        {"a type that is not a request", {"silence.type.99", "silence.command-line", "host.silence.type.77"}},
        {"`content` null", {"silence.null.2", "silence.null.9", "host.silence.null.2", "host.silence.null.9"}},
        {"type 5 without `p1`", {"silence.encrypt.no-p1", "host.silence.encrypt.no-p1"}},
        {"type 7 with no text under `p1`, type 8 without `p1`",
         {"silence.poll.no-p1", "silence.poll.p1-object", "silence.watch.no-p1", "host.silence.poll.p1-object",
          "host.silence.watch.no-p1"}},
        {"type 6 without `service_id` or `p1`, or of a wrong type",
         {"silence.open.no-service", "silence.open.no-p1", "silence.open.service-number", "silence.open.p1-text",
          "host.silence.open.p1-text"}},
        {"type 9 without `service_id`, or for a service that does not exist",
         {"silence.exit.no-service", "silence.exit.nobody", "host.silence.no-service.9", "host.silence.exit.nobody"}},
        {"a reply that nobody can receive", {"host.silence.reply-to-nobody"}},
    };
    for (const std::string& refusal : FirstCells("Refusals")) {
        const auto rules = kRulesOf.find(refusal);
        // The first table of the section; the one of the host's pipe has a heading of its own.
        ASSERT_TRUE(refusal == "---" || rules != kRulesOf.end()) << refusal;
        for (const std::string& id : rules == kRulesOf.end() ? std::vector<std::string>() : rules->second) {
            EXPECT_TRUE(Has(id)) << id;
        }
    }
    std::set<std::string> sent;
    for (const Exchange& exchange : AllExchanges()) {
        for (const ExchangeFrame& frame : MoveExchange(exchange, "m", "{service}").frames) {
            sent.insert(frame.payload);
        }
    }
    for (const Rule& rule : AllRules()) {
        // The watch is a request without a reply and no refusal.
        if (rule.kind == RuleKind::Silence && rule.id != "silence.watch") {
            EXPECT_TRUE(sent.contains(rule.sent)) << rule.id;
        }
    }
}

TEST(ConformanceRules, ResultIsToldAsALineAsJsonAndOnAPage) {
    Rule rule;
    rule.id = "x.y";
    rule.text = "a < b";
    const RuleResult kept{&rule, RuleOutcome::Kept, ""};
    const RuleResult broken{&rule, RuleOutcome::Broken, "\"c\" & d"};
    EXPECT_EQ(RuleLine(kept), "kept      x.y: a < b\n");
    EXPECT_EQ(RuleLine(broken), "broken    x.y: a < b\n          \"c\" & d\n");
    EXPECT_EQ(RuleJson(kept), R"({"outcome":"kept","rule":"x.y","text":"a < b"})"
                              "\n");
    const std::string page = RulePage("C:\\p.exe", {kept, broken});
    EXPECT_NE(page.find("<h1>1 of 2 rules broken</h1>"), std::string::npos) << page;
    EXPECT_NE(page.find("<td>a &lt; b<td>&quot;c&quot; &amp; d"), std::string::npos) << page;
}

}  // namespace
