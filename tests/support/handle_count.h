// How many handles a process holds.
#pragma once

#include <cstddef>

#include "foundation/windows_headers.h"

// 0 when the system does not say.
std::size_t OwnHandleCount();

// The same of another process: hProcess is open for queries and for copying handles out of it. 0 when the system cannot
// tell.
std::size_t HandleCountOf(HANDLE hProcess);
