// The functions of shell32.dll that the program uses. Names, arguments and results are the platform's.
#pragma once

#include "foundation/late_library.h"

#include <shlobj.h>

namespace Late {

inline constinit CLateLibrary g_shell32(L"shell32.dll");

NXL_LATE_FUNCTION(g_shell32, , ILFree, nullptr);
NXL_LATE_FUNCTION(g_shell32, , SHGetSpecialFolderPathW, FALSE);
NXL_LATE_FUNCTION(g_shell32, , SHParseDisplayName, kLateLibraryMissing);
NXL_LATE_FUNCTION(g_shell32, , ShellExecuteW, nullptr);

}  // namespace Late
