// Names that no other test and no other run uses.
#pragma once

#include <string>

#include "foundation/windows_headers.h"

// stem, the process id, a number of the moment and a counter: "stem_1234_81234567_7". Text without blanks, ASCII.
// Process ids come again, and what a test that was ended has left may still be there.
inline std::wstring UniqueName(const std::wstring& stem) {
    static volatile LONG counter = 0;
    static const DWORD moment = [] {
        constexpr DWORD kPerMs = 10000;
        constexpr DWORD kDayMs = 24 * 3600 * 1000;
        FILETIME now = {};
        GetSystemTimeAsFileTime(&now);
        const ULONGLONG ms = ((ULONGLONG{now.dwHighDateTime} << 32) | now.dwLowDateTime) / kPerMs;
        return static_cast<DWORD>(ms % kDayMs);
    }();
    return stem + L"_" + std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(moment) + L"_" +
           std::to_wstring(InterlockedIncrement(&counter));
}
