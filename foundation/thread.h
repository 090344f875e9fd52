// Starting threads.
#pragma once

#include <functional>

#include "foundation/handle.h"

// Runs work on a new thread, which owns it; the result is the thread's exit code. The handle is the thread's, empty
// with the reason in GetLastError when it could not be started. An exception that leaves work ends the process.
// A thread that is held does not run before ResumeThread is called with its handle.
CKernelHandle LaunchThread(std::function<unsigned()> work, bool bHeld = false);
