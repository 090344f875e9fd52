// Makes a failing run shorter: fewer parts of the world, fewer choices, the same failure.
#pragma once

#include <functional>
#include <optional>

#include "simulation/shrink/replay.h"

namespace simulation {

struct ShrinkSteps {
    // Runs it. What was chosen and which parts were there, when it fails by the same report; else nothing.
    std::function<std::optional<Replay>(const Replay&)> attempt;
    // False when the time is over; when half of it is, there is no search for other schedules any more.
    std::function<bool()> bMore;
    std::function<bool()> bSearch;
};

// failing is what an attempt has returned. The result is one, too.
Replay Shrink(Replay failing, const ShrinkSteps& steps);

}  // namespace simulation
