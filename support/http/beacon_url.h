// The URL of a beacon. Works on texts alone.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// On the Windows versions of these codes ("5.1" and "6.1") beacons are sent in plain text.
constexpr bool IsPlainBeaconVersion(std::int32_t windowsVersionCode) {
    return windowsVersionCode == 5 || windowsVersionCode == 7;
}

// Every "https" in url becomes "http", also inside the query, until none is left: "httpss" ends as "http" too.
std::wstring WithPlainScheme(std::wstring_view url);

// url with its version's scheme.
std::wstring BeaconUrl(std::wstring_view url, std::int32_t windowsVersionCode);

// url followed by the number t and the machine id, neither escaped, cut after 1023 characters. bHasQuery says that
// url already carries a query, so that "&" and not "?" comes first.
std::wstring StatisticsBeaconUrl(const std::wstring& url, bool bHasQuery, std::int32_t t,
                                 const std::wstring& machineId);

// url with the machine id alone, cut likewise.
std::wstring InstallBeaconUrl(const std::wstring& url, const std::wstring& machineId);
