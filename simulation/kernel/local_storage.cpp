#include "simulation/kernel/local_storage.h"

#include <utility>

namespace simulation {
namespace {

std::vector<ForgetValue>& Slots() {
    static auto& slots = *new std::vector<ForgetValue>;
    return slots;
}

}  // namespace

std::uint32_t AddLocalSlot(ForgetValue pfnForget) {
    Slots().push_back(pfnForget);
    return static_cast<std::uint32_t>(Slots().size() - 1);
}

bool IsLocalSlot(std::uint32_t nSlot) {
    return nSlot < Slots().size();
}

void ForgetLocal(CTask& task) {
    for (std::size_t i = 0; i < task.m_vecLocal.size(); ++i) {
        void* const pValue = std::exchange(task.m_vecLocal[i], nullptr);
        if (pValue != nullptr && Slots()[i] != nullptr) {
            Slots()[i](pValue);
        }
    }
}

}  // namespace simulation
