// The functions of ole32.dll that the program uses. Names, arguments and results are the platform's.
#pragma once

#include "foundation/late_library.h"

#include <objbase.h>

namespace Late {

inline constinit CLateLibrary g_ole32(L"ole32.dll");

NXL_LATE_FUNCTION(g_ole32, , CoCreateInstance, kLateLibraryMissing);
NXL_LATE_FUNCTION(g_ole32, , CoInitialize, kLateLibraryMissing);
NXL_LATE_FUNCTION(g_ole32, , CoInitializeEx, kLateLibraryMissing);
NXL_LATE_FUNCTION(g_ole32, , CoUninitialize, nullptr);
NXL_LATE_FUNCTION(g_ole32, , CreateStreamOnHGlobal, kLateLibraryMissing);

}  // namespace Late
