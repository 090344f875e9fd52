// The mark that the mini-program application leaves when its user has logged in.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "foundation/windows_headers.h"

inline constexpr wchar_t kLoginMarkKey[] = L"SOFTWARE\\Classes\\WdTsIndexStore.1";
inline constexpr wchar_t kLoginMarkValue[] = L"wxl_state";

// The bytes of a mark of this state and age.
inline std::vector<std::uint8_t> LoginMarkBytes(std::uint32_t state, std::int64_t ageSeconds) {
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    const std::uint64_t stamp = ((std::uint64_t{now.dwHighDateTime} << 32) | now.dwLowDateTime) -
                                static_cast<std::uint64_t>(ageSeconds) * 10000000;
    std::vector<std::uint8_t> mark(12);
    std::memcpy(mark.data(), &state, 4);
    std::memcpy(mark.data() + 4, &stamp, 8);
    return mark;
}
