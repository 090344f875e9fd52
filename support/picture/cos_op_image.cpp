#include "support/picture/gdiplus_objects.h"

#include <array>
#include <memory>

#include "foundation/handle.h"
#include "foundation/log.h"
#include "support/picture/cos_op.h"
#include "support/picture/ico_writer.h"
#include "support/picture/late_gdiplus.h"
#include "support/system/com_pointer.h"
#include "support/system/late_ole32.h"

namespace {

constexpr Gdiplus::PixelFormat kPixelFormat32bppArgb = 2498570;
constexpr Gdiplus::ARGB kFullyTransparent = 0;

// A picture file, decoded at first need: six sizes of an icon take one decoding.
class CPicture {
  public:
    explicit CPicture(const std::wstring& path) : m_strPath(path) {}

    const std::wstring& Path() const { return m_strPath; }

    // The picture, null when it cannot be loaded.
    Gdiplus::GpImage* Load() {
        if (!m_image) {
            m_image = LoadImageFromFile(m_strPath);
        }
        return m_image.get();
    }

  private:
    const std::wstring& m_strPath;
    CImage m_image;
};

// The source stretched over a new bitmap. The drawing steps are not checked: what fails leaves the bitmap transparent.
CImage Scaled(Gdiplus::GpImage* source, std::uint32_t width, std::uint32_t height) {
    const auto columns = static_cast<INT>(width);
    const auto rows = static_cast<INT>(height);
    Gdiplus::GpBitmap* bitmap = nullptr;
    Late::GdipCreateBitmapFromScan0(columns, rows, /*stride=*/0, kPixelFormat32bppArgb, /*scan0=*/nullptr, &bitmap);
    CImage scaled(bitmap);
    if (!scaled) {
        return scaled;
    }
    Gdiplus::GpGraphics* graphics = nullptr;
    Late::GdipGetImageGraphicsContext(scaled.get(), &graphics);
    const CGraphics owner(graphics);
    if (graphics != nullptr) {
        Late::GdipSetInterpolationMode(graphics, Gdiplus::InterpolationModeHighQualityBicubic);
        Late::GdipSetSmoothingMode(graphics, Gdiplus::SmoothingModeHighQuality);
        Late::GdipSetCompositingMode(graphics, Gdiplus::CompositingModeSourceCopy);
        Late::GdipGraphicsClear(graphics, kFullyTransparent);
        Late::GdipDrawImageRectI(graphics, source, 0, 0, columns, rows);
    }
    return scaled;
}

// The class of the encoder of PNG files; false when there is none.
bool FindPngEncoder(CLSID& encoder) {
    UINT count = 0;
    UINT bytes = 0;
    if (Late::GdipGetImageEncodersSize(&count, &bytes) != Gdiplus::Ok || bytes == 0) {
        return false;
    }
    // The texts of the records follow them in the same memory.
    const auto memory = std::make_unique<std::uint8_t[]>(bytes);
    auto* const codecs = reinterpret_cast<Gdiplus::ImageCodecInfo*>(memory.get());
    if (Late::GdipGetImageEncoders(count, bytes, codecs) != Gdiplus::Ok) {
        return false;
    }
    for (UINT i = 0; i < count; ++i) {
        if (std::wstring_view(codecs[i].MimeType) == L"image/png") {
            encoder = codecs[i].Clsid;
            return true;
        }
    }
    return false;
}

// All bytes of a stream.
void ReadStream(IStream* stream, std::vector<std::uint8_t>& out) {
    STATSTG stat{};
    stream->Stat(&stat, STATFLAG_NONAME);
    out.resize(static_cast<std::size_t>(stat.cbSize.QuadPart));
    stream->Seek({}, STREAM_SEEK_SET, nullptr);
    ULONG read = 0;
    stream->Read(out.data(), static_cast<ULONG>(out.size()), &read);
    out.resize(read);
}

}  // namespace

namespace CosOp {

// The same for a picture that several calls share.
static bool ResizeImageToPngBuffer(CPicture& picture, std::uint32_t width, std::uint32_t height,
                                   std::vector<std::uint8_t>& out) {
    Gdiplus::GpImage* const source = picture.Load();
    if (source == nullptr) {
        NXL_LOG(L"[%s(%d)] Failed to load image: %s", picture.Path().c_str());
        return false;
    }
    const CImage scaled = Scaled(source, width, height);
    CLSID encoder;
    if (!FindPngEncoder(encoder)) {
        NXL_LOG(L"[%s(%d)] PNG encoder not found.");
        return false;
    }
    CComPointer<IStream> stream;
    if (FAILED(Late::CreateStreamOnHGlobal(/*hGlobal=*/nullptr, /*fDeleteOnRelease=*/TRUE, stream.ReceiveTyped()))) {
        NXL_LOG(L"[%s(%d)] CreateStreamOnHGlobal failed.");
        return false;
    }
    if (Late::GdipSaveImageToStream(scaled.get(), stream.Get(), &encoder, /*encoderParams=*/nullptr) != Gdiplus::Ok) {
        NXL_LOG(L"[%s(%d)] Failed to save resized bitmap to PNG.");
        return false;
    }
    ReadStream(stream.Get(), out);
    return true;
}

bool ResizeImageToPngBuffer(const std::wstring& path, std::uint32_t width, std::uint32_t height,
                            std::vector<std::uint8_t>& out) {
    CPicture picture(path);
    return ResizeImageToPngBuffer(picture, width, height, out);
}

bool TuFileToIcoFile(const std::wstring& sourcePath, const std::wstring& icoPath) {
    std::array<IcoImage, kIcoSizes.size()> images;
    {
        CPicture picture(sourcePath);  // closed before the icon is opened, which may be the same file
        for (std::size_t i = 0; i < images.size(); ++i) {
            images[i].size = kIcoSizes[i];
            if (!ResizeImageToPngBuffer(picture, images[i].size, images[i].size, images[i].png)) {
                NXL_LOG(L"[%s(%d)] Failed to resize & convert %dx%d image to PNG.", images[i].size, images[i].size);
                return false;
            }
        }
    }
    const std::vector<std::uint8_t> file = BuildIco(images);
    const CFileHandle output(CreateFileW(icoPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                         CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!output) {
        // The line names the source, although it is the icon that cannot be opened; readers of the log know it so.
        // CosOpImage.AnIconThatCannotBeOpenedIsLoggedWithTheSourcePath holds it.
        NXL_LOG(L"[%s(%d)] Cannot open output file: %s", sourcePath.c_str());
        return false;
    }
    DWORD written = 0;
    WriteFile(output.get(), file.data(), static_cast<DWORD>(file.size()), &written, nullptr);
    NXL_LOG(L"[%s(%d)] ICO created successfully: %s", icoPath.c_str());
    return true;
}

ImageFormat GetImageFormatFromFile(const std::wstring& path) {
    const CFileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                       FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        NXL_LOG(L"[%s(%d)] failed : INVALID_HANDLE_VALUE, Unknown image format: %s", path.c_str());
        return ImageFormatUnknown;
    }
    std::array<std::uint8_t, kImageFormatBytes> head{};
    DWORD read = 0;
    if (!ReadFile(file.get(), head.data(), static_cast<DWORD>(head.size()), &read, nullptr) ||
        read < kImageFormatLeastBytes) {
        NXL_LOG(L"[%s(%d)] failed : ReadFile, Unknown image format: %s", path.c_str());
        return ImageFormatUnknown;
    }
    return ImageFormatOfBytes(std::span(head).first(read));
}

}  // namespace CosOp
