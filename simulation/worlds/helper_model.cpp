#include "simulation/worlds/helper_model.h"

#include <chrono>
#include <cwchar>
#include <map>
#include <thread>

#include "foundation/log.h"
#include "simulation/kernel/scheduler.h"
#include "simulation/worlds/world.h"

namespace simulation {
namespace {

constexpr wchar_t kPatientMark[] = L"ml";

struct Instance {
    bool bGone = false;    // a watcher may have reported that the pipe has gone
    bool bDoomed = false;  // a delayed destroy has begun
};

struct Model {
    HelperRules rules;
    std::map<std::wstring, Instance> instances;
    std::map<std::wstring, std::uint32_t> erased;
    bool bLeft = false;
    bool bUncaught = false;
    bool bEmptySinceWalk = false;  // there was a moment without instances since the last walk began
    Nanoseconds nLastWalk = 0;     // or when its timer was armed
};

// Outlives the run; each seed has a process of its own.
Model& TheModel() {
    static auto& model = *new Model;
    return model;
}

// What follows this part of a line, up to the next comma or blank; nothing when the line has no such part.
bool After(const std::wstring& strLine, const wchar_t* szPart, std::wstring& strRest) {
    const std::size_t nAt = strLine.find(szPart);
    if (nAt == std::wstring::npos) {
        return false;
    }
    strRest = strLine.substr(nAt + std::wcslen(szPart));
    strRest.resize(std::min(strRest.find_first_of(L", "), strRest.size()));
    return true;
}

// The service id at the end of a pipe's name.
std::wstring IdOfPipe(const std::wstring& strPipe) {
    return strPipe.substr(strPipe.find_last_of(L'_') + 1);
}

void Heard(const wchar_t* szLine) {
    const CScheduler::CInside inside(*g_pScheduler);
    Model& model = TheModel();
    const std::wstring strLine = szLine;
    NoteLog(strLine);
    std::wstring strWhat;
    if (strLine.find(L"Check procee exit begin") != std::wstring::npos ||
        strLine.find(L"] create timer") != std::wstring::npos) {
        model.nLastWalk = g_pScheduler->Now();
    }
    if (strLine.find(L"Check procee exit begin") != std::wstring::npos &&
        strLine.find(L"ovrinse Check") == std::wstring::npos) {
        model.bEmptySinceWalk = model.instances.empty();
    } else if (strLine.find(L"Check timeout, exit process begin") != std::wstring::npos) {
        model.bEmptySinceWalk = model.instances.empty();
    }
    if (After(strLine, L"]Init m_strMark=", strWhat)) {
        After(strLine, L"m_strPipeName=", strWhat);
        model.instances.try_emplace(IdOfPipe(strWhat));
    } else if (strLine.find(L" pipe not exist, quit process") != std::wstring::npos) {
        After(strLine, L")] ", strWhat);
        if (const auto found = model.instances.find(IdOfPipe(strWhat)); found != model.instances.end()) {
            found->second.bGone = true;
        }
    } else if (After(strLine, L"DelayedDestroy strServiceId = ", strWhat)) {
        if (const auto found = model.instances.find(strWhat); found != model.instances.end()) {
            found->second.bDoomed = true;
        }
    } else if (After(strLine, L"erase it ,is service id ", strWhat)) {
        std::wstring strTasks;
        std::wstring strExists;
        std::wstring strDoomed;
        After(strLine, L"nDelayedTaskCount = ", strTasks);
        After(strLine, L"bDLLWndExist = ", strExists);
        After(strLine, L"bIsDelayedDestroy = ", strDoomed);
        const auto found = model.instances.find(strWhat);
        Hold(found != model.instances.end(), "the walk erases an instance that is not there");
        Hold(strTasks == L"0" && (strExists == L"0" || strDoomed == L"1"), "the walk erases an unfinished instance");
        Hold(strExists == L"1" || found->second.bGone, "a pipe is said to be gone that no watcher of it missed");
        Hold(strDoomed == L"0" || found->second.bDoomed, "a delayed destroy has run out that never began");
    } else if (After(strLine, L"begin destruct strServiceId = ", strWhat)) {
        model.instances.erase(strWhat);
        ++model.erased[strWhat];
        model.bEmptySinceWalk = model.bEmptySinceWalk || model.instances.empty();
    } else if (After(strLine, L"m_mWxExInstance = ", strWhat)) {
        Hold(std::stoul(strWhat) == model.instances.size(), "the walk counts another number of instances");
    } else if (strLine.find(L"ovrinse Check procee exit begin") != std::wstring::npos) {
        // A start may come between the walk and the end, which takes notice of it no longer.
        Hold(model.bEmptySinceWalk && model.rules.strMark != kPatientMark, "the process leaves while it is needed");
        model.bLeft = true;
    } else if (strLine.find(L"Check timeout, exit process end") != std::wstring::npos) {
        Hold(model.bEmptySinceWalk, "the process leaves while it is needed");
        model.bLeft = true;
    } else if (strLine.find(L"uncaught exception") != std::wstring::npos) {
        model.bUncaught = true;
    } else if (strLine.find(L"wnd Hang error") != std::wstring::npos) {
        Hold(model.rules.bMayHang, "the main thread is silent for 15 seconds");
    }
}

}  // namespace

void WatchHelper(const HelperRules& rules) {
    TheModel().rules = rules;
    SetLogObserver(&Heard);
    g_bDebugLog.store(1);
}

void AimAtWalk(std::uint32_t nEarlierMs, CRandom& random) {
    constexpr Nanoseconds kPeriod = 10 * kSecond;
    constexpr std::uint64_t kJitterUs = 5000;
    const Nanoseconds nNow = g_pScheduler->Now();
    Nanoseconds nAim =
        TheModel().nLastWalk + kPeriod - nEarlierMs * kMillisecond - random.Below(kJitterUs) * kMicrosecond;
    while (nAim <= nNow) {
        nAim += kPeriod;
    }
    std::this_thread::sleep_for(std::chrono::nanoseconds(nAim - nNow));
}

bool HasLeftItsLoop() {
    return TheModel().bLeft;
}

bool HasSaidUncaught() {
    return TheModel().bUncaught;
}

std::uint32_t EraseCount(const std::wstring& strServiceId) {
    return TheModel().erased[strServiceId];
}

std::size_t ModelInstances() {
    return TheModel().instances.size();
}

}  // namespace simulation
