#include "host/gdiplus_start.h"

#include <objidl.h>

#include <gdiplus.h>

ULONG_PTR StartGdiplus() {
    Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    Gdiplus::GdiplusStartup(&token, &input, /*output=*/nullptr);
    return token;
}
