// What nexctl returns to its shell. The help page lists the same.
#pragma once

#include "client/caller_result.h"

enum class ExitCode : int {
    Ok = 0,
    Usage = 1,
    NotStarted = 2,
    Timeout = 3,
    Gone = 4,
    Refused = 5,  // the answer came and says that it did not work
};

constexpr ExitCode ExitCodeOf(CallerResult result) {
    switch (result) {
        case CallerResult::Ok:
            return ExitCode::Ok;
        case CallerResult::Timeout:
            return ExitCode::Timeout;
        case CallerResult::BadArgument:
            return ExitCode::Usage;
        case CallerResult::NotConnected:
        case CallerResult::Gone:
        case CallerResult::Closed:
            return ExitCode::Gone;
        case CallerResult::NameTaken:
        case CallerResult::NotStarted:
        case CallerResult::SystemError:
            break;
    }
    return ExitCode::NotStarted;
}
