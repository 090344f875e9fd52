// Stateless questions to the running system. A service that fails gives the plain negative answer. Any thread.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "foundation/windows_headers.h"

// The file's version is at least 1.0.345.0. A file without a version record is not.
bool IsFileVersionAtLeast(const std::wstring& path);

// The full path of the program that the process runs; empty on failure, cut at 260 characters.
std::wstring GetProcessImagePath(std::uint32_t pid);

// The same for an open handle, which needs the right to ask for limited information at least.
std::wstring GetProcessImagePath(HANDLE process);

// Puts the ids of all processes whose program has this bare file name ("Androws.exe", any case) into ids, in place of
// what was there. False when there are none. An empty name, or a process list that cannot be taken, leaves ids as it
// is and gives false.
bool FindProcessesByName(const std::wstring& name, std::set<std::uint32_t>& ids);

// The code of this system's version, see support/system/version_rules.h.
std::int32_t GetWindowsVersionCode();
