#include "simulation/worlds/world.h"

#include <cstdlib>
#include <utility>

#include "simulation/kernel/machine.h"

namespace simulation {

void Hold(bool bCondition, const std::string& strWhat) {
    if (!bCondition) {
        g_pScheduler->Fail(strWhat);
    }
}

void* StartProcess(std::function<void()> work, std::wstring strFile,
                   const std::function<void(const std::shared_ptr<CProcess>&)>& added) {
    const CScheduler::CInside inside(*g_pScheduler);
    const std::shared_ptr<CProcess> pProcess = g_pMachine->AddProcess(std::move(strFile));
    if (added) {
        added(pProcess);
    }
    g_pMachine->StartThread(
        *pProcess,
        [pProcess, work = std::move(work)] {
            work();
            // The end of its main thread is the end of a process.
            const CScheduler::CInside ending(*g_pScheduler);
            g_pMachine->EndProcess(*pProcess, 0);
            return 0U;
        },
        /*bSuspended=*/false);
    return g_pMachine->Process().Open(pProcess);
}

void Vanish() {
    const CScheduler::CInside inside(*g_pScheduler);
    g_pMachine->EndProcess(g_pMachine->Process(), 1);
    std::abort();
}

}  // namespace simulation
