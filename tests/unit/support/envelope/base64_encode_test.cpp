#include "support/envelope/base64_encode.h"

#include <gtest/gtest.h>

#include <vector>

#include "foundation/text_helpers.h"

namespace {

std::string Encoded(const std::string& text) {
    return Base64EncodeNoBreaks(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
}

// RFC 4648, section 10.
TEST(Base64EncodeNoBreaks, GivesThePublishedTexts) {
    EXPECT_EQ(Encoded(""), "");
    EXPECT_EQ(Encoded("f"), "Zg==");
    EXPECT_EQ(Encoded("fo"), "Zm8=");
    EXPECT_EQ(Encoded("foo"), "Zm9v");
    EXPECT_EQ(Encoded("foob"), "Zm9vYg==");
    EXPECT_EQ(Encoded("fooba"), "Zm9vYmE=");
    EXPECT_EQ(Encoded("foobar"), "Zm9vYmFy");
    EXPECT_EQ(Encoded("\xFB\xEF\xBE\xFF"), "++++/w==");
}

TEST(Base64EncodeNoBreaks, ABlockIsOneLineOf172Characters) {
    const std::string text = Encoded(std::string(128, '\x5A'));
    EXPECT_EQ(text.size(), 172u);
    EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos);
    EXPECT_EQ(text.back(), '=');
}

TEST(Base64EncodeNoBreaks, TheDecoderGivesEveryLengthBack) {
    std::string bytes;
    for (int i = 0; i < 300; ++i) {
        std::string decoded;
        Base64Decode(Encoded(bytes), decoded);
        ASSERT_EQ(decoded, bytes) << i << " bytes";
        bytes.push_back(static_cast<char>(i * 37));
    }
}

}  // namespace
