#include "tests/unit/support/picture/picture_files.h"

#include <algorithm>
#include <array>
#include <optional>

#include "foundation/late_shlwapi.h"
#include "foundation/text_helpers.h"
#include "support/picture/cos_op.h"
#include "support/picture/gdiplus_objects.h"
#include "support/picture/ico_writer.h"
#include "support/system/late_ole32.h"
#include "tests/support/late_fault.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_folder.h"

namespace {

using namespace pictures;

constexpr std::uint32_t kRed = 0xFF0000;
constexpr std::uint32_t kBlue = 0x0000FF;

class CosOpImage : public testing::Test {
  protected:
    std::filesystem::path File(const wchar_t* name) const { return m_folder.Path() / name; }
    std::filesystem::path File(const wchar_t* name, const Bytes& bytes) const {
        WriteFileBytes(File(name), bytes);
        return File(name);
    }
    ImageFormat FormatOf(const std::filesystem::path& path) const {
        return CosOp::GetImageFormatFromFile(path.wstring());
    }
    bool MakeIcon(const std::filesystem::path& source, const std::filesystem::path& icon) const {
        return CosOp::TuFileToIcoFile(source.wstring(), icon.wstring());
    }
    static std::string Text(const std::filesystem::path& path) { return Utf16ToUtf8(path.wstring()); }

