// Values that each thread has of its own, in slots that are given out once for all processes: the code is in one
// address space.
#pragma once

#include <cstdint>

#include "simulation/kernel/task.h"

namespace simulation {

using ForgetValue = void (*)(void* pValue);

std::uint32_t AddLocalSlot(ForgetValue pfnForget);
bool IsLocalSlot(std::uint32_t nSlot);
// Calls what was given with each slot in which the running thread has a value. At its end.
void ForgetLocal(CTask& task);

}  // namespace simulation
