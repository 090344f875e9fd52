#include "client/caller_result.h"

const char* DescribeCallerResult(CallerResult result) {
    switch (result) {
        case CallerResult::Ok:
            return "done";
        case CallerResult::Timeout:
            return "nothing came in time; the helper refuses a request by staying silent, its log says why";
        case CallerResult::NotConnected:
            return "no helper is connected to the pipe";
        case CallerResult::Gone:
            return "the helper is gone: its connection was lost, or its process ended";
        case CallerResult::NameTaken:
            return "another process already serves the pipe of this mark and service id";
        case CallerResult::BadArgument:
            return "a name or a value cannot be used";
        case CallerResult::NotStarted:
            return "the helper's program could not be started";
        case CallerResult::SystemError:
            return "a call of the system failed";
        case CallerResult::Closed:
            return "the caller was closed";
        case CallerResult::AccessDenied:
            return "the name is held by another user's process, or by one with other rights, which keeps this one out";
        case CallerResult::Cancelled:
            return "the request was cancelled";
        case CallerResult::Overtaken:
            return "a later open of the type miniApp took the place of this one, whose end is never told";
    }
    return "unknown result";
}
