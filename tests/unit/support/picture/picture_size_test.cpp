#include "support/picture/picture_size.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Join(const std::vector<Bytes>& parts) {
    Bytes joined;
    for (const Bytes& part : parts) {
        joined.insert(joined.end(), part.begin(), part.end());
    }
    return joined;
}

Bytes Text(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

Bytes Little(std::uint64_t value, int width) {
    Bytes bytes;
    for (int i = 0; i < width; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
    return bytes;
}

Bytes Big(std::uint64_t value, int width) {
    const Bytes little = Little(value, width);
    return Bytes(little.rbegin(), little.rend());
}

std::string SizeOf(const Bytes& file) {
    const auto size = DeclaredPictureSize(file);
    return size ? std::to_string(size->width) + "x" + std::to_string(size->height) : "none";
}

// Whatever is cut off a file, nothing beyond it is read, and no cut makes it smaller than none.
void ExpectCutsAreSafe(const Bytes& file) {
    for (std::size_t length = 0; length < file.size(); ++length) {
        const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
        DeclaredPictureSize(cut);
    }
}

Bytes Png(std::uint32_t width, std::uint32_t height) {
    return Join(
        {{0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A}, Big(13, 4), Text("IHDR"), Big(width, 4), Big(height, 4)});
}

TEST(PictureSize, OfAPngIsInItsHeader) {
    EXPECT_EQ(SizeOf(Png(30'000, 20'000)), "30000x20000");
    EXPECT_EQ(SizeOf(Png(0xFFFFFFFF, 0xFFFFFFFF)), "4294967295x4294967295");
    EXPECT_EQ(DeclaredPictureSize(Png(0xFFFFFFFF, 0xFFFFFFFF))->Pixels(), 0xFFFFFFFE00000001u) << "no overflow";
    Bytes other = Png(1, 1);
    other[12] = 'C';
    EXPECT_EQ(SizeOf(other), "none") << "another chunk in front";
    ExpectCutsAreSafe(Png(1, 1));
}

Bytes Frame(std::uint8_t marker, std::uint16_t width, std::uint16_t height) {
    return Join({{0xFF, marker}, Big(8, 2), {8}, Big(height, 2), Big(width, 2), {1}});
}

TEST(PictureSize, OfAJpegIsInItsFrameHeader) {
    const Bytes start = {0xFF, 0xD8};
    const Bytes application = Join({{0xFF, 0xE0}, Big(6, 2), {0xFF, 0xC0, 0xFF, 0xC0}});
    const Bytes scan = Join({{0xFF, 0xDA}, Big(2, 2)});
    for (const std::uint8_t marker : Bytes{0xC0, 0xC1, 0xC2, 0xC3, 0xC5, 0xC7, 0xC9, 0xCB, 0xCD, 0xCF}) {
        EXPECT_EQ(SizeOf(Join({start, application, Frame(marker, 9000, 8000), scan})), "9000x8000") << int{marker};
    }
    for (const std::uint8_t marker : Bytes{0xC4, 0xC8, 0xCC, 0xBF, 0xD9}) {
        EXPECT_EQ(SizeOf(Join({start, Frame(marker, 9000, 8000), scan})), "none") << int{marker};
    }
    EXPECT_EQ(SizeOf(Join({start, {0xFF, 0xFF, 0xFF}, Frame(0xC0, 3, 4)})), "3x4") << "fill bytes";
    EXPECT_EQ(SizeOf(Join({start, {0xFF, 0x01, 0xFF, 0xD0, 0xFF, 0xD7, 0xFF, 0xD8}, Frame(0xC0, 3, 4)})), "3x4")
        << "markers without contents";
    EXPECT_EQ(SizeOf(Join({start, Frame(0xC0, 3, 4), Frame(0xC0, 5, 6), Frame(0xC0, 1, 1)})), "5x6") << "the largest";
    EXPECT_EQ(SizeOf(Join({start, scan, Frame(0xC0, 5, 6)})), "none") << "nothing after the first scan";
    EXPECT_EQ(SizeOf(Join({start, {0xFF, 0xE0, 0x00, 0x00}, Frame(0xC0, 3, 4)})), "3x4") << "a length of 0";
    EXPECT_EQ(SizeOf(Join({start, {0xFF, 0xE0, 0x00, 0x02}, {0x00}, Frame(0xC0, 3, 4)})), "none") << "no marker";
    ExpectCutsAreSafe(Join({start, application, Frame(0xC0, 3, 4), scan}));
}

Bytes InfoHeader(std::uint32_t width, std::uint32_t height) {
    return Join({Little(40, 4), Little(width, 4), Little(height, 4)});
}

TEST(PictureSize, OfABitmapHasTheMagnitudeOfItsSides) {
    const Bytes head = Join({Text("BM"), Bytes(12)});
    EXPECT_EQ(SizeOf(Join({head, InfoHeader(9000, 8000)})), "9000x8000");
    EXPECT_EQ(SizeOf(Join({head, InfoHeader(9000, static_cast<std::uint32_t>(-8000))})), "9000x8000") << "from its top";
    EXPECT_EQ(SizeOf(Join({head, InfoHeader(0x80000000, 0x7FFFFFFF)})), "2147483648x2147483647");
    EXPECT_EQ(SizeOf(Join({head, Little(12, 4), Little(65535, 2), Little(65534, 2), Bytes(4)})), "65535x65534");
    EXPECT_EQ(SizeOf(head), "none");
    ExpectCutsAreSafe(Join({head, InfoHeader(1, 1)}));
}

Bytes GifFrame(std::uint16_t width, std::uint16_t height, std::uint8_t flags, const Bytes& table) {
    return Join(
        {{0x2C}, Bytes(4), Little(width, 2), Little(height, 2), {flags}, table, {2, 1, 0x44, 3, 0x2C, 0x2C, 0x2C, 0}});
}

TEST(PictureSize, OfAGifIsThatOfItsScreenOrItsLargestFrame) {
    const auto gif = [](std::uint16_t width, std::uint16_t height, std::uint8_t flags) {
        return Join({Text("GIF89a"), Little(width, 2), Little(height, 2), {flags, 0, 0}});
    };
    const Bytes table(6);
    EXPECT_EQ(SizeOf(gif(9000, 8000, 0)), "9000x8000");
    EXPECT_EQ(SizeOf(Join({gif(1, 1, 0x80), table, GifFrame(9000, 8000, 0, {})})), "9000x8000");
    const Bytes comment = Join({{0x21, 0xFE, 2, 0x2C, 0x2C, 1, 0x2C, 0}});
    EXPECT_EQ(SizeOf(Join({gif(1, 1, 0x80),
                           table,
                           comment,
                           GifFrame(2, 2, 0x81, Bytes(12)),
                           comment,
                           GifFrame(5, 6, 0, {}),
                           GifFrame(3, 3, 0, {}),
                           {0x3B},
                           GifFrame(9, 9, 0, {})})),
              "5x6")
        << "frames up to the trailer";
    EXPECT_EQ(SizeOf(Join({gif(7, 7, 0), GifFrame(1, 1, 0, {})})), "7x7");
    ExpectCutsAreSafe(Join({gif(1, 1, 0x80), table, comment, GifFrame(2, 2, 0x80, table)}));
}

Bytes Icon(const std::vector<Bytes>& images) {
    Bytes file = Join({{0, 0, 1, 0}, Little(images.size(), 2)});
    std::size_t at = 6 + 16 * images.size();
    for (const Bytes& image : images) {
        file = Join({file, Bytes(8), Little(image.size(), 4), Little(at, 4)});
        at += image.size();
    }
    return Join({file, Join(images)});
}

TEST(PictureSize, OfAnIconIsThatOfItsLargestImageWhateverTheDirectorySays) {
    EXPECT_EQ(SizeOf(Icon({InfoHeader(16, 32), Png(30'000, 30'000), InfoHeader(48, 96)})), "30000x30000");
    EXPECT_EQ(SizeOf(Icon({InfoHeader(16, 32), InfoHeader(9000, 16'000)})), "9000x16000");
    EXPECT_EQ(SizeOf(Icon({})), "none");
    Bytes beyond = Icon({InfoHeader(16, 32)});
    beyond[6 + 12] = 0xFF;
    EXPECT_EQ(SizeOf(beyond), "none") << "an image after the end of the file";
    ExpectCutsAreSafe(Icon({InfoHeader(16, 32), Png(1, 1)}));
}

TEST(PictureSize, OfATiffIsInItsFirstDirectory) {
    const auto entry = [](auto&& number, std::uint32_t tag, std::uint32_t type, std::uint32_t value) {
        const Bytes written = type == 3 ? Join({number(value, 2), Bytes(2)}) : number(value, 4);
        return Join({number(tag, 2), number(type, 2), number(1, 4), written});
    };
    Bytes cuts;
    for (const bool bBig : {false, true}) {
        const auto number = [bBig](std::uint64_t value, int width) {
            return bBig ? Big(value, width) : Little(value, width);
        };
        const Bytes head = Join({Text(bBig ? "MM" : "II"), number(42, 2), number(10, 4), Bytes(2)});
        EXPECT_EQ(SizeOf(Join({head, number(3, 2), entry(number, 254, 4, 7), entry(number, 256, 3, 9000),
                               entry(number, 257, 4, 80'000)})),
                  "9000x80000");
        EXPECT_EQ(SizeOf(Join({head, number(1, 2), entry(number, 256, 3, 9000), entry(number, 257, 3, 9000)})),
                  "9000x0")
            << "one entry is counted";
        cuts = Join({head, number(2, 2), entry(number, 256, 3, 1), entry(number, 257, 3, 1)});
        ExpectCutsAreSafe(cuts);
    }
    EXPECT_EQ(SizeOf(Join({Text("II"), Little(42, 2), Little(0xFFFFFFFF, 4)})), "none");
}

TEST(PictureSize, OfAWebpIsInItsFirstChunk) {
    const auto webp = [](const std::string& chunk, const Bytes& contents) {
        return Join({Text("RIFF"), Bytes(4), Text("WEBP" + chunk), Bytes(4), contents});
    };
    EXPECT_EQ(SizeOf(webp("VP8X", Join({Bytes(4), Little(29'999, 3), Little(0xFFFFFF, 3)}))), "30000x16777216");
    EXPECT_EQ(SizeOf(webp("VP8L", Join({{0x2F}, Little(8999 | 7999 << 14, 4)}))), "9000x8000");
    EXPECT_EQ(SizeOf(webp("VP8 ", Join({Bytes(3), {0x9D, 0x01, 0x2A}, Little(9000 | 0x4000, 2), Little(8000, 2)}))),
              "9000x8000")
        << "the two bits for scaling do not count";
    EXPECT_EQ(SizeOf(webp("ICCP", Bytes(20))), "none");
    ExpectCutsAreSafe(webp("VP8X", Bytes(10)));
    ExpectCutsAreSafe(webp("VP8L", Bytes(5)));
    ExpectCutsAreSafe(webp("VP8 ", Bytes(10)));
}

TEST(PictureSize, OfAnotherFileIsNotKnown) {
    EXPECT_EQ(SizeOf({}), "none");
    EXPECT_EQ(SizeOf(Text("no picture")), "none");
    EXPECT_EQ(SizeOf(Text("II*")), "none");
}

}  // namespace
