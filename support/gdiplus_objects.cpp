#include "support/gdiplus_objects.h"

#include "support/com_pointer.h"
#include "support/gdiplus_start.h"

CImage LoadImageFromBytes(std::span<const std::uint8_t> bytes) {
    StartGdiplus();
    CComPointer<IStream> stream;
    *stream.ReceiveTyped() = SHCreateMemStream(bytes.data(), static_cast<UINT>(bytes.size()));
    Gdiplus::GpImage* image = nullptr;
    if (stream.Get() == nullptr || Gdiplus::DllExports::GdipLoadImageFromStream(stream.Get(), &image) != Gdiplus::Ok) {
        return nullptr;
    }
    return CImage(image);  // it holds the stream for as long as it needs it
}

CImage LoadPngResource(HMODULE module, WORD id) {
    const HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(id), L"PNG");
    const HGLOBAL loaded = found != nullptr ? LoadResource(module, found) : nullptr;
    const auto* const bytes = loaded != nullptr ? static_cast<const std::uint8_t*>(LockResource(loaded)) : nullptr;
    return bytes != nullptr ? LoadImageFromBytes({bytes, SizeofResource(module, found)}) : nullptr;
}
