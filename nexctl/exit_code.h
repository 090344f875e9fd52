// What nexctl returns to its shell. The help page lists the same.
#pragma once

#include "client/include/nexlet_client.h"

enum class ExitCode : int {
    Ok = 0,
    Usage = 1,
    NotStarted = 2,
    Timeout = 3,
    Gone = 4,
    Refused = 5,  // the answer came and says that it did not work
};

constexpr ExitCode ExitCodeOf(nexlet_result result) {
    switch (result) {
        case NEXLET_OK:
            return ExitCode::Ok;
        case NEXLET_TIMEOUT:
            return ExitCode::Timeout;
        case NEXLET_BAD_ARGUMENT:
            return ExitCode::Usage;
        case NEXLET_NOT_CONNECTED:
        case NEXLET_GONE:
        case NEXLET_CLOSED:
            return ExitCode::Gone;
        case NEXLET_BAD_REPLY:
            return ExitCode::Refused;
        default:
            return ExitCode::NotStarted;
    }
}
