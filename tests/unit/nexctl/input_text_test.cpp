#include "nexctl/console/input_text.h"

#include <gtest/gtest.h>

namespace {

TEST(InputText, Utf8StaysAsItIs) {
    EXPECT_EQ(DecodeInputText("{\"a\":\"中\"}\r\n"), "{\"a\":\"中\"}\r\n");
    EXPECT_EQ(DecodeInputText(""), "");
}

TEST(InputText, MarkOfUtf8IsDropped) {
    EXPECT_EQ(DecodeInputText("\xEF\xBB\xBF{}"), "{}");
    EXPECT_EQ(DecodeInputText("\xEF\xBB\xBF"), "");
    EXPECT_EQ(DecodeInputText("\xEF\xBB"), "\xEF\xBB");
}

TEST(InputText, Utf16WithItsMarkBecomesUtf8) {
    EXPECT_EQ(DecodeInputText(std::string("\xFF\xFE{\0-N}\0\r\0\n\0", 12)), "{中}\r\n");
    EXPECT_EQ(DecodeInputText(std::string("\xFF\xFE\x3D\xD8\x00\xDE", 6)), "\xF0\x9F\x98\x80");
    EXPECT_EQ(DecodeInputText("\xFF\xFE"), "");
}

TEST(InputText, BrokenUtf16BecomesTheReplacementCharacter) {
    EXPECT_EQ(DecodeInputText(std::string("\xFF\xFE\x00\xDEx\0", 6)), "\xEF\xBF\xBDx");
    EXPECT_EQ(DecodeInputText(std::string("\xFF\xFEx\0y", 5)), "x") << "half a unit at the end";
}

}  // namespace
