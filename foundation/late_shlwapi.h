// The functions of shlwapi.dll that the program uses. Names, arguments and results are the platform's.
#pragma once

#include "foundation/late_library.h"

namespace Late {

inline constinit CLateLibrary g_shlwapi(L"shlwapi.dll");

NXL_LATE_FUNCTION(g_shlwapi, , PathAppendW, FALSE);
NXL_LATE_FUNCTION(g_shlwapi, , PathCanonicalizeW, FALSE);
NXL_LATE_FUNCTION(g_shlwapi, , PathFileExistsW, FALSE);
NXL_LATE_FUNCTION(g_shlwapi, , PathIsPrefixW, FALSE);
NXL_LATE_FUNCTION(g_shlwapi, , PathRemoveBackslashW, nullptr);
NXL_LATE_FUNCTION(g_shlwapi, , SHCreateMemStream, nullptr);
NXL_LATE_FUNCTION(g_shlwapi, , SHGetValueW, ERROR_MOD_NOT_FOUND);
NXL_LATE_FUNCTION(g_shlwapi, , SHSetValueW, ERROR_MOD_NOT_FOUND);

}  // namespace Late
