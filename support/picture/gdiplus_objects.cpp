#include "support/picture/gdiplus_objects.h"

#include <optional>
#include <utility>

#include "foundation/late_shlwapi.h"
#include "support/picture/gdiplus_start.h"
#include "support/picture/late_gdiplus.h"
#include "support/picture/picture_size.h"
#include "support/system/com_pointer.h"
#include "support/system/file_bytes.h"

namespace {

bool IsTooLarge(const std::optional<PictureSize>& size) {
    return size && size->Pixels() > kMostPicturePixels;
}

// What GDI+ itself has read of the headers; also for the formats that no other code here knows.
PictureSize SizeOf(Gdiplus::GpImage* image) {
    UINT width = 0;
    UINT height = 0;
    Late::GdipGetImageWidth(image, &width);
    Late::GdipGetImageHeight(image, &height);
    return {width, height};
}

}  // namespace

CImage LoadImageFromBytes(std::span<const std::uint8_t> bytes) {
    if (IsTooLarge(DeclaredPictureSize(bytes))) {
        return nullptr;
    }
    CComPointer<IStream> stream;
    *stream.ReceiveTyped() = Late::SHCreateMemStream(bytes.data(), static_cast<UINT>(bytes.size()));
    if (stream.Get() == nullptr) {
        return nullptr;
    }
    StartGdiplus();
    // GDI+ holds the stream for as long as it needs it.
    Gdiplus::GpImage* image = nullptr;
    if (Late::GdipLoadImageFromStream(stream.Get(), &image) != Gdiplus::Ok) {
        return nullptr;
    }
    CImage loaded(image);
    return IsTooLarge(SizeOf(loaded.get())) ? nullptr : std::move(loaded);
}

CImage LoadImageFromFile(const std::wstring& path) {
    return LoadImageFromBytes(ReadWholeFile(path));
}

CImage LoadPngResource(HMODULE module, WORD id) {
    const HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(id), L"PNG");
    const HGLOBAL loaded = found != nullptr ? LoadResource(module, found) : nullptr;
    const auto* const bytes = loaded != nullptr ? static_cast<const std::uint8_t*>(LockResource(loaded)) : nullptr;
    return bytes != nullptr ? LoadImageFromBytes({bytes, SizeofResource(module, found)}) : nullptr;
}
