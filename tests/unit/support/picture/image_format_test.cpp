#include "support/picture/image_format.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace std::literals;

ImageFormat Of(std::string_view bytes) {
    return ImageFormatOfBytes({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

TEST(ImageFormat, EveryKindIsKnownByItsFirstBytes) {
    EXPECT_EQ(Of("\x89PNG\r\n\x1A\n"sv), ImageFormatPng);
    EXPECT_EQ(Of("\xFF\xD8\xFF\xE0"sv), ImageFormatJpeg);
    EXPECT_EQ(Of("BM\0\0"sv), ImageFormatBmp);
    EXPECT_EQ(Of("GIF89a"sv), ImageFormatGif);
    EXPECT_EQ(Of("GIF8"sv), ImageFormatGif);
    EXPECT_EQ(Of("\0\0\1\0"sv), ImageFormatIco);
    EXPECT_EQ(Of("RIFF\1\2\3\4WEBP"sv), ImageFormatWebp);
}

TEST(ImageFormat, ValuesAreFixed) {
    EXPECT_EQ(ImageFormatUnknown, 0);
    EXPECT_EQ(ImageFormatPng, 1);
    EXPECT_EQ(ImageFormatJpeg, 2);
    EXPECT_EQ(ImageFormatBmp, 3);
    EXPECT_EQ(ImageFormatGif, 4);
    EXPECT_EQ(ImageFormatIco, 5);
    EXPECT_EQ(ImageFormatWebp, 6);
}

TEST(ImageFormat, EveryKindHasItsExtension) {
    EXPECT_STREQ(ImageFormatExtension(ImageFormatPng), L".png");
    EXPECT_STREQ(ImageFormatExtension(ImageFormatJpeg), L".jpg");
    EXPECT_STREQ(ImageFormatExtension(ImageFormatBmp), L".bmp");
    EXPECT_STREQ(ImageFormatExtension(ImageFormatGif), L".gif");
    EXPECT_STREQ(ImageFormatExtension(ImageFormatIco), L".ico");
    EXPECT_STREQ(ImageFormatExtension(ImageFormatWebp), L".webp");
    EXPECT_STREQ(ImageFormatExtension(ImageFormatUnknown), L"");
}

TEST(ImageFormat, FourBytesOfAPngAreUnknown) {
    EXPECT_EQ(Of("\x89PNG"sv), ImageFormatUnknown);
    EXPECT_EQ(Of("\x89PNG\r\n\x1A"sv), ImageFormatUnknown);
}

TEST(ImageFormat, AJpegWithAWrongThirdByteIsUnknown) {
    EXPECT_EQ(Of("\xFF\xD8\xFE\xE0"sv), ImageFormatUnknown);
}

TEST(ImageFormat, AnyOtherByteMakesItUnknown) {
    for (const std::string& good :
         {"\x89PNG\r\n\x1A\n"s, "\xFF\xD8\xFF"s, "BM"s, "GIF8"s, "\0\0\1\0"s, "RIFF....WEBP"s}) {
        ASSERT_NE(Of(good), ImageFormatUnknown);
        for (std::size_t at = 0; at < good.size(); ++at) {
            std::string bad = good + "12345678";
            bad[at] = '!';
            const bool bFree = good[0] == 'R' && at >= 4 && at < 8;  // the length of a RIFF file
            EXPECT_EQ(Of(bad) == ImageFormatUnknown, !bFree) << good << " at " << at;
            EXPECT_EQ(Of(good.substr(0, at)), ImageFormatUnknown) << good << " cut at " << at;
        }
    }
}

TEST(ImageFormat, OtherRiffFilesAreUnknown) {
    EXPECT_EQ(Of("RIFF\1\2\3\4WAVE"sv), ImageFormatUnknown);
    EXPECT_EQ(Of("RIFX\1\2\3\4WEBP"sv), ImageFormatUnknown) << "the fourth byte equals the third";
}

}  // namespace
