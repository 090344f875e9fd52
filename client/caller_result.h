// How an operation of the caller's side ended.
#pragma once

enum class CallerResult : int {
    Ok = 0,
    Timeout = 1,       // nothing came in time; a refusal by the helper is silence, so it ends here too
    NotConnected = 2,  // no helper has connected yet
    Gone = 3,          // the helper's connection was lost, or the started process ended without ever connecting
    NameTaken = 4,     // another process serves the pipe of this mark and service id
    BadArgument = 5,   // a name or value that cannot be put on the wire or on a command line
    NotStarted = 6,    // the program could not be started
    SystemError = 7,   // another call of the system failed
    Closed = 8,        // Close was called
    // 9 to 12 and 15 are results of the C interface alone.
    AccessDenied = 13,  // the name is held by a process that keeps this one out
    Cancelled = 14,     // the request was cancelled
    Overtaken = 16,     // a later open took the place of the one that was asked for
};

// One sentence for people, without the system's error number. A static text.
const char* DescribeCallerResult(CallerResult result);
