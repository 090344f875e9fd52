#include <gtest/gtest.h>

#include <algorithm>
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
