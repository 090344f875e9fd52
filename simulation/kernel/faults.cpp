#include "simulation/kernel/faults.h"

#include "simulation/kernel/scheduler.h"

namespace simulation {

CFaults* g_pFaults = nullptr;

CFaults::CHold::CHold() {
    ++g_pScheduler->Current().m_nFaultsHeld;
}

CFaults::CHold::~CHold() {
    --g_pScheduler->Current().m_nFaultsHeld;
}

}  // namespace simulation
