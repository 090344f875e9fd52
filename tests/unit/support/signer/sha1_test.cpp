#include "support/signer/sha1.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

std::string Sha1Hex(std::string_view text) {
    return Sha1Text(Sha1Of({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}));
}

// FIPS 180, and the further published examples of the same sizes.
TEST(Sha1, GivesThePublishedDigests) {
    EXPECT_EQ(Sha1Hex(""), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
    EXPECT_EQ(Sha1Hex("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(Sha1Hex("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "84983e441c3bd26ebaae4aa1f95129e5e54670f1");
    EXPECT_EQ(Sha1Hex("abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopqrs"
                      "mnopqrstnopqrstu"),
              "a49b2446a02c645bf419f995b67091253a04a259");
    EXPECT_EQ(Sha1Hex(std::string(1'000'000, 'a')), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
}

TEST(Sha1, TextIsFortyLowerCaseDigits) {
    Sha1Digest digest{};
    digest[0] = 0x0A;
    digest[19] = 0xFE;
    EXPECT_EQ(Sha1Text(digest), "0a000000000000000000000000000000000000fe");
}

}  // namespace
