// What all threads of a run did, as the page that "nexctl log page" draws of a helper's log.
#pragma once

#include <string>

#include "simulation/kernel/scheduler.h"

namespace simulation {

// The page, UTF-8. The trace must have been kept (CTrace::KeepAll). A run is microseconds or hours long, and its order
// is what counts, so the axis of the page is the order: each beginning and each end is a millisecond after the one
// before it. The time of the run stands in front of each text. strEnd: how the run ended.
std::string TracePage(CScheduler& scheduler, const std::string& strEnd);

}  // namespace simulation
