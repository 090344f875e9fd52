// GDI+ for the whole process.
#pragma once

#include "foundation/windows_headers.h"

// Starts GDI+, version 1, at the first call and gives its token; 0 when it cannot be started. It is never shut down.
// Called before any other function of GDI+; any thread.
ULONG_PTR StartGdiplus();
