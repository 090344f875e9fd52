// GDI+ for the whole process.
#pragma once

#include "foundation/windows_headers.h"

// Starts GDI+, version 1, and gives its token; 0 when it cannot be started. It is never shut down.
ULONG_PTR StartGdiplus();
