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
        {"value user K n number x", "line 1: this is no number"},
        {"value user K n bytes 0", "line 1: these are no hexadecimal digits"},
        {"installed", "line 1: \"installed\" needs"},
        {"installed a\\b", "line 1: \"installed\" needs"},
        {"keep user", "line 1: \"keep\" needs"},
        {"keep user A b", "line 1: \"keep\" needs"},
        {"file a", "line 1: \"file\" needs"},
        {"file a b c", "line 1: \"file\" needs"},
        {"setting a.ini s", "line 1: \"setting\" needs"},
        {"monitor a.exe --x", "line 1: \"monitor\" needs"},
    };
    for (const auto& [text, problem] : cases) {
        EXPECT_EQ(ProblemOf(text).rfind(problem, 0), 0u) << text << ": " << ProblemOf(text);
    }
}

TEST(WorldScenario, DirectoryStandsInPlaceOfItsMark) {
    EXPECT_EQ(WithDirectory("a{dir}b{dir}", "{dir}C"), "a{dir}Cb{dir}C");
    EXPECT_EQ(WithDirectory("{di", "x"), "{di");
    EXPECT_EQ(WithDirectory("", "x"), "");
}

}  // namespace
