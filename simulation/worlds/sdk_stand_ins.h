// The two closed SDKs as the helper sees them: libraries with exports, which answer as the seed says.
#pragma once

#include "simulation/kernel/random.h"

namespace simulation {

struct SdkHabits {
    bool bThere = false;    // the libraries can be loaded
    bool bSlow = false;     // a call may take seconds
    bool bHangs = false;    // a call may take an hour
    bool bRefuses = false;  // a call may fail
};

// Puts them below this folder of the machine. Calls are answered within the call, from another thread, late, twice or
// never, as random says.
void InstallSdks(const SdkHabits& habits, CRandom random);

}  // namespace simulation
