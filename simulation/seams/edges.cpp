// Called at every edge of the product's code, which is compiled with -fsanitize-coverage=trace-pc-guard: a point for
// the scheduler, and a mark in the record of what was reached.
#include "simulation/seams/edges.h"

#include "simulation/kernel/scheduler.h"

namespace {

std::uint32_t g_nEdges = 0;
// Bytes, one for each edge, that stay when a run in a child process ends, where the program has shared them.
unsigned char* g_pReached = nullptr;

}  // namespace

namespace simulation {

std::uint32_t EdgeCount() {
    return g_nEdges;
}

void RecordEdges(unsigned char* pReached) {
    g_pReached = pReached;
}

}  // namespace simulation

// The linker's --wrap sends the calls here: a fuzzer has functions of these names for itself.
extern "C" void __wrap___sanitizer_cov_trace_pc_guard_init(std::uint32_t* pBegin, std::uint32_t* pEnd) {
    if (pBegin == pEnd || *pBegin != 0) {
        return;
    }
    for (std::uint32_t* pGuard = pBegin; pGuard != pEnd; ++pGuard) {
        *pGuard = ++g_nEdges;
    }
}

extern "C" void __wrap___sanitizer_cov_trace_pc_guard(std::uint32_t* pGuard) {
    if (g_pReached != nullptr) {
        g_pReached[*pGuard - 1] = 1;
    }
    if (simulation::g_pScheduler != nullptr) {
        simulation::g_pScheduler->Edge();
    }
}
