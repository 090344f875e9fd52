#include "support/picture/ico_writer.h"

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(BuildIco, SixSizesAreRightByteForByte) {
    std::vector<IcoImage> images;
    for (const std::uint32_t size : kIcoSizes) {
        images.push_back({size, Bytes(size / 16, static_cast<std::uint8_t>(size / 2))});  // 1, 2, 3, 4, 8, 16 bytes
    }
    const Bytes expected = {
        0,   0,   1,   0,   6,   0,                                                    // header
        16,  16,  0,   0,   1,   0,   32,  0,   1,   0,   0,   0,   102, 0,   0,   0,  // directory
        32,  32,  0,   0,   1,   0,   32,  0,   2,   0,   0,   0,   103, 0,   0,   0,  //
        48,  48,  0,   0,   1,   0,   32,  0,   3,   0,   0,   0,   105, 0,   0,   0,  //
        64,  64,  0,   0,   1,   0,   32,  0,   4,   0,   0,   0,   108, 0,   0,   0,  //
        128, 128, 0,   0,   1,   0,   32,  0,   8,   0,   0,   0,   112, 0,   0,   0,  //
        0,   0,   0,   0,   1,   0,   32,  0,   16,  0,   0,   0,   120, 0,   0,   0,  // 256 is written as 0
        8,                                                                             // images
        16,  16,                                                                       //
        24,  24,  24,                                                                  //
        32,  32,  32,  32,                                                             //
        64,  64,  64,  64,  64,  64,  64,  64,                                         //
        128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128};
    EXPECT_EQ(BuildIco(images), expected);
}

TEST(BuildIco, SizesAndOffsetsTakeFourBytes) {
    const Bytes file = BuildIco(std::vector<IcoImage>{{16, Bytes(0x012345)}, {32, Bytes(3)}});
    EXPECT_EQ(Bytes(file.begin() + 14, file.begin() + 22), (Bytes{0x45, 0x23, 0x01, 0, 38, 0, 0, 0}));
    const std::size_t second = 38 + 0x012345;
    EXPECT_EQ(Bytes(file.begin() + 30, file.begin() + 38),
              (Bytes{3, 0, 0, 0, static_cast<std::uint8_t>(second), static_cast<std::uint8_t>(second >> 8),
                     static_cast<std::uint8_t>(second >> 16), 0}));
    EXPECT_EQ(file.size(), second + 3);
}

TEST(BuildIco, WithoutImagesThereIsOnlyTheHeader) {
    EXPECT_EQ(BuildIco({}), (Bytes{0, 0, 1, 0, 0, 0}));
}

}  // namespace
