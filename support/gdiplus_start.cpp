#include "support/gdiplus_start.h"

#include <objidl.h>

#include <gdiplus.h>

ULONG_PTR StartGdiplus() {
    static const ULONG_PTR token = [] {
        Gdiplus::GdiplusStartupInput input;
        ULONG_PTR started = 0;
        Gdiplus::GdiplusStartup(&started, &input, /*output=*/nullptr);
        return started;
    }();
    return token;
}
