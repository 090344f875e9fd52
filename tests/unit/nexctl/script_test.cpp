#include "nexctl/runner/script.h"

#include <gtest/gtest.h>

#include "tooling/frame_text.h"

namespace {

Script Parsed(const std::vector<std::string>& arguments) {
    Script script;
    std::string problem;
    EXPECT_TRUE(ParseScript(arguments, script, problem)) << problem;
    return script;
}

std::string ProblemOf(const std::vector<std::string>& arguments) {
    Script script;
    std::string problem;
    EXPECT_FALSE(ParseScript(arguments, script, problem));
    return problem;
}

TEST(Script, TakesVerbsInOrderWithTheirOwnOptions) {
    const Script script = Parsed({"start", "--mark", "m", "open", "{}", "poll", R"({"a":1})", "--until", "1", "--every",
                                  "20", "--timeout", "7", "exit", "--service", "s"});
    ASSERT_EQ(script.steps.size(), 4u);
    EXPECT_EQ(script.mark, "m");
    EXPECT_EQ(script.service, "s");
    EXPECT_STREQ(script.steps[2].verb->name, "poll");
    EXPECT_EQ(script.steps[2].arguments, std::vector<std::string>{R"({"a":1})"});
    EXPECT_EQ(script.steps[2].until, "1");
    EXPECT_EQ(script.steps[2].everyMs, 20u);
    EXPECT_EQ(script.steps[2].timeoutMs, 7u);
    EXPECT_FALSE(script.steps[3].timeoutMs.has_value());
}

TEST(Script, TimeoutBeforeTheFirstVerbHoldsForAll) {
    const Script script = Parsed({"--timeout", "5", "status"});
    EXPECT_EQ(script.timeoutMs, 5u);
    EXPECT_FALSE(script.steps[0].timeoutMs.has_value());
}

TEST(Script, RefusesWhatItCannotUseAndSaysWhy) {
    EXPECT_EQ(ProblemOf({}), "no verb");
    EXPECT_EQ(ProblemOf({"opne"}), "unknown verb \"opne\"; did you mean \"open\"?");
    EXPECT_EQ(ProblemOf({"open"}), "open needs JSON");
    EXPECT_EQ(ProblemOf({"open", "--frames"}), "open needs JSON");
    EXPECT_EQ(ProblemOf({"open", "{"}), "not JSON: {");
    EXPECT_EQ(ProblemOf({"send", "x", "{}"}), "\"x\" is not a message type");
    EXPECT_EQ(ProblemOf({"send", "4294967295", "{}"}), "\"4294967295\" is not a message type");
    EXPECT_EQ(ProblemOf({"status", "--bogus", "1"}), "unknown option \"--bogus\"");
    EXPECT_EQ(ProblemOf({"status", "--timeout"}), "--timeout needs a value");
    EXPECT_EQ(ProblemOf({"status", "--timeout", "1s"}), "--timeout needs a number, not \"1s\"");
    EXPECT_EQ(ProblemOf({"--until", "1", "status"}), "--until must follow a verb");
    EXPECT_EQ(ProblemOf({"--count", "1", "listen"}), "--count must follow a verb");
    EXPECT_EQ(ProblemOf({"status", "--channel", "x"}), "--channel is not JSON: x");
    EXPECT_EQ(ProblemOf({"open", "@C:\\no such file"}), "C:\\no such file cannot be read");
}

TEST(Script, NameWithASlipIsGuessed) {
    const std::vector<std::string_view> names = {"open", "poll", "status", "status-encrypted", "--timeout"};
    EXPECT_EQ(DidYouMean("stauts", names), "status");
    EXPECT_EQ(DidYouMean("opn", names), "open");
    EXPECT_EQ(DidYouMean("--timout", names), "--timeout");
    EXPECT_EQ(DidYouMean("xyz", names), "");
    EXPECT_EQ(DidYouMean("", names), "");
    EXPECT_EQ(ProblemOf({"log", "show", "--since", "5"}), "--since needs a span such as 90s, 15m, 2h or 7d, not \"5\"");
}

TEST(Script, HostTakesACommandLineForTypeOneAndJsonForTheOthers) {
    EXPECT_EQ(Parsed({"host", "1", "/from:x /service_id:y"}).steps[0].arguments[1], "/from:x /service_id:y");
    EXPECT_EQ(ProblemOf({"host", "2", "/from:x"}), "not JSON: /from:x");
}

TEST(Script, EveryVerbHasAHelpPageThatShowsItsUse) {
    for (const VerbInfo& verb : AllVerbs()) {
        EXPECT_NE(HelpText(&verb).find(std::string("usage: nexctl ") + verb.name), std::string::npos);
        EXPECT_NE(HelpText(nullptr).find(std::string("\n  ") + verb.name + " "), std::string::npos) << verb.name;
    }
    for (const char* quoted : {R"('{"a":1}')", R"("{\"a\":1}")", R"('{\"a\":1}')", "'@FILE'"}) {
        EXPECT_NE(HelpText(nullptr).find(quoted), std::string::npos) << quoted;
    }
    for (const char* code : {"  0  ", "  1  ", "  2  ", "  3  ", "  4  ", "  5  "}) {
        EXPECT_NE(HelpText(nullptr).find(code), std::string::npos) << code;
    }
}

TEST(FrameText, HexGoesThereAndBack) {
    std::string bytes;
    ASSERT_TRUE(ParseHex("00 02\n0000 01 00 00 00 31", bytes));
    EXPECT_EQ(bytes, std::string("\0\2\0\0\1\0\0\0\x31", 9));
    EXPECT_EQ(HexText(bytes), "00 02 00 00 01 00 00 00 31");
    std::vector<std::string> payloads;
    EXPECT_TRUE(CutFrames(bytes, payloads));
    EXPECT_EQ(payloads, std::vector<std::string>{"1"});
    for (const char* text : {"0", "0g", "00 1"}) {
        std::string unused;
        EXPECT_FALSE(ParseHex(text, unused)) << text;
    }
    EXPECT_FALSE(CutFrames(bytes.substr(0, 8), payloads));
    const std::string skipped("\0\3\0\0\4\0\0\0abcd", 12);
    EXPECT_TRUE(CutFrames(skipped, payloads));
    EXPECT_FALSE(CutFrames(skipped.substr(0, 10), payloads)) << "a frame that is skipped has an end, too";
}

TEST(FrameText, LineNamesDirectionTypeAndText) {
    EXPECT_EQ(FrameLine(FrameDirection::Received, R"({"content":{"p1":"1"},"message_type":12})"),
              R"(caller <- helper 12 S_MT_InitReply                 {"content":{"p1":"1"},"message_type":12})");
    EXPECT_EQ(FrameRecord(FrameDirection::Sent, "\xFFx")["payload"].asString(), "\xEF\xBF\xBDx");
}

TEST(Script, EveryVerbHasAPageAndStandsOnTheWholeOne) {
    const std::string whole = HelpText(nullptr);
    for (const VerbInfo& verb : AllVerbs()) {
        EXPECT_NE(whole.find("\n  " + std::string(verb.name) + " "), std::string::npos) << verb.name;
        EXPECT_EQ(HelpText(&verb).rfind("usage: nexctl " + std::string(verb.name), 0), 0u) << HelpText(&verb);
    }
    for (const char* name : {"start", "status", "status-encrypted", "qimei", "encrypt", "decrypt", "open", "poll",
                             "watch", "exit", "listen", "send", "record", "replay", "doctor", "log"}) {
        EXPECT_NE(FindVerb(name), nullptr) << name;
    }
}

TEST(Script, LogTakesItsOwnWordsAndOptionsAlone) {
    const Script script = Parsed({"log", "page", "--pid", "7", "--pid", "8", "--since", "2h", "--text", "--out", "o",
                                  "--file", "f", "--run", "2", "--function", "x"});
    const Step& step = script.steps.at(0);
    EXPECT_EQ(step.arguments.at(0), "page");
    EXPECT_EQ(step.pids, (std::vector<std::uint32_t>{7, 8}));
    EXPECT_EQ(step.sinceMs, 7200000u);
    EXPECT_TRUE(step.text);
    EXPECT_EQ(step.run, 2u);
    EXPECT_EQ(step.out + step.file + step.function, "ofx");
    EXPECT_NE(ProblemOf({"log", "what"}).find("log needs on, off"), std::string::npos);
    EXPECT_EQ(ProblemOf({"--file", "f", "log", "show"}), "--file must follow a verb");
}

}  // namespace
