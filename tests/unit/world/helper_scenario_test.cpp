#include "world/helper/helper_scenario.h"

#include <gtest/gtest.h>

#include "ipc/transport/frame.h"

namespace {

HelperScenario Parsed(std::string_view text) {
    HelperScenario scenario;
    std::string problem;
    EXPECT_TRUE(ReadHelperScenario(text, scenario, problem)) << problem;
    return scenario;
}

std::string ProblemOf(std::string_view text) {
    HelperScenario scenario;
    std::string problem;
    EXPECT_FALSE(ReadHelperScenario(text, scenario, problem)) << text;
    return problem;
}

ScriptedRequest RequestOf(int type, const std::string& content = "{}") {
    return ReadScriptedRequest(R"({"content":)" + content + R"(,"message_type":)" + std::to_string(type) + "}");
}

// All that the play sends for the request.
std::string Played(CHelperPlay& play, const ScriptedRequest& request) {
    std::string bytes;
    for (const HelperStep& step : play.OnRequest(request)) {
        bytes += StepBytes(step, request);
    }
    return bytes;
}

TEST(HelperScenario, EmptyFileSaysTheReadyNoticeAndIsSilent) {
    CHelperPlay play(Parsed("# nothing\n"), Exchange());
    ASSERT_EQ(play.OnConnect().size(), 1u);
    EXPECT_EQ(StepBytes(play.OnConnect()[0], {}), BuildFrame(kReadyNotice));
    EXPECT_TRUE(play.OnRequest(RequestOf(2)).empty());
}

TEST(HelperScenario, OnConnectTakesThePlaceOfTheNotice) {
    const HelperScenario scenario = Parsed("on connect\nwait 5\nexit 4294967295");
    ASSERT_EQ(scenario.connect.size(), 2u);
    EXPECT_EQ(scenario.connect[0].kind, HelperStep::Kind::Wait);
    EXPECT_EQ(scenario.connect[0].nNumber, 5u);
    EXPECT_EQ(scenario.connect[1].nNumber, 4294967295u);
}

TEST(HelperScenario, ReplyIsTheContentOfTheRequestWithTheKeysOfTheFile) {
    CHelperPlay play(Parsed(R"(on 2
        reply {"result":"r","a":2})"),
                     Exchange());
    EXPECT_EQ(Played(play, RequestOf(2, R"({"a":1,"b":1,"nexlet_call":7})")),
              BuildFrame(R"({"content":{"a":2,"b":1,"nexlet_call":7,"result":"r"},"message_type":13})"));
}

TEST(HelperScenario, ContentThatIsNotAnObjectIsAnsweredWithTheKeysAlone) {
    CHelperPlay play(Parsed("on 2\nreply {\"a\":1}"), Exchange());
    for (const char* content : {"1", "[1]", "null", "\"x\""}) {
        EXPECT_EQ(Played(play, RequestOf(2, content)), BuildFrame(R"({"content":{"a":1},"message_type":13})"));
    }
}

TEST(HelperScenario, NthRequestGetsTheNthBlockAndLaterOnesTheLast) {
    CHelperPlay play(Parsed("on 7\npayload one\non 2\npayload x\non 7\npayload two"), Exchange());
    EXPECT_EQ(Played(play, RequestOf(7)), BuildFrame("one"));
    EXPECT_EQ(Played(play, RequestOf(2)), BuildFrame("x"));
    EXPECT_EQ(Played(play, RequestOf(7)), BuildFrame("two"));
    EXPECT_EQ(Played(play, RequestOf(7)), BuildFrame("two"));
}

TEST(HelperScenario, OtherAnswersTypesWithoutABlockAndAnythingThatIsNotAnEnvelope) {
    CHelperPlay play(Parsed("on 2\nsilence\non other\nreply {}\npayload o"), Exchange());
    EXPECT_EQ(Played(play, RequestOf(2)), "");
    EXPECT_EQ(Played(play, RequestOf(6)), BuildFrame(R"({"content":{},"message_type":17})") + BuildFrame("o"));
    EXPECT_EQ(Played(play, ReadScriptedRequest("no json")), BuildFrame("o")) << "there is no reply to that";
}

TEST(HelperScenario, FramesAreCutAndGetAnotherFirstWord) {
    CHelperPlay play(Parsed("on 2\ncut 3 payload abc\nmagic 513 payload abc\ncut 9 magic 1 notice\nbytes 00 ff"),
                     Exchange());
    EXPECT_EQ(Played(play, RequestOf(2)), BuildFrame("abc").substr(0, 3) + BuildFrame("abc", 513) +
                                              BuildFrame(kReadyNotice, 1).substr(0, 9) + std::string("\0\xFF", 2));
}

TEST(HelperScenario, CutAfterTheEndOfAFrameLeavesItWhole) {
    CHelperPlay play(Parsed("on 2\ncut 4294967295 payload abc"), Exchange());
    EXPECT_EQ(Played(play, RequestOf(2)), BuildFrame("abc"));
}

TEST(HelperScenario, ExitRequestWithoutABlockEndsWithZero) {
    CHelperPlay play(Parsed(""), Exchange());
    const HelperSteps steps = play.OnRequest(RequestOf(9));
    ASSERT_EQ(steps.size(), 1u);
    EXPECT_EQ(steps[0].kind, HelperStep::Kind::Exit);
    EXPECT_EQ(steps[0].nNumber, 0u);
    CHelperPlay silent(Parsed("on 9\nsilence"), Exchange());
    EXPECT_EQ(silent.OnRequest(RequestOf(9)).at(0).kind, HelperStep::Kind::Silence);
}

TEST(HelperScenario, RecordingAnswersInItsOrderWithTheNumberOfTheCall) {
    Exchange exchange;
    std::string problem;
    ASSERT_TRUE(ReadExchange(R"({"exchange":1,"mark":"m","service":"s"}
{"from":"helper","message":{"content":{"p1":"1"},"message_type":12}}
{"from":"caller","message":{"content":{"nexlet_call":1},"message_type":2}}
{"from":"helper","message":{"content":{"nexlet_call":1,"result":"first"},"message_type":13}}
{"from":"caller","message":{"content":{},"message_type":2}}
{"from":"helper","message":{"content":{"result":"second"},"message_type":13}}
)",
                             exchange, problem))
        << problem;
    CHelperPlay play(Parsed("exchange my file.exchange\non 6\nsilence"), exchange);
    EXPECT_TRUE(play.OnRequest(RequestOf(4)).empty()) << "not in the recording";
    EXPECT_EQ(Played(play, RequestOf(2, R"({"nexlet_call":44})")),
              BuildFrame(R"({"content":{"nexlet_call":44,"result":"first"},"message_type":13})"));
    EXPECT_EQ(Played(play, RequestOf(2)), BuildFrame(R"({"content":{"result":"second"},"message_type":13})"));
    EXPECT_TRUE(play.OnRequest(RequestOf(2)).empty()) << "the recording is over";
}

