#include "foundation/windows_headers.h"

#include <gtest/gtest.h>
#include <wincrypt.h>

#include <cstring>
#include <string>

#include "support/envelope/base64_encode.h"

namespace {

// The platform's encoder with its line ends taken out.
std::string PlatformText(const std::string& bytes) {
    const auto* data = reinterpret_cast<const BYTE*>(bytes.data());
    const auto size = static_cast<DWORD>(bytes.size());
    DWORD length = 0;
    EXPECT_TRUE(CryptBinaryToStringA(data, size, CRYPT_STRING_BASE64, nullptr, &length));
    std::string text(length, '\0');
    EXPECT_TRUE(CryptBinaryToStringA(data, size, CRYPT_STRING_BASE64, text.data(), &length));
    text.resize(std::strlen(text.c_str()));  // the length given back counts the terminator now and then
    // Each by itself: Wine 10 ends the text of 48 bytes with a carriage return alone.
    std::erase_if(text, [](char one) { return one == '\r' || one == '\n'; });
    return text;
}

TEST(Base64EncodeNoBreaks, IsThePlatformsTextWithoutItsLineEnds) {
    std::string bytes;
    for (int i = 0; i < 300; ++i) {
        bytes.push_back(static_cast<char>(i * 101 + 7));
        ASSERT_EQ(Base64EncodeNoBreaks(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()),
                  PlatformText(bytes))
            << bytes.size() << " bytes";
    }
}

}  // namespace
