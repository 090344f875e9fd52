// The wait for the end of one overlapped operation, with a limit.
#pragma once

#include "foundation/windows_headers.h"

// started: what the call that began the operation returned, with its GetLastError still in place. overlapped has an
// event of its own. When the operation is not over after timeoutMs, or when stop is signalled first, it is cancelled.
// After the return the system no longer uses overlapped or the buffer. True when the operation succeeded, with the
// number of bytes in moved; otherwise GetLastError has the reason, and moved may tell of a part. stop may be null.
inline bool FinishOverlapped(HANDLE file, OVERLAPPED& overlapped, BOOL started, DWORD timeoutMs, DWORD& moved,
                             HANDLE stop = nullptr) {
    moved = 0;
    if (!started && GetLastError() != ERROR_IO_PENDING) {
        return false;
    }
    const HANDLE handles[] = {overlapped.hEvent, stop};
    if (WaitForMultipleObjects(stop != nullptr ? 2 : 1, handles, /*bWaitAll=*/FALSE, timeoutMs) != WAIT_OBJECT_0) {
        CancelIoEx(file, &overlapped);
    }
    return GetOverlappedResult(file, &overlapped, &moved, /*bWait=*/TRUE) != FALSE;
}
