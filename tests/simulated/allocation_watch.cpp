// tests/support/allocation_watch.h on the machine, whose operator new there is only one of.
#include "tests/support/allocation_watch.h"

#include <utility>

#include "simulation/seams/memory.h"

namespace {

std::size_t g_nWatched = 0;
std::function<void()> g_onSeen;

}  // namespace

CAllocationWatch::CAllocationWatch(std::size_t size, std::function<void()> onSeen) {
    g_onSeen = std::move(onSeen);
    g_nWatched = size;
    simulation::ObserveAllocations([](std::size_t nBytes) {
        if (nBytes == g_nWatched) {
            simulation::ObserveAllocations(nullptr);
            g_onSeen();
        }
    });
}

CAllocationWatch::~CAllocationWatch() {
    simulation::ObserveAllocations(nullptr);
    g_onSeen = nullptr;
}
