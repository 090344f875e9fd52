#include "support/loading/loading_font.h"

#include "support/loading/loading_layout.h"

CFontFamily MakeLoadingFontFamily() {
    Gdiplus::GpFontFamily* family = nullptr;
    for (const wchar_t* const name : kLoadingFontFamilies) {
        if (Late::GdipCreateFontFamilyFromName(name, /*collection=*/nullptr, &family) == Gdiplus::Ok) {
            return CFontFamily(family);
        }
    }
    return Late::GdipGetGenericFontFamilySansSerif(&family) == Gdiplus::Ok ? CFontFamily(family) : nullptr;
}
