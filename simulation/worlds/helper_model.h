// A second, plain model of the helper's tables and of its end. It hears the lines of the helper's log and says which
// cannot be.
//
//   An instance exists from its first line to the line of its end.
//   The walk erases one whose tasks are all done and whose caller's pipe has gone or whose delayed destroy has run out.
//   It may only say so of one that a watcher of this instance's time has reported.
//   The number that the walk counts is the number of instances.
//   The process leaves its loop when a walk has found none, and does not see a start that comes after it; with the mark
//   "ml" by the longer timer alone. The watch over the main thread never ends the process, unless an SDK holds a
//   thread.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "simulation/kernel/random.h"

namespace simulation {

struct HelperRules {
    std::wstring strMark;
    bool bMayHang = false;   // an SDK may hold a thread for longer than the watch waits
    bool bMayFault = false;  // system calls or allocations fail
};

// Begins to listen; the log is on from here to the end of the run.
void WatchHelper(const HelperRules& rules);

// Waits until so long before the next walk over the table, give or take some milliseconds: what happens in that moment
// is what the locks of the table are there for.
void AimAtWalk(std::uint32_t nEarlierMs, CRandom& random);

// What the log has said so far.
bool HasLeftItsLoop();
// Whether the helper has said that an exception ends it.
bool HasSaidUncaught();
// How often the helper ended an instance of this service id.
std::uint32_t EraseCount(const std::wstring& strServiceId);
// The instances that a walk would find now, those that a start without a pipe has left included.
std::size_t ModelInstances();

}  // namespace simulation