    CTempFolder m_folder;
    CGdiplus m_gdiplus;
    LogCapture m_log;
};

TEST_F(CosOpImage, FormatIsJudgedFromTheBytesAndNeverFromTheName) {
    EXPECT_EQ(FormatOf(File(L"picture.png", {'G', 'I', 'F', '8', '9', 'a'})), ImageFormatGif);
    EXPECT_EQ(FormatOf(File(L"picture.gif", HalfTransparentPng())), ImageFormatPng);
    EXPECT_EQ(FormatOf(File(L"图片", TwoColourBmp(4, 4, kRed, kBlue))), ImageFormatBmp);
    EXPECT_EQ(FormatOf(File(L"a.webp", {'R', 'I', 'F', 'F', 1, 2, 3, 4, 'W', 'E', 'B', 'P'})), ImageFormatWebp);
    EXPECT_EQ(m_log.All(), "") << "a format that is known is not worth a line";
}

TEST_F(CosOpImage, AFileOfThreeBytesIsUnknownThroughTheReadFailureLine) {
    const auto path = File(L"three.jpg", {0xFF, 0xD8, 0xFF});
    EXPECT_EQ(FormatOf(path), ImageFormatUnknown);
    EXPECT_TRUE(m_log.Has("failed : ReadFile, Unknown image format: " + Text(path))) << m_log.All();
    EXPECT_NE(m_log.Find("[CosOp::GetImageFormatFromFile("), "");
    EXPECT_EQ(FormatOf(File(L"empty.png", {})), ImageFormatUnknown);
    EXPECT_EQ(m_log.Count("failed : ReadFile, Unknown image format: " + Text(File(L"empty.png"))), 1u) << m_log.All();
}

TEST_F(CosOpImage, FourBytesOfAPngAreUnknownWithoutALine) {
    EXPECT_EQ(FormatOf(File(L"four.png", {0x89, 'P', 'N', 'G'})), ImageFormatUnknown);
    EXPECT_EQ(m_log.All(), "");
}

TEST_F(CosOpImage, AFileThatCannotBeOpenedIsUnknownThroughItsOwnLine) {
    for (const auto& path : {File(L"missing.png"), m_folder.Path()}) {
        EXPECT_EQ(FormatOf(path), ImageFormatUnknown);
        EXPECT_TRUE(m_log.Has("failed : INVALID_HANDLE_VALUE, Unknown image format: " + Text(path))) << m_log.All();
    }
}

TEST_F(CosOpImage, ResizedPictureIsAPngOfTheSizeAskedForAndStretched) {
    const auto source = File(L"wide.bmp", TwoColourBmp(40, 10, kRed, kBlue));
    Bytes png = {1, 2, 3};
    ASSERT_TRUE(CosOp::ResizeImageToPngBuffer(source.wstring(), 30, 50, png));
    const auto resized = File(L"resized.png", png);
    EXPECT_EQ(FormatOf(resized), ImageFormatPng);
    CDecoded picture(resized);
    EXPECT_EQ(picture.Width(), 30u);
    EXPECT_EQ(picture.Height(), 50u);
    for (const std::uint32_t y : {5u, 25u, 45u}) {  // no bars above and below
        EXPECT_EQ(picture.Pixel(6, y), 0xFF000000 | kRed);
        EXPECT_EQ(picture.Pixel(24, y), 0xFF000000 | kBlue);
    }
}

TEST_F(CosOpImage, TransparencySurvivesTheScaling) {
    const auto source = File(L"half.png", HalfTransparentPng());
    Bytes png;
    ASSERT_TRUE(CosOp::ResizeImageToPngBuffer(source.wstring(), 64, 64, png));
    CDecoded picture(File(L"resized.png", png));
    const std::uint32_t middle = picture.Pixel(16, 16);
    EXPECT_NEAR(static_cast<int>(middle >> 24), 128, 2);
    EXPECT_GE((middle >> 8) & 0xFF, 250u);
}

TEST_F(CosOpImage, APictureThatCannotBeLoadedIsLogged) {
    const auto source = File(L"text.png", {'n', 'o', ' ', 'p', 'i', 'c', 't', 'u', 'r', 'e'});
    Bytes png;
    EXPECT_FALSE(CosOp::ResizeImageToPngBuffer(source.wstring(), 16, 16, png));
    EXPECT_TRUE(m_log.Has("Failed to load image: " + Text(source))) << m_log.All();
    EXPECT_NE(m_log.Find("[CosOp::ResizeImageToPngBuffer("), "") << m_log.All();
}

Gdiplus::GpStatus NoEncoders(UINT*, UINT*) {
    return Gdiplus::GenericError;
}
HRESULT WINAPI NoStream(HGLOBAL, BOOL, LPSTREAM*) {
    return E_OUTOFMEMORY;
}
IStream* WINAPI NoMemoryStream(const BYTE*, UINT) {
    return nullptr;
}
Gdiplus::GpStatus NoSaving(Gdiplus::GpImage*, IStream*, const CLSID*, const Gdiplus::EncoderParameters*) {
    return Gdiplus::Win32Error;
}

TEST_F(CosOpImage, EachStepOfResizingThatFailsHasItsLine) {
    const auto source = File(L"source.bmp", TwoColourBmp(4, 4, kRed, kBlue)).wstring();
    Bytes png;
    {
        const CLateFault fault(Late::GdipGetImageEncodersSize, &NoEncoders);
        EXPECT_FALSE(CosOp::ResizeImageToPngBuffer(source, 16, 16, png));
        EXPECT_EQ(m_log.Count("PNG encoder not found."), 1u) << m_log.All();
    }
    {
        const CLateFault fault(Late::CreateStreamOnHGlobal, &NoStream);
        EXPECT_FALSE(CosOp::ResizeImageToPngBuffer(source, 16, 16, png));
        EXPECT_EQ(m_log.Count("CreateStreamOnHGlobal failed."), 1u) << m_log.All();
    }
    {
        const CLateFault fault(Late::GdipSaveImageToStream, &NoSaving);
        EXPECT_FALSE(CosOp::ResizeImageToPngBuffer(source, 16, 16, png));
        EXPECT_EQ(m_log.Count("Failed to save resized bitmap to PNG."), 1u) << m_log.All();
    }
    EXPECT_FALSE(CosOp::ResizeImageToPngBuffer(source, 0, 16, png)) << "a bitmap without pixels cannot be made";
    EXPECT_EQ(m_log.Count("Failed to save resized bitmap to PNG."), 2u) << m_log.All();
    EXPECT_EQ(m_log.Lines().size(), 4u) << m_log.All();
    EXPECT_TRUE(CosOp::ResizeImageToPngBuffer(source, 16, 16, png)) << m_log.All();
}

TEST_F(CosOpImage, AFileWithoutBytesOrWithoutMemoryForItsStreamCannotBeLoaded) {
    EXPECT_EQ(LoadImageFromFile(File(L"missing.png").wstring()), nullptr);
    EXPECT_EQ(LoadImageFromFile(m_folder.Path().wstring()), nullptr);
    EXPECT_EQ(LoadImageFromFile(File(L"empty.png", {}).wstring()), nullptr);
    const auto source = File(L"source.bmp", TwoColourBmp(4, 4, kRed, kBlue)).wstring();
    {
        const CLateFault fault(Late::SHCreateMemStream, &NoMemoryStream);
        EXPECT_EQ(LoadImageFromFile(source), nullptr);
    }
    EXPECT_NE(LoadImageFromFile(source), nullptr);
}

// A decoder looks for the next part where the length of this one says it is. A stream over the memory of a handle lets
// it read there, under Wine, and that ends the process.
TEST_F(CosOpImage, APictureWithAPartThatIsLongerThanItsFileIsSurvived) {
    const auto source = File(L"source.bmp", TwoColourBmp(40, 10, kRed, kBlue)).wstring();
    std::vector<BYTE> png;
    ASSERT_TRUE(CosOp::ResizeImageToPngBuffer(source, 16, 16, png)) << m_log.All();
    // In the place of the end, which is four bytes of length, a name and a checksum, a text of 16 MiB.
    constexpr std::size_t kEndBytes = 12;
    constexpr std::array<BYTE, 8> kText{1, 0, 0, 0, 't', 'E', 'X', 't'};
    ASSERT_GT(png.size(), kEndBytes);
    std::ranges::copy(kText, png.end() - kEndBytes);
    const auto damaged = File(L"damaged.png", {png.begin(), png.end()}).wstring();
    CosOp::ResizeImageToPngBuffer(damaged, 16, 16, png);
}

TEST_F(CosOpImage, ALoadedPictureNeedsItsFileNoMore) {
    const auto source = File(L"source.bmp", TwoColourBmp(40, 10, kRed, kBlue));
    const CImage image = LoadImageFromFile(source.wstring());
    ASSERT_NE(image, nullptr);
    EXPECT_TRUE(DeleteFileW(source.c_str())) << GetLastError();
    UINT width = 0;
    EXPECT_EQ(Late::GdipGetImageWidth(image.get(), &width), Gdiplus::Ok);
    EXPECT_EQ(width, 40u);
}

// GDI+ is asked to read a picture so often.
int g_nDecoded = 0;
Gdiplus::GpStatus CountDecoding(IStream*, Gdiplus::GpImage**) {
    ++g_nDecoded;
    return Gdiplus::InvalidParameter;
}
UINT g_nSaidWidth = 0;
Gdiplus::GpStatus SayWidth(Gdiplus::GpImage*, UINT* width) {
    *width = g_nSaidWidth;
    return Gdiplus::Ok;
}

TEST_F(CosOpImage, APictureOfMoreThan64MillionPixelsIsNotDecoded) {
    const CLateFault fault(Late::GdipLoadImageFromStream, &CountDecoding);
    g_nDecoded = 0;
    const auto declare = [&](std::uint16_t width, std::uint16_t height) {
        Bytes bmp = TwoColourBmp(4, 4, kRed, kBlue);
        bmp[18] = static_cast<std::uint8_t>(width);
        bmp[19] = static_cast<std::uint8_t>(width >> 8);
        bmp[22] = static_cast<std::uint8_t>(height);
        bmp[23] = static_cast<std::uint8_t>(height >> 8);
        return File(L"declared.bmp", bmp);
    };
    const auto large = declare(8000, 8001);
    EXPECT_FALSE(MakeIcon(large, File(L"icon.ico")));
    EXPECT_EQ(g_nDecoded, 0);
    EXPECT_TRUE(m_log.Has("Failed to load image: " + Text(large))) << m_log.All();
    MakeIcon(declare(8000, 8000), File(L"icon.ico"));
    EXPECT_EQ(g_nDecoded, 1) << "so many are tried";
}

TEST_F(CosOpImage, WhatTheDecoderItselfFindsTooLargeIsNotUsed) {
    const CLateFault fault(Late::GdipGetImageWidth, &SayWidth);
    const Bytes bmp = TwoColourBmp(40, 10, kRed, kBlue);
    g_nSaidWidth = 6'400'000;
    EXPECT_NE(LoadImageFromBytes(bmp), nullptr);
    g_nSaidWidth = 6'400'001;
    EXPECT_EQ(LoadImageFromBytes(bmp), nullptr);
}

std::uint32_t Little(const Bytes& file, std::size_t at, std::size_t width) {
    std::uint32_t value = 0;
    for (std::size_t i = width; i-- > 0;) {
        value = value << 8 | file.at(at + i);
    }
    return value;
}

TEST_F(CosOpImage, AnIconHasSixPngImagesInOrderWithoutGaps) {
    const auto source = File(L"wide.bmp", TwoColourBmp(300, 100, kRed, kBlue));
    const auto icon = File(L"icon.ico");
    ASSERT_TRUE(MakeIcon(source, icon)) << m_log.All();
    EXPECT_TRUE(m_log.Has("ICO created successfully: " + Text(icon))) << m_log.All();
    const Bytes file = ReadFileBytes(icon);
    EXPECT_EQ(FormatOf(icon), ImageFormatIco);
    ASSERT_GT(file.size(), 102u);
    EXPECT_EQ(Bytes(file.begin(), file.begin() + 6), (Bytes{0, 0, 1, 0, 6, 0}));
    std::uint32_t dataAt = 102;
    for (std::size_t i = 0; i < kIcoSizes.size(); ++i) {
        const std::size_t entry = 6 + 16 * i;
        const std::uint32_t size = kIcoSizes[i];
        EXPECT_EQ(file[entry], size == 256 ? 0 : size);
        EXPECT_EQ(file[entry + 1], size == 256 ? 0 : size);
        EXPECT_EQ(Little(file, entry + 2, 2), 0u);
        EXPECT_EQ(Little(file, entry + 4, 2), 1u);
        EXPECT_EQ(Little(file, entry + 6, 2), 32u);
        EXPECT_EQ(Little(file, entry + 12, 4), dataAt);
        const std::uint32_t bytes = Little(file, entry + 8, 4);
        ASSERT_LE(dataAt + bytes, file.size());
        const Bytes png(file.begin() + dataAt, file.begin() + dataAt + bytes);
        dataAt += bytes;

        // The same bytes as a picture resized alone.
        Bytes alone;
        ASSERT_TRUE(CosOp::ResizeImageToPngBuffer(source.wstring(), size, size, alone));
        EXPECT_EQ(png, alone) << size;
        CDecoded picture(File((L"image" + std::to_wstring(size)).c_str(), png));
        EXPECT_EQ(picture.Width(), size);
        EXPECT_EQ(picture.Height(), size);
        EXPECT_EQ(picture.Pixel(size / 8, size / 2), 0xFF000000 | kRed);
        EXPECT_EQ(picture.Pixel(size - 1 - size / 8, size / 2), 0xFF000000 | kBlue);
    }
    EXPECT_EQ(dataAt, file.size());
}

TEST_F(CosOpImage, EveryFormatOfTheDecoderMakesAnIcon) {
    const auto bmp = File(L"source.bmp", TwoColourBmp(20, 20, kRed, kBlue));
    const auto jpeg = File(L"source.jpg");
    CDecoded(bmp).SaveAs(jpeg, L"image/jpeg");
    const auto gif = File(L"source.gif", OnePixelGif());
    EXPECT_EQ(FormatOf(jpeg), ImageFormatJpeg);
    EXPECT_EQ(FormatOf(gif), ImageFormatGif);
    for (const auto& source : {jpeg, gif, File(L"half.png", HalfTransparentPng())}) {
        EXPECT_TRUE(MakeIcon(source, File(L"icon.ico"))) << source << m_log.All();
    }
}

TEST_F(CosOpImage, APictureThatFailsMakesNoIconAndLeavesAnEarlierOne) {
    const auto source = File(L"text.jpg", {'n', 'o', ' ', 'p', 'i', 'c', 't', 'u', 'r', 'e'});
    EXPECT_FALSE(MakeIcon(source, File(L"new.ico")));
    EXPECT_FALSE(std::filesystem::exists(File(L"new.ico")));
    EXPECT_TRUE(m_log.Has("Failed to load image: " + Text(source))) << m_log.All();
    EXPECT_TRUE(m_log.Has("Failed to resize & convert 16x16 image to PNG.")) << m_log.All();
    EXPECT_EQ(m_log.Lines().size(), 2u) << "the first size that fails is the last one tried";

    const auto earlier = File(L"earlier.ico", {1, 2, 3});
    EXPECT_FALSE(MakeIcon(source, earlier));
    EXPECT_EQ(ReadFileBytes(earlier), (Bytes{1, 2, 3}));
}

TEST_F(CosOpImage, ANewIconReplacesALongerOne) {
    const auto icon = File(L"icon.ico", Bytes(1'000'000, 0x55));
    ASSERT_TRUE(MakeIcon(File(L"source.bmp", TwoColourBmp(20, 20, kRed, kBlue)), icon));
    const Bytes file = ReadFileBytes(icon);
    EXPECT_LT(file.size(), 100'000u);
    EXPECT_EQ(Little(file, 6 + 16 * 5 + 8, 4) + Little(file, 6 + 16 * 5 + 12, 4), file.size());
}

TEST_F(CosOpImage, AnIconThatCannotBeOpenedIsLoggedWithTheSourcePath) {
    const auto source = File(L"source.bmp", TwoColourBmp(20, 20, kRed, kBlue));
    EXPECT_FALSE(MakeIcon(source, m_folder.Path() / L"missing" / L"icon.ico"));
    EXPECT_TRUE(m_log.Has("Cannot open output file: " + Text(source))) << m_log.All();
    EXPECT_NE(m_log.Find("[CosOp::TuFileToIcoFile("), "");
}

TEST_F(CosOpImage, ThePictureIsFreeAgainAndMayItselfBecomeTheIcon) {
    const auto source = File(L"source.bmp", TwoColourBmp(20, 20, kRed, kBlue));
    ASSERT_TRUE(MakeIcon(source, source)) << m_log.All();
    EXPECT_EQ(FormatOf(source), ImageFormatIco);
    EXPECT_TRUE(std::filesystem::remove(source));
}

TEST_F(CosOpImage, TheSystemOpensTheIconInEachSize) {
    const auto icon = File(L"icon.ico");
    ASSERT_TRUE(MakeIcon(File(L"source.bmp", TwoColourBmp(20, 20, kRed, kBlue)), icon));
    for (const std::uint32_t size : kIcoSizes) {
        const auto pixels = static_cast<int>(size);
        const HANDLE loaded = LoadImageW(nullptr, icon.c_str(), IMAGE_ICON, pixels, pixels, LR_LOADFROMFILE);
        ASSERT_NE(loaded, nullptr) << size << ": " << GetLastError();
        ICONINFO info{};
        ASSERT_TRUE(GetIconInfo(static_cast<HICON>(loaded), &info));
        BITMAP bitmap{};
        EXPECT_NE(GetObjectW(info.hbmColor, sizeof(bitmap), &bitmap), 0);
        EXPECT_EQ(bitmap.bmWidth, pixels);
        DeleteObject(info.hbmColor);
        DeleteObject(info.hbmMask);
        DestroyIcon(static_cast<HICON>(loaded));
    }
}

}  // namespace
