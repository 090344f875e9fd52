// libFuzzer chooses what is in a small world and which thread runs when, on the simulated machine. The world's own
// checks, its deadlock and lock checks and AddressSanitizer say what is wrong.
//
//   byte 0        how many of the product's edges are places of a choice
//   byte 1        how many of the bytes that follow are the world's draws
//   the draws     and then pairs of bytes: so many choices are left as they are, and then this thread is taken
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "simulation/kernel/scheduler.h"
#include "simulation/seams/edges.h"
#include "simulation/simulate.h"
#include "simulation/worlds/world.h"

extern "C" void __sanitizer_cov_8bit_counters_init(std::uint8_t* pBegin, std::uint8_t* pEnd);
extern "C" void __sanitizer_cov_pcs_init(const std::uintptr_t* pBegin, const std::uintptr_t* pEnd);

// As in simulate_main.cpp: local variables stay on the stacks of the fibers, where the search for leaks looks.
extern "C" const char* __asan_default_options() {
    return "detect_stack_use_after_return=0";
}

// The edges of the product are those of the simulation's own marks: libFuzzer is told about them.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    static std::vector<std::uint8_t> reached(simulation::EdgeCount());
    // Two words for each edge: its place, of which only that it differs from the others is used, and no flag.
    static std::vector<std::uintptr_t> places(2 * reached.size());
    for (std::size_t i = 0; i < reached.size(); ++i) {
        places[2 * i] = reinterpret_cast<std::uintptr_t>(&reached[i]);
    }
    simulation::RecordEdges(reached.data());
    __sanitizer_cov_8bit_counters_init(reached.data(), reached.data() + reached.size());
    __sanitizer_cov_pcs_init(places.data(), places.data() + places.size());
    // The input of a run that fails is kept.
    simulation::CScheduler::WhenFailing([](const std::string&) { std::abort(); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    constexpr std::size_t kHead = 2;
    if (nSize < kHead) {
        return 0;
    }
    constexpr std::uint64_t kEdges[] = {0, 100, 10, 1000};
    simulation::Options options;
    options.strategy = simulation::StrategyKind::Bytes;
    options.nEdges = kEdges[pData[0] % std::size(kEdges)];
    options.strName = "world callers by bytes";
    const std::size_t nDraws = std::min<std::size_t>(pData[1], nSize - kHead);
    simulation::CByteSource draws(pData + kHead, nDraws);
    options.bytes.assign(pData + kHead + nDraws, pData + nSize);
    simulation::Run(options, [&] { simulation::RunCallersWorld(simulation::CRandom(draws)); });
    return 0;
}
