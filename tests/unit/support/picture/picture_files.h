// Pictures for tests: small files made on the spot, and the pixels of others.
#pragma once

#include "foundation/windows_headers.h"

#include <objidl.h>

#include <gdiplus.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace pictures {

using Bytes = std::vector<std::uint8_t>;

inline void WriteFileBytes(const std::filesystem::path& path, const Bytes& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(file) << path;
}

inline Bytes ReadFileBytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return Bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

// A 24-bit BMP whose left half has one colour and whose right half another (0xRRGGBB).
inline Bytes TwoColourBmp(std::uint32_t width, std::uint32_t height, std::uint32_t left, std::uint32_t right) {
    Bytes file;
    const auto put = [&file](std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            file.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        }
    };
    const std::uint32_t row = (width * 3 + 3) / 4 * 4;
    put(0x4D42, 2);
    put(54 + row * height, 4);
    put(0, 4);
    put(54, 4);  // where the pixels begin
    put(40, 4);  // BITMAPINFOHEADER
    put(width, 4);
    put(height, 4);
    put(1, 2);
    put(24, 2);
    for (int i = 0; i < 6; ++i) {
        put(0, 4);
    }
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            put(x < width / 2 ? left : right, 3);
        }
        for (std::uint32_t pad = width * 3; pad < row; ++pad) {
            put(0, 1);
        }
    }
    return file;
}

// Two by two pixels of half-transparent green (alpha 128).
inline Bytes HalfTransparentPng() {
    return {0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A, 0x00, 0x00, 0x00, 0x0D, 0x49, 0x48, 0x44,
            0x52, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x02, 0x08, 0x06, 0x00, 0x00, 0x00, 0x72,
            0xB6, 0x0D, 0x24, 0x00, 0x00, 0x00, 0x10, 0x49, 0x44, 0x41, 0x54, 0x78, 0xDA, 0x63, 0x60,
            0xF8, 0xCF, 0xD0, 0x00, 0xC6, 0x30, 0x06, 0x00, 0x34, 0xEC, 0x05, 0xFD, 0x73, 0xE2, 0xE4,
            0x3B, 0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4E, 0x44, 0xAE, 0x42, 0x60, 0x82};
}

// One red pixel.
inline Bytes OnePixelGif() {
    return {'G',  'I',  'F',  '8',  '9',  'a',  0x01, 0x00, 0x01, 0x00, 0x80, 0x00, 0x00, 0xFF, 0x00, 0x00, 0x00, 0x00,
            0xFF, 0x2C, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x01, 0x00, 0x00, 0x02, 0x02, 0x44, 0x01, 0x00, 0x3B};
}

// GDI+ for the length of a scope.
class CGdiplus {
  public:
    CGdiplus() {
        const Gdiplus::GdiplusStartupInput input;
        EXPECT_EQ(Gdiplus::GdiplusStartup(&m_nToken, &input, nullptr), Gdiplus::Ok);
    }
    ~CGdiplus() { Gdiplus::GdiplusShutdown(m_nToken); }
    CGdiplus(const CGdiplus&) = delete;
    CGdiplus& operator=(const CGdiplus&) = delete;

  private:
    ULONG_PTR m_nToken = 0;
};

// The picture of a file, decoded by GDI+.
class CDecoded {
  public:
    explicit CDecoded(const std::filesystem::path& path) : m_bitmap(path.c_str()) {
        EXPECT_EQ(m_bitmap.GetLastStatus(), Gdiplus::Ok) << path;
    }
    std::uint32_t Width() { return m_bitmap.GetWidth(); }
    std::uint32_t Height() { return m_bitmap.GetHeight(); }
    // 0xAARRGGBB
    std::uint32_t Pixel(std::uint32_t x, std::uint32_t y) {
        Gdiplus::Color colour;
        EXPECT_EQ(m_bitmap.GetPixel(static_cast<INT>(x), static_cast<INT>(y), &colour), Gdiplus::Ok);
        return colour.GetValue();
    }
    // Saves it in another format, by its MIME type.
    void SaveAs(const std::filesystem::path& path, const wchar_t* mimeType) {
        UINT count = 0;
        UINT bytes = 0;
        Gdiplus::GetImageEncodersSize(&count, &bytes);
        Bytes memory(bytes);
        auto* const codecs = reinterpret_cast<Gdiplus::ImageCodecInfo*>(memory.data());
        Gdiplus::GetImageEncoders(count, bytes, codecs);
        for (UINT i = 0; i < count; ++i) {
            if (std::wstring(codecs[i].MimeType) == mimeType) {
                EXPECT_EQ(m_bitmap.Save(path.c_str(), &codecs[i].Clsid, nullptr), Gdiplus::Ok);
                return;
            }
        }
        ADD_FAILURE() << "no encoder";
    }

  private:
    Gdiplus::Bitmap m_bitmap;
};

}  // namespace pictures
