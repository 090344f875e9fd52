// Whether this process was started from the screen-saver file.
#pragma once

#include <string>
#include <string_view>

namespace WXMINI_PROGRAM_COMMON {

// True when this process runs from a file of the screen saver's name.
bool IsSystemPicStart();

// The same for a process that runs from this path, which may be a short one (in the system's own code page).
bool IsSystemPicStart(const char* modulePath);

// The rule of it: the name after the last backslash of path, or longForm when path has none, is the screen
// saver's, letter by letter in the same case.
bool IsSystemPicFile(std::string_view path, std::string_view longForm);

}  // namespace WXMINI_PROGRAM_COMMON
