// The font family of the loading window's texts.
#pragma once

#include "support/picture/gdiplus_objects.h"

// The first of kLoadingFontFamilies that the system has, or else the generic family without serifs; null when GDI+ has
// none at all. GDI+ must have been started.
CFontFamily MakeLoadingFontFamily();
