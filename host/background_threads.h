// The threads that run beside the main one for the rest of the process. Nobody waits for them at its end.
#pragma once

#include "foundation/windows_headers.h"

// Their procedures; tests start their own. The first and the last get the host as argument, the second null.
struct HostThreads {
    LPTHREAD_START_ROUTINE pfnHangWatcher;
    LPTHREAD_START_ROUTINE pfnMonCPUUsage;
    LPTHREAD_START_ROUTINE pfnConfInfo;
};

extern const HostThreads kHostThreads;
