#include "world/internet/told_answers.h"

#include <gtest/gtest.h>

namespace {

ToldAnswer Told(std::string_view rest) {
    ToldAnswer answer;
    EXPECT_EQ(ReadAnswer(rest, answer), "") << rest;
    return answer;
}

std::string ProblemOf(std::string_view rest) {
    ToldAnswer answer;
    return ReadAnswer(rest, answer);
}

TEST(ToldAnswers, AnAnswerHasAHostAPathAndAStatus) {
    const ToldAnswer plain = Told("Info.Example /wxzolt/info.txt 204");
    EXPECT_EQ(plain.strHost, "info.example") << "hosts know no case";
    EXPECT_EQ(plain.strPath, "/wxzolt/info.txt");
    EXPECT_EQ(plain.nStatus, 204u);
    EXPECT_EQ(plain.nDelayMs, 0u);
    EXPECT_EQ(plain.strBody, "");
}

TEST(ToldAnswers, ABodyIsATextOrAFileAndMayComeLate) {
    const ToldAnswer text = Told("* * 200 after 1500 text  {\"appShortcut\": {\"create\":1}}");
    EXPECT_EQ(text.nDelayMs, 1500u);
    EXPECT_EQ(text.strBody, "{\"appShortcut\": {\"create\":1}}");
    EXPECT_EQ(Told("* /p 200 file web/icon.png").strFile, "web\\icon.png");
    EXPECT_EQ(Told("* /p 200 text").strBody, "");
}

TEST(ToldAnswers, ProblemsSayWhatIsWrong) {
    for (const char* rest : {"", "h", "h /p", "h p 200", "h /p x", "h /p 199", "h /p 600"}) {
        EXPECT_EQ(ProblemOf(rest).rfind("\"answer\" needs", 0), 0u) << rest;
    }
    for (const char* rest : {"h /p 200 after x", "h /p 200 after 86400001", "h /p 200 after -1"}) {
        EXPECT_EQ(ProblemOf(rest).rfind("this is not a number of milliseconds: ", 0), 0u) << rest;
    }
    EXPECT_EQ(ProblemOf("h /p 200 body x"), "a body is \"text\" or \"file\", not \"body\"");
    for (const char* rest : {"h /p 200 file", "h /p 200 file ..\\x", "h /p 200 file a b", "h /p 200 file C:\\x"}) {
        EXPECT_EQ(ProblemOf(rest), "\"file\" needs a file below the directory") << rest;
    }
}

TEST(ToldAnswers, TheFirstThatFitsIsGiven) {
    const auto answers = ReadAnswers(
        "answer a.b /x?q=1 201\nanswer a.b /x 202\n# no\nnothing\nanswer a.b /y/* 203\n"
        "answer a.b wrong 1\nanswer c /x 204\nanswer * /x 205\nanswer * * 206");
    ASSERT_EQ(answers.size(), 6u);
    const std::tuple<const char*, const char*, unsigned> cases[] = {
        {"a.b", "/x?q=1", 201},    {"a.b", "/x?q=2", 202}, {"A.B", "/x", 202}, {"a.b", "/y/z?w", 203},
        {"a.b", "/y/", 203},       {"a.b", "/y", 206},     {"c", "/x", 204},   {"d", "/x", 205},
        {"d", "/y?anything", 206}, {"a.b", "/X", 206},
    };
    for (const auto& [host, path, status] : cases) {
        const ToldAnswer* const answer = AnswerFor(answers, host, path);
        ASSERT_NE(answer, nullptr);
        EXPECT_EQ(answer->nStatus, status) << host << path;
    }
    EXPECT_EQ(AnswerFor(ReadAnswers("answer a / 200"), "b", "/"), nullptr);
}

}  // namespace
