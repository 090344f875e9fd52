#include "support/picture/gdiplus_objects.h"

#include <optional>
#include <utility>

#include "foundation/late_shlwapi.h"
#include "support/picture/gdiplus_start.h"
#include "support/picture/late_gdiplus.h"
#include "support/picture/picture_size.h"
#include "support/system/com_pointer.h"
#include "support/system/file_memory.h"
#include "support/system/late_ole32.h"

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

// The picture in a stream, which it holds for as long as it needs it.
CImage Decoded(IStream* stream) {
    StartGdiplus();
    Gdiplus::GpImage* image = nullptr;
    if (Late::GdipLoadImageFromStream(stream, &image) != Gdiplus::Ok) {
        return nullptr;
    }
    CImage loaded(image);
    return IsTooLarge(SizeOf(loaded.get())) ? nullptr : std::move(loaded);
}

}  // namespace

CImage LoadImageFromBytes(std::span<const std::uint8_t> bytes) {
    if (IsTooLarge(DeclaredPictureSize(bytes))) {
        return nullptr;
    }
    CComPointer<IStream> stream;
    *stream.ReceiveTyped() = Late::SHCreateMemStream(bytes.data(), static_cast<UINT>(bytes.size()));
    return stream.Get() != nullptr ? Decoded(stream.Get()) : nullptr;
}

CImage LoadImageFromFile(const std::wstring& path) {
    DWORD size = 0;
    CGlobalMemory memory = ReadWholeFile(path, size);
    if (!memory) {
        return nullptr;
    }
    const bool bTooLarge =
        IsTooLarge(DeclaredPictureSize({static_cast<const std::uint8_t*>(GlobalLock(memory.get())), size}));
    GlobalUnlock(memory.get());
    CComPointer<IStream> stream;
    if (bTooLarge ||
        FAILED(Late::CreateStreamOnHGlobal(memory.get(), /*fDeleteOnRelease=*/TRUE, stream.ReceiveTyped()))) {
        return nullptr;
    }
    static_cast<void>(memory.release());  // it is the stream's now
    ULARGE_INTEGER bytes{};
    bytes.QuadPart = size;
    return SUCCEEDED(stream->SetSize(bytes)) ? Decoded(stream.Get()) : nullptr;
}

CImage LoadPngResource(HMODULE module, WORD id) {
    const HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(id), L"PNG");
    const HGLOBAL loaded = found != nullptr ? LoadResource(module, found) : nullptr;
    const auto* const bytes = loaded != nullptr ? static_cast<const std::uint8_t*>(LockResource(loaded)) : nullptr;
    return bytes != nullptr ? LoadImageFromBytes({bytes, SizeofResource(module, found)}) : nullptr;
}
