// The functions of version.dll that the program uses. Names, arguments and results are the platform's.
#pragma once

#include "foundation/late_library.h"

namespace Late {

inline constinit CLateLibrary g_version(L"version.dll");

NXL_LATE_FUNCTION(g_version, , GetFileVersionInfoSizeW, 0);
NXL_LATE_FUNCTION(g_version, , GetFileVersionInfoW, FALSE);
NXL_LATE_FUNCTION(g_version, , VerQueryValueW, FALSE);

}  // namespace Late
