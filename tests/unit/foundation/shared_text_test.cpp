#include "foundation/shared_text.h"

#include <gtest/gtest.h>

namespace {

TEST(SharedText, HoldsItsTextWithItsNuls) {
    const std::string text("a\0b", 3);
    EXPECT_EQ(CSharedText(text).Text(), text);
    EXPECT_EQ(CSharedText("plain").Text(), "plain");
    EXPECT_TRUE(CSharedText("plain") == "plain");
    EXPECT_FALSE(CSharedText("plain") == "other");
    EXPECT_FALSE(CSharedText("plain").empty());
}

TEST(SharedText, IsEmptyUntilItIsGivenOne) {
    for (const CSharedText& text : {CSharedText(), CSharedText(""), CSharedText(std::string())}) {
        EXPECT_TRUE(text.empty());
        EXPECT_EQ(text.Text(), "");
    }
}

TEST(SharedText, CopiesShareItAndOutliveEachOther) {
    CSharedText copy;
    {
        const CSharedText text(std::string(1000, 'x'));
        copy = text;
        EXPECT_TRUE(copy.SharesWith(text));
        EXPECT_EQ(&copy.Text(), &text.Text());
    }
    EXPECT_EQ(copy.Text(), std::string(1000, 'x'));
    EXPECT_FALSE(copy.SharesWith(CSharedText(std::string(1000, 'x'))));
}

}  // namespace
