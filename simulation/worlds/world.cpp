#include "simulation/worlds/world.h"

#include <cstdlib>
#include <utility>

#include "simulation/kernel/machine.h"

namespace simulation {
namespace {

std::set<std::string>& LeftOut() {
    static auto& parts = *new std::set<std::string>;
    return parts;
}

std::vector<std::string>& There() {
    static auto& parts = *new std::vector<std::string>;
    return parts;
}

}  // namespace

bool IsOn(const std::string& strPart, std::uint32_t nThreads) {
    const CScheduler::CInside inside(*g_pScheduler);
    if (LeftOut().count(strPart) == 0) {
        There().push_back(strPart);
        return true;
    }
    for (std::uint32_t i = 0; i < nThreads; ++i) {
        g_pScheduler->LeaveOutThread();
    }
    return false;
}

void LeaveOut(std::set<std::string> parts) {
    LeftOut() = std::move(parts);
    There().clear();
}

const std::vector<std::string>& PartsThere() {
    return There();
}

void Hold(bool bCondition, const std::string& strWhat) {
    if (!bCondition) {
        g_pScheduler->Fail(strWhat);
    }
}

void NoteLog(const std::wstring& strLine) {
    const CScheduler::CInside inside(*g_pScheduler);
    CTrace::Line line;
    line.nAt = g_pScheduler->Now();
    line.nTask = g_pScheduler->Current().m_nId;
    line.szWhat = CTrace::kLog;
    for (const wchar_t letter : strLine) {
        line.strText += letter >= L' ' && letter < 127 ? static_cast<char>(letter) : '?';
    }
    g_pScheduler->Trace().Add(std::move(line));
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

void WatchNoRaces() {
    g_pMachine->Process().m_bForeign = true;
    g_pScheduler->BecomeForeign();
}

void Vanish() {
    const CScheduler::CInside inside(*g_pScheduler);
    g_pMachine->EndProcess(g_pMachine->Process(), 1);
    std::abort();
}

}  // namespace simulation
