#include "support/picture/gdiplus_start.h"
#include "support/picture/late_gdiplus.h"

#include <objidl.h>

#include <gdiplus.h>

ULONG_PTR StartGdiplus() {
    static const ULONG_PTR token = [] {
        Gdiplus::GdiplusStartupInput input;
        ULONG_PTR started = 0;
        Late::GdiplusStartup(&started, &input, /*output=*/nullptr);
        return started;
    }();
    return token;
}
