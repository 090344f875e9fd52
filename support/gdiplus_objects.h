// Owners of the objects of GDI+'s flat interface.
#pragma once

#include "foundation/windows_headers.h"

#include <objidl.h>

#include <gdiplus.h>

#include <cstdint>
#include <memory>
#include <span>

// What belongs to GDI+ and is freed by the function Free.
template <auto Free>
struct GdiplusDeleter {
    template <typename Object>
    void operator()(Object* object) const {
        Free(object);
    }
};
template <typename Object, auto Free>
using CGdiplusOwner = std::unique_ptr<Object, GdiplusDeleter<Free>>;

using CImage = CGdiplusOwner<Gdiplus::GpImage, &Gdiplus::DllExports::GdipDisposeImage>;
using CGraphics = CGdiplusOwner<Gdiplus::GpGraphics, &Gdiplus::DllExports::GdipDeleteGraphics>;
using CFontFamily = CGdiplusOwner<Gdiplus::GpFontFamily, &Gdiplus::DllExports::GdipDeleteFontFamily>;
using CFont = CGdiplusOwner<Gdiplus::GpFont, &Gdiplus::DllExports::GdipDeleteFont>;
using CStringFormat = CGdiplusOwner<Gdiplus::GpStringFormat, &Gdiplus::DllExports::GdipDeleteStringFormat>;
using CImageAttributes = CGdiplusOwner<Gdiplus::GpImageAttributes, &Gdiplus::DllExports::GdipDisposeImageAttributes>;
using CBrush = CGdiplusOwner<Gdiplus::GpBrush, &Gdiplus::DllExports::GdipDeleteBrush>;

// The picture in these bytes, which are copied; null when they cannot be decoded. Starts GDI+.
CImage LoadImageFromBytes(std::span<const std::uint8_t> bytes);

// The picture in a resource of type PNG of this module; null when there is none.
CImage LoadPngResource(HMODULE module, WORD id);
