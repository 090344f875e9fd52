// The end of a program by a fault of memory or by a sanitizer's report.
#pragma once

namespace simulation {

// pfnCrashing is called once before the process ends: after the report of AddressSanitizer, or, in a build without it,
// after a line about the signal with the functions under way. For all runs.
void WhenCrashing(void (*pfnCrashing)());

}  // namespace simulation
