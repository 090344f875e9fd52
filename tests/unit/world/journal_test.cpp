#include "world/program/journal.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace {

std::vector<JournalEntry> SomeEntries() {
    RegistryTree tree;
    tree.values = {{"", 1, std::string("\0\0", 2)}, {"名", 4, "\x01\xFF"}};
    tree.keys["below"].keys["further"].values = {{"x", 0xFFFFFFFF, ""}};
    JournalEntry value = {
        .kind = JournalEntry::Kind::Value, .place = RegistryPlace::Machine32, .strKey = "A\\B", .strName = "n"};
    value.missing = {"A", "A\\B"};
    JournalEntry keep = {.kind = JournalEntry::Kind::Keep, .place = RegistryPlace::User, .strKey = "K"};
    keep.old = tree;
    JournalEntry process = {.kind = JournalEntry::Kind::Process};
    process.nProcessId = 4294967295u;
    process.nStartedAt = ~std::uint64_t{0};
    process.strStop = "stop";
    return {JournalEntry(), value, keep, process};
}

std::string Text(const std::vector<JournalEntry>& entries) {
    std::string text;
    for (const JournalEntry& entry : entries) {
        text += JournalLine(entry);
    }
    return text;
}

TEST(Journal, IsReadAsItWasWritten) {
    std::vector<JournalEntry> entries;
    std::string problem;
    ASSERT_TRUE(ReadJournal(Text(SomeEntries()), entries, problem)) << problem;
    EXPECT_EQ(entries, SomeEntries());
}

TEST(Journal, EmptyOneHasNoEntries) {
    std::vector<JournalEntry> entries(1);
    std::string problem;
    EXPECT_TRUE(ReadJournal("", entries, problem));
    EXPECT_TRUE(entries.empty());
}

TEST(Journal, LineThatACrashCutIsLeftOut) {
    const std::string text = Text(SomeEntries());
    for (std::size_t size = 0; size <= text.size(); ++size) {
        std::vector<JournalEntry> entries;
        std::string problem;
        ASSERT_TRUE(ReadJournal(std::string_view(text).substr(0, size), entries, problem)) << size << problem;
        EXPECT_EQ(entries.size(), static_cast<std::size_t>(std::ranges::count(text.substr(0, size), '\n')));
    }
}

TEST(Journal, AnythingElseIsRefusedByItsLine) {
    for (const char* line :
         {"", "x", "[]", "1", "{}", R"({"kind":1})", R"({"kind":"other"})", R"({"kind":"process","id":-1})",
          R"({"kind":"process","id":4294967296,"started_at":1,"stop":""})",
          R"({"kind":"process","id":1,"started_at":1})", R"({"kind":"value","place":"user","key":"k","name":"n"})",
          R"({"kind":"value","place":"x","key":"k","name":"n","missing":[],"old":null})",
          R"({"kind":"value","place":"user","key":"k","name":"n","missing":[1],"old":null})",
          R"({"kind":"value","place":"user","key":"k","name":"n","missing":[],"old":1})",
          R"({"kind":"keep","place":"user","key":"k","name":"","missing":[],"old":{"values":[{}],"keys":{}}})"}) {
        std::vector<JournalEntry> entries;
        std::string problem;
        EXPECT_FALSE(ReadJournal(JournalLine(JournalEntry()) + line + "\n", entries, problem)) << line;
        EXPECT_EQ(problem.rfind("line 2: ", 0), 0u) << problem;
    }
}

}  // namespace
