// Which thread runs next.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "simulation/kernel/random.h"
#include "simulation/kernel/task.h"

namespace simulation {

class IStrategy {
  public:
    virtual ~IStrategy() = default;
    virtual void Added(CTask& task) = 0;
    // One of ready, which is never empty and is ordered by number. pCurrent is among them, or null when the running
    // thread cannot go on. pByItself is the one that runs when nothing is chosen.
    virtual CTask* Choose(std::uint64_t nStep, const std::vector<CTask*>& ready, CTask* pCurrent, CTask* pByItself) = 0;
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
// Pairs of bytes: so many choices are left to what happens by itself, and at the next one the thread of this number
// among those that can run is taken. After the last pair everything happens by itself.
std::unique_ptr<IStrategy> MakeBytesStrategy(std::vector<unsigned char> bytes);
// For a run that follows kept choices: where there is none, what happens by itself.
std::unique_ptr<IStrategy> MakeReplayStrategy();

}  // namespace simulation
