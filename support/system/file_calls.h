// The platform's functions that put a file in place, in one table, so that a test can put a fault in the place of
// any of them.
#pragma once

#include "foundation/windows_headers.h"

// Names and meanings are the platform's own.
struct FileCalls {
    decltype(&::WriteFile) WriteFile;
    decltype(&::MoveFileExW) MoveFileExW;
    decltype(&::Sleep) Sleep;
};

// The table in force. Any thread.
const FileCalls& GetFileCalls();

// For tests: puts calls in force from now on, null the platform's own again. The table must outlive its use.
void OverrideFileCalls(const FileCalls* calls);
