#include "support/envelope/md5.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

std::span<const std::uint8_t> BytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string Hex(const Md5Digest& digest) {
    std::string text;
    for (const std::uint8_t byte : digest) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

// RFC 1321, appendix A.5.
TEST(Md5, GivesThePublishedDigests) {
    const std::pair<std::string_view, std::string_view> vectors[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    for (const auto& [text, digest] : vectors) {
        EXPECT_EQ(Hex(Md5Of(BytesOf(text))), digest) << text;
    }
}

TEST(Md5, DoesNotCareHowTheBytesAreCut) {
    std::string text;
    for (int i = 0; i < 200; ++i) {
        text += static_cast<char>(i * 7);
    }
    for (std::size_t size = 0; size <= text.size(); ++size) {
        const std::string_view whole = std::string_view(text).substr(0, size);
        const Md5Digest expected = Md5Of(BytesOf(whole));
        for (std::size_t first = 0; first <= size; first += 13) {
            Md5Context context;
            Md5Init(context);
            Md5Update(context, BytesOf(whole.substr(0, first)));
            Md5Update(context, {});
            Md5Update(context, BytesOf(whole.substr(first)));
            Md5Digest digest;
            Md5Final(context, digest);
            ASSERT_EQ(digest, expected) << size << " bytes cut at " << first;
        }
    }
}

TEST(Md5, AFinishedContextStartsAgain) {
    Md5Context context;
    Md5Init(context);
    Md5Update(context, BytesOf("something"));
    Md5Digest digest;
    Md5Final(context, digest);
    Md5Final(context, digest);
    EXPECT_EQ(Hex(digest), "d41d8cd98f00b204e9800998ecf8427e");
}

}  // namespace
