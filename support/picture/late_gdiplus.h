// The functions of gdiplus.dll's flat interface that the program uses. Names, arguments and results are the platform's.
#pragma once

#include "foundation/late_library.h"

#include <objidl.h>

#include <gdiplus.h>

namespace Late {

inline constinit CLateLibrary g_gdiplus(L"gdiplus.dll");

#define NXL_LATE_GDIPLUS(name) NXL_LATE_FUNCTION(g_gdiplus, Gdiplus::DllExports, name, Gdiplus::GdiplusNotInitialized)

NXL_LATE_GDIPLUS(GdipCloneStringFormat);
NXL_LATE_GDIPLUS(GdipCreateBitmapFromScan0);
NXL_LATE_GDIPLUS(GdipCreateFont);
NXL_LATE_GDIPLUS(GdipCreateFontFamilyFromName);
NXL_LATE_GDIPLUS(GdipCreateFromHDC);
NXL_LATE_GDIPLUS(GdipCreateImageAttributes);
NXL_LATE_GDIPLUS(GdipCreateSolidFill);
NXL_LATE_GDIPLUS(GdipDeleteBrush);
NXL_LATE_GDIPLUS(GdipDeleteFont);
NXL_LATE_GDIPLUS(GdipDeleteFontFamily);
NXL_LATE_GDIPLUS(GdipDeleteGraphics);
NXL_LATE_GDIPLUS(GdipDeleteStringFormat);
NXL_LATE_GDIPLUS(GdipDisposeImage);
NXL_LATE_GDIPLUS(GdipDisposeImageAttributes);
NXL_LATE_GDIPLUS(GdipDrawImageRectI);
NXL_LATE_GDIPLUS(GdipDrawImageRectRectI);
NXL_LATE_GDIPLUS(GdipDrawString);
NXL_LATE_GDIPLUS(GdipGetGenericFontFamilySansSerif);
NXL_LATE_GDIPLUS(GdipGetImageEncoders);
NXL_LATE_GDIPLUS(GdipGetImageEncodersSize);
NXL_LATE_GDIPLUS(GdipGetImageGraphicsContext);
NXL_LATE_GDIPLUS(GdipGetImageHeight);
NXL_LATE_GDIPLUS(GdipGetImageWidth);
NXL_LATE_GDIPLUS(GdipGraphicsClear);
NXL_LATE_GDIPLUS(GdipLoadImageFromStream);
NXL_LATE_GDIPLUS(GdipSaveImageToStream);
NXL_LATE_GDIPLUS(GdipSetCompositingMode);
NXL_LATE_GDIPLUS(GdipSetImageAttributesWrapMode);
NXL_LATE_GDIPLUS(GdipSetInterpolationMode);
NXL_LATE_GDIPLUS(GdipSetSmoothingMode);
NXL_LATE_GDIPLUS(GdipSetStringFormatAlign);
NXL_LATE_GDIPLUS(GdipSetStringFormatFlags);
NXL_LATE_GDIPLUS(GdipSetTextRenderingHint);
NXL_LATE_GDIPLUS(GdipStringFormatGetGenericTypographic);
NXL_LATE_FUNCTION(g_gdiplus, Gdiplus, GdiplusStartup, Gdiplus::GdiplusNotInitialized);

#undef NXL_LATE_GDIPLUS

}  // namespace Late
