#include "world/program/world_scenario.h"

#include <gtest/gtest.h>

namespace {

using Kind = WorldStep::Kind;

std::vector<WorldStep> Parsed(std::string_view text) {
    std::vector<WorldStep> steps;
    std::string problem;
    EXPECT_TRUE(ReadWorldScenario(text, steps, problem)) << problem;
    return steps;
}

std::string ProblemOf(std::string_view text) {
    std::vector<WorldStep> steps;
    std::string problem;
    EXPECT_FALSE(ReadWorldScenario(text, steps, problem)) << text;
    return problem;
}

TEST(WorldScenario, ValuesHaveAPlaceAKeyANameAndData) {
    const auto steps = Parsed(R"(
        value machine32 SOFTWARE\A\B "the name" text some text
        value user "SOFTWARE\with blanks" "" number 4294967295
        value machine64 SOFTWARE\A b bytes 00 ff)");
    ASSERT_EQ(steps.size(), 3u);
    EXPECT_EQ(steps[0].place, RegistryPlace::Machine32);
    EXPECT_EQ(steps[0].strKey, "SOFTWARE\\A\\B");
    EXPECT_EQ(steps[0].strName, "the name");
    EXPECT_EQ(steps[0].nType, kRegistryText);
    EXPECT_EQ(steps[0].strText, "some text");
    EXPECT_EQ(steps[1].place, RegistryPlace::User);
    EXPECT_EQ(steps[1].strKey, "SOFTWARE\\with blanks");
    EXPECT_EQ(steps[1].strName, "");
    EXPECT_EQ(steps[1].nNumber, 4294967295u);
    EXPECT_EQ(steps[2].place, RegistryPlace::Machine64);
    EXPECT_EQ(steps[2].strText, std::string("\0\xFF", 2));
}

TEST(WorldScenario, InstalledIsAnUninstallEntryInThe64BitView) {
    const auto steps = Parsed("installed WeChat\ninstalled Androws C:\\a b\\u.exe");
    EXPECT_EQ(steps.at(0).place, RegistryPlace::Machine64);
    EXPECT_EQ(steps.at(0).strKey, "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\WeChat");
    EXPECT_EQ(steps.at(0).strName, "UninstallString");
    EXPECT_EQ(steps.at(0).strText, "{dir}\\WeChat\\uninstall.exe");
    EXPECT_EQ(steps.at(1).strText, "C:\\a b\\u.exe");
}

TEST(WorldScenario, ValuesMayHoldTheTimeOfUp) {
    const auto steps = Parsed(R"(
        value user K n number now
        value user K n bytes 01 00 now
        value user K n bytes 0100now
        value user K n bytes now
        value user K n bytes 0100
        value user K n text now)");
    ASSERT_EQ(steps.size(), 6u);
    EXPECT_TRUE(steps[0].bNow);
    EXPECT_EQ(steps[0].nType, kRegistryNumber);
    for (std::size_t i : {1u, 2u, 3u}) {
        EXPECT_TRUE(steps[i].bNow);
        EXPECT_EQ(steps[i].nType, kRegistryBytes);
        EXPECT_EQ(steps[i].strText, i == 3 ? std::string() : std::string("\1\0", 2));
    }
    EXPECT_FALSE(steps[4].bNow);
    EXPECT_FALSE(steps[5].bNow);
    EXPECT_EQ(steps[5].strText, "now");
}

TEST(WorldScenario, LoggedInIsTheMarkOfALoginNow) {
    const auto steps = Parsed("logged-in");
    ASSERT_EQ(steps.size(), 1u);
    EXPECT_EQ(steps[0].kind, Kind::Value);
    EXPECT_EQ(steps[0].place, RegistryPlace::User);
    EXPECT_EQ(steps[0].strKey, "SOFTWARE\\Classes\\WdTsIndexStore.1");
    EXPECT_EQ(steps[0].strName, "wxl_state");
    EXPECT_EQ(steps[0].nType, kRegistryBytes);
    EXPECT_EQ(steps[0].strText, std::string("\1\0\0\0", 4));
    EXPECT_TRUE(steps[0].bNow);
}

TEST(WorldScenario, FilesSettingsAndProcessesNameTheirPaths) {
    const auto steps = Parsed(R"(file world/good/ocean.dll app/wxsdk/ocean.dll
setting app/wxsdk/ocean.ini ocean status 5
process app/WeChat.exe --window Class "a title"
monitor app/monitor.exe --hang
keep user SOFTWARE\X)");
    ASSERT_EQ(steps.size(), 5u);
    EXPECT_EQ(steps[0].strSource, "world\\good\\ocean.dll");
    EXPECT_EQ(steps[0].strTarget, "app\\wxsdk\\ocean.dll");
    EXPECT_EQ(steps[1].strTarget, "app\\wxsdk\\ocean.ini");
    EXPECT_EQ(steps[1].strName, "ocean");
    EXPECT_EQ(steps[1].strKey, "status");
    EXPECT_EQ(steps[1].strText, "5");
    EXPECT_EQ(steps[2].strSource, "world\\stand_in.exe");
    EXPECT_EQ(steps[2].strText, "--window Class \"a title\"");
    EXPECT_EQ(steps[3].strSource, "world\\monitor.exe");
    EXPECT_EQ(steps[3].strText, "--out \"{dir}\\notices.txt\" --hang");
    EXPECT_EQ(steps[4].kind, Kind::Keep);
}

TEST(WorldScenario, TheInternetIsAProcessAndItsAnswersAreLinesForIt) {
    const auto steps = Parsed("internet a/internet.exe\nanswer h /p 200 after 5 text  a {dir}");
    ASSERT_EQ(steps.size(), 2u);
    EXPECT_EQ(steps[0].kind, Kind::Internet);
    EXPECT_EQ(steps[0].strSource, "world\\internet.exe");
    EXPECT_EQ(steps[0].strTarget, "a\\internet.exe");
    EXPECT_EQ(steps[0].strText, "--dir \"{dir}\"");
    EXPECT_EQ(steps[1].kind, Kind::Answer);
    EXPECT_EQ(steps[1].strText, "answer h /p 200 after 5 text  a {dir}");
}

TEST(WorldScenario, ASchemeIsAClientWithItsSettingsAndAnEntryInTheRegistry) {
    const auto steps = Parsed("scheme nexlet-wechat \"a b/WeChat.exe\" the title");
    ASSERT_EQ(steps.size(), 6u);
    EXPECT_EQ(steps[0].kind, Kind::File);
    EXPECT_EQ(steps[0].strSource, "world\\WeChat.exe");
    EXPECT_EQ(steps[0].strTarget, "a b\\WeChat.exe");
    EXPECT_EQ(steps[0].strText + steps[0].strName, "");
    for (std::size_t i : {1u, 2u}) {
        EXPECT_EQ(steps[i].kind, Kind::Setting);
        EXPECT_EQ(steps[i].strTarget, "a b\\wechat.ini");
        EXPECT_EQ(steps[i].strName, "wechat");
    }
    EXPECT_EQ(steps[1].strKey + "=" + steps[1].strText, "scheme=nexlet-wechat");
    EXPECT_EQ(steps[2].strKey + "=" + steps[2].strText, "title=the title");
    for (std::size_t i : {3u, 4u, 5u}) {
        EXPECT_EQ(steps[i].kind, Kind::Value);
        EXPECT_EQ(steps[i].place, RegistryPlace::Machine64);
        EXPECT_EQ(steps[i].nLine, 1u);
    }
    EXPECT_EQ(steps[3].strKey, "SOFTWARE\\Classes\\nexlet-wechat");
    EXPECT_EQ(steps[4].strName, "URL Protocol");
    EXPECT_EQ(steps[5].strKey, "SOFTWARE\\Classes\\nexlet-wechat\\shell\\open\\command");
    EXPECT_EQ(steps[5].strText, "\"{dir}\\a b\\WeChat.exe\" open \"%1\"");
    EXPECT_EQ(Parsed("scheme x WeChat.exe").size(), 5u) << "without a title there is no window";
    EXPECT_EQ(Parsed("scheme x WeChat.exe")[1].strTarget, "wechat.ini");
}

TEST(WorldScenario, NoPathLeadsOutOfTheDirectory) {
    for (const char* path : {"..\\x", "a\\..\\..\\x", "\\x", "/x", "C:\\x", "C:x", "a\\...\\x", "\"a \\x\"", ".", "a\\",
                             "\"\"", "a//b", "x.", "a:stream", "a\\b*"}) {
        EXPECT_EQ(ProblemOf("process " + std::string(path)).rfind("line 1: \"process\" needs", 0), 0u) << path;
        EXPECT_EQ(ProblemOf("file x " + std::string(path)).rfind("line 1: \"file\" needs", 0), 0u) << path;
        EXPECT_EQ(ProblemOf("file " + std::string(path) + " x").rfind("line 1: \"file\" needs", 0), 0u) << path;
    }
}

TEST(WorldScenario, ProblemsNameTheLine) {
    const std::pair<const char*, const char*> cases[] = {
        {"\n\nbuild x", "line 3: nothing is called \"build\""},
        {"value", "line 1: \"value\" needs"},
        {"value elsewhere K n text", "line 1: \"value\" needs"},
        {"value user K", "line 1: \"value\" needs"},
        {"value user \\K n text", "line 1: \"value\" needs"},
        {"value user K\\ n text", "line 1: \"value\" needs"},
        {"value user A\\\\B n text", "line 1: \"value\" needs"},
        {"value user \"K n text", "line 1: \"value\" needs"},
        {"value user K n", "line 1: a value is"},
        {"value user K n word x", "line 1: a value is"},
        {"value user K n number x", "line 1: this is not a number"},
        {"value user K n bytes 0", "line 1: these are not pairs of hexadecimal digits"},
        {"value user K n number now 1", "line 1: this is not a number"},
        {"value user K n number Now", "line 1: this is not a number"},
        {"value user K n bytes 0 now", "line 1: these are not pairs of hexadecimal digits"},
        {"value user K n bytes now 00", "line 1: these are not pairs of hexadecimal digits"},
        {"value user K n bytes now now", "line 1: these are not pairs of hexadecimal digits"},
        {"logged-in x", "line 1: \"logged-in\" has nothing after it"},
        {"installed", "line 1: \"installed\" needs"},
        {"installed a\\b", "line 1: \"installed\" needs"},
        {"keep user", "line 1: \"keep\" needs"},
        {"keep user A b", "line 1: \"keep\" needs"},
        {"file a", "line 1: \"file\" needs"},
        {"file a b c", "line 1: \"file\" needs"},
        {"setting a.ini s", "line 1: \"setting\" needs"},
        {"monitor a.exe --x", "line 1: \"monitor\" needs"},
        {"internet", "line 1: \"internet\" needs"},
        {"internet a.exe b", "line 1: \"internet\" needs"},
        {"internet a.exe\ninternet b.exe", "line 2: there is one internet"},
        {"answer h p 200", "line 1: \"answer\" needs"},
        {"scheme a\\b c.exe", "line 1: \"scheme\" needs"},
        {"scheme a ../c.exe", "line 1: \"scheme\" needs"},
    };
    for (const auto& [text, problem] : cases) {
        EXPECT_EQ(ProblemOf(text).rfind(problem, 0), 0u) << text << ": " << ProblemOf(text);
    }
}

TEST(WorldScenario, DirectoryTakesThePlaceOfItsMark) {
    EXPECT_EQ(WithDirectory("a{dir}b{dir}", "{dir}C"), "a{dir}Cb{dir}C");
    EXPECT_EQ(WithDirectory("{di", "x"), "{di");
    EXPECT_EQ(WithDirectory("", "x"), "");
}

}  // namespace
