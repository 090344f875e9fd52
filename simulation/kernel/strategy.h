// Which thread runs next.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "simulation/kernel/random.h"
#include "simulation/kernel/task.h"

namespace simulation {

// One place at which the schedule left the thread that was running, though that could have gone on, or at which it was
// not the first of those that could run.
struct Decision {
    std::uint64_t nStep;
    std::uint32_t nTask;
};
using Schedule = std::vector<Decision>;

class IStrategy {
  public:
    virtual ~IStrategy() = default;
    virtual void Added(CTask& task) = 0;
    // One of ready, which is never empty and is ordered by number. pCurrent is among them, or null when it cannot go
    // on.
    virtual CTask* Choose(std::uint64_t nStep, const std::vector<CTask*>& ready, CTask* pCurrent) = 0;
    // The running thread gives its turn away, as one that looks for something again and again does.
    virtual void Yielded(CTask& task) = 0;
    // What it is, with its parameters.
    virtual std::string Name() const = 0;
};

// Every thread that can run is as likely as any other. nStay: one in so many steps is looked at, the others stay with
// the thread that runs.
std::unique_ptr<IStrategy> MakeRandomStrategy(CRandom random, std::uint64_t nStay);
// Priorities drawn at random, the highest runs, and at nDepth - 1 steps, drawn from the first nSteps, the running
// thread falls below all others: a fault that needs nDepth orderings is met with a known chance.
std::unique_ptr<IStrategy> MakePriorityStrategy(CRandom random, std::uint32_t nDepth, std::uint64_t nSteps);
// What was kept: where the schedule says nothing, the running thread continues, or the first that can.
std::unique_ptr<IStrategy> MakeReplayStrategy(Schedule schedule);

}  // namespace simulation
