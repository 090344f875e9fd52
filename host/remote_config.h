// The daily remote configuration: fetches a small JSON file at most once a day and keeps its one switch in the
// registry, where the open flows read it.
#pragma once

#include "foundation/windows_headers.h"

#include <cstdint>
#include <string>

#include "foundation/registry_names.h"

// HKEY_CURRENT_USER; kLastInfoTimeValue and kAppShortcutCreateValue are REG_DWORD.
inline constexpr auto& kRemoteConfigKey = kProgramKey;
inline constexpr wchar_t kLastInfoTimeValue[] = L"last_info_time";  // time of the last successful fetch

// Thread procedure with the host as argument; a null argument ends it at once. Otherwise it never returns: it looks at
// the age of the stored time at the start and every 3 hours, and fetches when that is more than a day.
DWORD WINAPI ConfInfoThreadFunc(void* host);

// The same with the wait between two looks as an argument, for tests: it is given the thread's timer event and the wait
// in milliseconds, and ends the thread by returning false.
using ConfInfoWait = bool (*)(HANDLE timer, DWORD milliseconds);
DWORD ConfInfoThreadFunc(void* host, ConfInfoWait wait);

// Stores the switch of a fetched file; a file that lacks it leaves the stored one as it is.
void ParseInfo(const std::string& text);

// HttpTransferCallback that appends a 200's body to the std::string given as context. 0 when it did, else 1.
std::uint32_t HttpContextText(std::uint32_t status, const void* data, std::uint32_t size, void* context);
