// Names that no other test and no other run uses.
#pragma once

#include <string>

#include "foundation/windows_headers.h"

// stem, the process id and a counter: "stem_1234_7". Text without blanks, ASCII.
inline std::wstring UniqueName(const std::wstring& stem) {
    static volatile LONG counter = 0;
    return stem + L"_" + std::to_wstring(GetCurrentProcessId()) + L"_" +
           std::to_wstring(InterlockedIncrement(&counter));
}
