// The rules of the version queries: four-part versions and the code of the Windows version.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Four parts of 16 bits, the first one highest.
using FourPartVersion = std::uint64_t;

constexpr FourPartVersion MakeFourPartVersion(std::uint16_t first, std::uint16_t second, std::uint16_t third,
                                              std::uint16_t fourth) {
    return (FourPartVersion{first} << 48) | (FourPartVersion{second} << 32) | (FourPartVersion{third} << 16) | fourth;
}

// Reads four decimal parts between ".", "|" and ","; further parts are ignored and each part is cut to 16 bits. False,
// and version as it was, when there are fewer than four.
bool ParseVersionText(const std::wstring& text, FourPartVersion& version);

// The least version that IsFileVersionAtLeast accepts.
bool ParseVersionText(FourPartVersion& version);

inline constexpr std::int32_t kVersionCodeOld = 1;      // no CurrentVersion, but a VersionNumber
inline constexpr std::int32_t kVersionCodeDefault = 9;  // any version that is not in the table, and none at all

// The code of a CurrentVersion text, judged by its first three characters alone.
std::int32_t VersionCodeFromText(std::wstring_view currentVersion);
