#include "world/common/script_lines.h"

#include <gtest/gtest.h>

namespace {

TEST(ScriptLines, BlankLinesAndCommentsAreSkippedAndCounted) {
    const std::vector<ScriptLine> lines = ReadScriptLines("\xEF\xBB\xBF one two \r\n\n  # no\n\tthree # yes");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].nNumber, 1u);
    EXPECT_EQ(lines[0].strText, "one two");
    EXPECT_EQ(lines[1].nNumber, 4u);
    EXPECT_EQ(lines[1].strText, "three # yes") << "a comment has its line to itself, since texts hold the sign too";
}

TEST(ScriptLines, WordsAreTakenWithTheBlanksAfterThem) {
    std::string_view text = "one \t two  three";
    EXPECT_EQ(TakeWord(text), "one");
    EXPECT_EQ(text, "two  three");
    EXPECT_EQ(TakeWord(text), "two");
    EXPECT_EQ(TakeWord(text), "three");
    EXPECT_EQ(TakeWord(text), "");
}

TEST(ScriptLines, NumberIsTheWholeTextOrNone) {
    EXPECT_EQ(WholeNumber("0"), 0u);
    EXPECT_EQ(WholeNumber("4294967295"), 4294967295u);
    for (const char* text : {"", "4294967296", "-1", "1x", " 1", "0x1"}) {
        EXPECT_FALSE(WholeNumber(text)) << text;
    }
}

}  // namespace
