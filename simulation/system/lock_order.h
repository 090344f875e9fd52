// The order in which locks are taken: a thread that waits for one while it holds another sets it, and a circle is a
// deadlock that has not happened yet.
#pragma once

#include "simulation/kernel/task.h"

namespace simulation {

// The thread took the lock for the first time, left it for the last time; the lock was deleted. A circle ends the run.
void LockTaken(CTask& task, const void* pLock);
void LockReleased(CTask& task, const void* pLock);
void LockGone(const void* pLock);

}  // namespace simulation