TEST(HelperScenario, ProblemsNameTheLine) {
    const std::pair<const char*, const char*> cases[] = {
        {"\nreply {}", "line 2: a step must follow"},
        {"on", "line 1: \"on\" needs"},
        {"on x", "line 1: \"on\" needs"},
        {"on -2", "line 1: \"on\" needs"},
        {"on 2147483648", "line 1: \"on\" needs"},
        {"on 2\n# c\non 3", "line 3: the block above has no step"},
        {"on 2", "line 1: the block has no step"},
        {"on connect\nsilence\non connect", "line 3: \"on connect\" is given twice"},
        {"on connect\nreply {}", "line 2: there is no request here"},
        {"on 9\nreply {}", "line 2: there is no request here"},
        {"on 2\nreply", "line 2: this is not a JSON object"},
        {"on 2\nreply [1]", "line 2: this is not a JSON object"},
        {"on 2\nsend {}", "line 2: \"send\" needs"},
        {"on 2\nsend 3", "line 2: this is not a JSON object"},
        {"on 2\nbytes 0", "line 2: these are not pairs of hexadecimal digits"},
        {"on 2\nwait", "line 2: this is not a number"},
        {"on 2\nexit 4294967296", "line 2: this is not a number"},
        {"on 2\nsilence x", "line 2: nothing may follow"},
        {"on 2\nspeak", "line 2: no step is called \"speak\""},
        {"on 2\ncut", "line 2: \"cut\" needs one number"},
        {"on 2\ncut 1 cut 2 notice", "line 2: \"cut\" needs one number"},
        {"on 2\ncut 1 wait 2", "line 2: \"wait\" sends no frame"},
        {"exchange", "line 1: \"exchange\" needs"},
        {"exchange a\nexchange b", "line 2: \"exchange\" needs"},
    };
    for (const auto& [text, problem] : cases) {
        EXPECT_EQ(ProblemOf(text).rfind(problem, 0), 0u) << text << ": " << ProblemOf(text);
    }
}

}  // namespace
