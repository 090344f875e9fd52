// What an icon of six sizes costs, against decoding the picture once and against decoding it for every size.
#include "foundation/windows_headers.h"

#include <objidl.h>

#include <gdiplus.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/bench_table.h"
#include "support/picture/cos_op.h"
#include "support/picture/ico_writer.h"

namespace {

// A picture that does not compress to nothing, saved as PNG.
bool MakePicture(const std::filesystem::path& path, int size) {
    Gdiplus::Bitmap bitmap(size, size, PixelFormat32bppARGB);
    unsigned noise = 1;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            noise = noise * 1664525 + 1013904223;
            bitmap.SetPixel(x, y, Gdiplus::Color(0xFF000000 | static_cast<unsigned>(x * y) | (noise >> 28)));
        }
    }
    UINT count = 0;
    UINT bytes = 0;
    Gdiplus::GetImageEncodersSize(&count, &bytes);
    std::vector<char> memory(bytes);
    auto* const codecs = reinterpret_cast<Gdiplus::ImageCodecInfo*>(memory.data());
    Gdiplus::GetImageEncoders(count, bytes, codecs);
    for (UINT i = 0; i < count; ++i) {
        if (std::wstring(codecs[i].MimeType) == L"image/png") {
            return bitmap.Save(path.c_str(), &codecs[i].Clsid, nullptr) == Gdiplus::Ok;
        }
    }
    return false;
}

void Measure(const std::filesystem::path& folder, int size) {
    const auto picture = folder / (std::to_wstring(size) + L".png");
    const auto icon = folder / L"icon.ico";
    if (!MakePicture(picture, size)) {
        std::printf("the picture of %d pixels could not be made\n", size);
        return;
    }
    BenchTable table("an icon from a picture of " + std::to_string(size) + " pixels");
    table.Add("decode once, smallest size", [&](std::size_t count) {
        std::vector<std::uint8_t> png;
        for (; count > 0; --count) {
            CosOp::ResizeImageToPngBuffer(picture.wstring(), kIcoSizes[0], kIcoSizes[0], png);
        }
    });
    table.Add("TuFileToIcoFile", [&](std::size_t count) {
        for (; count > 0; --count) {
            CosOp::TuFileToIcoFile(picture.wstring(), icon.wstring());
        }
    });
    table.Add("six sizes, each from the file", [&](std::size_t count) {
        std::vector<std::uint8_t> png;
        for (; count > 0; --count) {
            for (const std::uint32_t pixels : kIcoSizes) {
                CosOp::ResizeImageToPngBuffer(picture.wstring(), pixels, pixels, png);
            }
        }
    });
    table.Run();
}

}  // namespace

int main() {
    const Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    Gdiplus::GdiplusStartup(&token, &input, nullptr);
    const auto folder =
        std::filesystem::temp_directory_path() / ("nexlet_icon_bench_" + std::to_string(GetCurrentProcessId()));
    std::filesystem::create_directories(folder);
    Measure(folder, 512);
    Measure(folder, 2048);
    std::filesystem::remove_all(folder);
    Gdiplus::GdiplusShutdown(token);
    return 0;
}
