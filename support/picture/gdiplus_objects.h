// Owners of the objects of GDI+'s flat interface.
#pragma once

#include "foundation/windows_headers.h"
#include "support/picture/late_gdiplus.h"

#include <objidl.h>

#include <gdiplus.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>

// What belongs to GDI+ and is freed by the function Free.
template <auto& Free>
struct GdiplusDeleter {
    template <typename Object>
    void operator()(Object* object) const {
        Free(object);
    }
};
template <typename Object, auto& Free>
using CGdiplusOwner = std::unique_ptr<Object, GdiplusDeleter<Free>>;

using CImage = CGdiplusOwner<Gdiplus::GpImage, Late::GdipDisposeImage>;
using CGraphics = CGdiplusOwner<Gdiplus::GpGraphics, Late::GdipDeleteGraphics>;
using CFontFamily = CGdiplusOwner<Gdiplus::GpFontFamily, Late::GdipDeleteFontFamily>;
using CFont = CGdiplusOwner<Gdiplus::GpFont, Late::GdipDeleteFont>;
using CStringFormat = CGdiplusOwner<Gdiplus::GpStringFormat, Late::GdipDeleteStringFormat>;
using CImageAttributes = CGdiplusOwner<Gdiplus::GpImageAttributes, Late::GdipDisposeImageAttributes>;
using CBrush = CGdiplusOwner<Gdiplus::GpBrush, Late::GdipDeleteBrush>;

// The picture in these bytes, which are copied; null when they cannot be decoded, which what declares more than
// kMostPicturePixels never is. Starts GDI+.
CImage LoadImageFromBytes(std::span<const std::uint8_t> bytes);

// The same of a file, read into memory once and closed again before it is decoded.
CImage LoadImageFromFile(const std::wstring& path);

// The picture in a resource of type PNG of this module; null when there is none.
CImage LoadPngResource(HMODULE module, WORD id);
