#include "open/request/system_pic_start.h"

#include <string>

#include "foundation/log.h"
#include "foundation/windows_headers.h"

namespace WXMINI_PROGRAM_COMMON {

namespace {

constexpr DWORD kPathBytes = 260;

// These paths are in the system's own code page, not in UTF-8.
std::wstring AnsiToWide(const char* text) {
    wchar_t wide[kPathBytes] = {};
    MultiByteToWideChar(CP_ACP, 0, text, -1, wide, kPathBytes - 1);
    return wide;
}

}  // namespace

bool IsSystemPicStart() {
    // One byte more than is ever filled: what is cut off at the end has no terminator everywhere.
    char path[kPathBytes + 1] = {};
    GetModuleFileNameA(nullptr, path, kPathBytes);
    return IsSystemPicStart(path);
}

bool IsSystemPicStart(const char* modulePath) {
    NXL_LOG(L"[%s(%d)] IsSystemPicStart szFileFullPath = %s ", AnsiToWide(modulePath).c_str());
    std::string path = modulePath;
    char longForm[kPathBytes + 1] = {};
    // Twice: a long form that fits the whole buffer but not the smaller size of the second call still counts.
    GetLongPathNameA(modulePath, longForm, kPathBytes);
    if (GetLongPathNameA(modulePath, longForm, kPathBytes - 1) != 0 && path != longForm) {
        path = longForm;
        NXL_LOG(L"[%s(%d)] IsSystemPicStart strcpy = %s ", AnsiToWide(longForm).c_str());
    }
    return IsSystemPicFile(path, longForm);
}

}  // namespace WXMINI_PROGRAM_COMMON
