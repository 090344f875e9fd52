#include "simulation/worlds/helper_program.h"

#include <algorithm>

#include "foundation/handle.h"
#include "host/forwarder.h"
#include "ipc/transport/pipe_names.h"
#include "simulation/kernel/faults.h"
#include "simulation/kernel/machine.h"
#include "simulation/worlds/world.h"

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR szArguments, int);
// The same, in the copies that cmake/renamed_image.py makes.
int SecondWinMain(HINSTANCE, HINSTANCE, LPWSTR szArguments, int) __asm__("second__Z8wWinMainP11HINSTANCE__S0_Pwi");
int ThirdWinMain(HINSTANCE, HINSTANCE, LPWSTR szArguments, int) __asm__("third__Z8wWinMainP11HINSTANCE__S0_Pwi");

namespace simulation {
namespace {

constexpr DWORD kIdleMs = 24 * 3600 * 1000;
constexpr DWORD kForwardEndMs = 60 * 1000;

struct Program {
    std::wstring strMark;
    std::vector<HelperStartKind> kinds;
    std::uint32_t nStarts = 0;
    std::uint32_t nImages = 0;  // that were used
};

// Outlives the run; each seed has a process of its own.
Program& TheProgram() {
    static auto& program = *new Program;
    return program;
}

// Whether a process serves the mark.
bool IsServed() {
    const CFaults::CHold noFaults;
    const CKernelHandle mutex(CreateMutexW(nullptr, FALSE, HostMutexName(TheProgram().strMark).c_str()));
    return GetLastError() == ERROR_ALREADY_EXISTS;
}

std::uint32_t RunHelper(std::wstring strArguments) {
    if (IsServed()) {
        WatchNoRaces();  // the static objects are those of the one that serves
        ExistzoltExcute(strArguments);
        Sleep(kForwardEndMs);  // the end of its worker, which nobody waits for, is looked at too
        return 0;
    }
    switch (TheProgram().nImages++) {
        case 0:
            return static_cast<std::uint32_t>(wWinMain(nullptr, nullptr, strArguments.data(), 0));
        case 1:
            return static_cast<std::uint32_t>(SecondWinMain(nullptr, nullptr, strArguments.data(), 0));
        case 2:
            return static_cast<std::uint32_t>(ThirdWinMain(nullptr, nullptr, strArguments.data(), 0));
        default:
            return 0;
    }
}

std::uint32_t Main(const std::wstring& strCommandLine) {
    Program& program = TheProgram();
    const std::size_t nStart = std::min<std::size_t>(program.nStarts++, program.kinds.size() - 1);
    switch (program.kinds[nStart]) {
        case HelperStartKind::Ends:
            return 0;
        case HelperStartKind::Idles:
            Sleep(kIdleMs);
            return 0;
        case HelperStartKind::Real:
            break;
    }
    // The program's own name comes first, in quotation marks.
    const std::size_t nEnd = strCommandLine.find(L'"', 1);
    return RunHelper(nEnd != std::wstring::npos ? strCommandLine.substr(nEnd + 1) : strCommandLine);
}

}  // namespace

void InstallHelperProgram(const std::wstring& strMark, std::vector<HelperStartKind> kinds) {
    TheProgram().strMark = strMark;
    TheProgram().kinds = std::move(kinds);
    g_pMachine->m_programs.Add(kHelperFile, &Main);
}

std::vector<std::shared_ptr<CProcess>> HelperProcesses() {
    std::vector<std::shared_ptr<CProcess>> running;
    for (std::uint32_t nId = 1; const std::shared_ptr<CProcess> pProcess = g_pMachine->FindProcess(nId); ++nId) {
        if (pProcess->m_strFile == kHelperFile && !pProcess->m_bEnded) {
            running.push_back(pProcess);
        }
    }
    return running;
}

}  // namespace simulation
