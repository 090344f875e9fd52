// Memory that cannot be had: allocations of one simulated process that fail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "simulation/kernel/random.h"

namespace simulation {

struct MemoryFaults {
    std::uint64_t nOneIn = 0;  // one allocation in so many fails; 0: none
    std::uint64_t nAt = 0;     // the allocation of this number fails, counted from 1; 0: none
    bool bForGood = false;     // so do all after the first that fails

    bool IsNever() const { return nOneIn == 0 && nAt == 0; }
};

// Draws from a stream of its own. An allocation is a call of operator new by a thread of the watched process, outside
// of the simulation's own work and of a CFaults::CHold.
class CMemory {
  public:
    CMemory(std::uint64_t nSeed, MemoryFaults faults) : m_random(nSeed, kStream), m_faults(faults) {}

    // Counts the allocations of this process from now on, and lets them fail.
    void Watch(std::uint32_t nProcess) { m_nProcess = nProcess; }
    // Whether this allocation of the running thread fails.
    bool Fails();

    // Counts the blocks that this process has, too, beginning with those that it takes from now on.
    void KeepCensus() { m_bCensus = true; }
    bool HasCensus() const { return m_bCensus; }
    std::size_t Blocks() const;
    // A block was taken by the running thread; a block goes back.
    void Taken(void* pBlock);
    void Gone(void* pBlock);

    bool IsNever() const { return m_faults.IsNever(); }
    std::uint64_t Count() const { return m_nCount; }
    std::uint64_t Failed() const { return m_nFailed; }

  private:
    static constexpr std::uint64_t kStream = 9;

    CRandom m_random;
    const MemoryFaults m_faults;
    std::uint32_t m_nProcess = 0;  // none
    std::uint64_t m_nCount = 0;
    std::uint64_t m_nFailed = 0;
    bool m_bCensus = false;
};

// The one of the run under way; null outside of one.
extern CMemory* g_pMemory;

// Called with the size of each allocation, on the thread that makes it and before it is made. Null: no longer.
void ObserveAllocations(void (*pfnObserver)(std::size_t nBytes));

}  // namespace simulation
