#include "simulation/kernel/machine.h"

#include <algorithm>

#include "simulation/kernel/local_storage.h"

namespace simulation {

CMachine* g_pMachine = nullptr;

namespace {

constexpr std::uintptr_t kHandleStep = 4;
constexpr wchar_t kLocal[] = L"Local\\";

std::wstring PlainName(const std::wstring& strName) {
    return strName.starts_with(kLocal) ? strName.substr(std::size(kLocal) - 1) : strName;
}

}  // namespace

void* CProcess::Open(ObjectPointer pObject) {
    ++pObject->m_nHandles;
    // Values are given again at once: a handle that is used after its closing meets another object.
    auto free = std::find(m_vecHandles.begin(), m_vecHandles.end(), nullptr);
    if (free == m_vecHandles.end()) {
        free = m_vecHandles.insert(free, nullptr);
    }
    *free = std::move(pObject);
    return reinterpret_cast<void*>(kHandleStep * static_cast<std::uintptr_t>(free - m_vecHandles.begin() + 1));
}

ObjectPointer CProcess::Find(void* hHandle) const {
    const auto nValue = reinterpret_cast<std::uintptr_t>(hHandle);
    const std::uintptr_t nIndex = nValue / kHandleStep - 1;
    return nValue % kHandleStep == 0 && nIndex < m_vecHandles.size() ? m_vecHandles[nIndex] : nullptr;
}

bool CProcess::Close(void* hHandle) {
    const ObjectPointer pObject = Find(hHandle);
    if (!pObject) {
        return false;
    }
    m_vecHandles[reinterpret_cast<std::uintptr_t>(hHandle) / kHandleStep - 1].reset();
    if (--pObject->m_nHandles == 0) {
        pObject->LastHandleClosed();
    }
    return true;
}

void CProcess::CloseAll() {
    for (std::size_t i = 0; i < m_vecHandles.size(); ++i) {
        Close(reinterpret_cast<void*>(kHandleStep * (i + 1)));
    }
    for (const ObjectPointer& pView : std::exchange(m_vecViews, {})) {
        --pView->m_nHandles;
    }
}

std::size_t CProcess::HandleCount() const {
    return static_cast<std::size_t>(
        std::count_if(m_vecHandles.begin(), m_vecHandles.end(), [](const ObjectPointer& p) { return p != nullptr; }));
}

std::vector<ObjectPointer> CProcess::Objects() const {
    std::vector<ObjectPointer> objects;
    std::copy_if(m_vecHandles.begin(), m_vecHandles.end(), std::back_inserter(objects),
                 [](const ObjectPointer& pObject) { return pObject != nullptr; });
    return objects;
}

CMachine::CMachine(CScheduler& scheduler, Flavour flavour) : m_scheduler(scheduler), m_flavour(flavour) {
    g_pMachine = this;
}

CMachine::~CMachine() {
    g_pMachine = nullptr;
}

void CMachine::SwitchOff() {
    g_pScheduler = &m_scheduler;
    for (const auto& [nId, pProcess] : m_processes) {
        pProcess->CloseAll();
    }
    g_pScheduler = nullptr;
}

std::shared_ptr<CProcess> CMachine::AddProcess(std::wstring strFile) {
    const auto nId = static_cast<std::uint32_t>(m_processes.size() + 1);
    return m_processes[nId] = std::make_shared<CProcess>(nId, std::move(strFile));
}

std::shared_ptr<CProcess> CMachine::FindProcess(std::uint32_t nId) const {
    const auto found = m_processes.find(nId);
    return found != m_processes.end() ? found->second : nullptr;
}

std::shared_ptr<CThread> CMachine::ThreadOf(const CTask& task) const {
    for (const std::shared_ptr<CThread>& pThread : m_processes.at(task.m_nProcess)->m_vecThreads) {
        if (pThread->m_pTask == &task) {
            return pThread;
        }
    }
    return nullptr;
}

std::shared_ptr<CThread> CMachine::StartThread(CProcess& process, std::function<std::uint32_t()> work,
                                               bool bSuspended) {
    const auto pThread = std::make_shared<CThread>();
    CTask& task = m_scheduler.Add(
        process.m_nId, "a thread",
        [this, weak = std::weak_ptr<CThread>(pThread), bForeign = process.m_bForeign, work = std::move(work)] {
            if (bForeign) {
                m_scheduler.BecomeForeign();
            }
            const std::uint32_t nExitCode = work();
            std::shared_ptr<CThread> pThread;
            {
                // A thread that another one has ended goes no further.
                const CScheduler::CInside inside(m_scheduler);
                pThread = weak.lock();
            }
            ForgetLocal(*pThread->m_pTask);
            ThreadEnded(*pThread, nExitCode);
        },
        bSuspended);
    pThread->m_pTask = &task;
    process.m_vecThreads.push_back(pThread);
    return pThread;
}

void CMachine::ThreadEnded(CThread& thread, std::uint32_t nExitCode) {
    const CScheduler::CInside inside(m_scheduler);
    const std::shared_ptr<CObject> pKept = thread.shared_from_this();
    CTask& task = *thread.m_pTask;
    // What a thread has done that another one ends comes before its end, too.
    if (m_scheduler.IsFree()) {
        // Up to its last wait. What it still does until its next call is nobody's.
        HappensAfter(&task.m_turn);
        HappensBefore(&task);
    } else if (&task == &m_scheduler.Current() || !task.m_pFiber) {
        HappensBefore(&task);
    } else {
        task.m_pFiber->HappenedBefore(&task);
        task.m_pFiber->HappenedBefore(&thread);
    }
    for (const std::weak_ptr<CMutex>& weak : m_vecMutexes) {
        if (const std::shared_ptr<CMutex> pMutex = weak.lock()) {
            pMutex->Abandon(task);
        }
    }
    m_desktop.ThreadEnded(task);
    auto& threads = m_processes.at(task.m_nProcess)->m_vecThreads;
    threads.erase(std::remove_if(threads.begin(), threads.end(), [&](const auto& p) { return p.get() == &thread; }),
                  threads.end());
    thread.End(nExitCode);
}

void CMachine::EndThread(CThread& thread, std::uint32_t nExitCode) {
    if (thread.m_bEnded) {
        return;
    }
    CTask& task = *thread.m_pTask;
    ThreadEnded(thread, nExitCode);
    m_scheduler.End(task);
}

void CMachine::EndProcess(CProcess& process, std::uint32_t nExitCode) {
    CTask* pSelf = nullptr;
    while (!process.m_vecThreads.empty()) {
        CThread& thread = *process.m_vecThreads.back();
        CTask& task = *thread.m_pTask;
        ThreadEnded(thread, nExitCode);
        if (&task == &m_scheduler.Current()) {
            pSelf = &task;
        } else {
            m_scheduler.End(task);
        }
    }
    process.CloseAll();
    process.End(nExitCode);
    if (pSelf != nullptr) {
        m_scheduler.End(*pSelf);
    }
}

ObjectPointer CMachine::FindName(const std::wstring& strName) {
    const auto found = m_names.find(PlainName(strName));
    const ObjectPointer pObject = found != m_names.end() ? found->second.lock() : nullptr;
    // Handles keep a name; a thread that was ended in the middle of a call does not.
    return pObject && pObject->m_nHandles > 0 ? pObject : nullptr;
}

void CMachine::SetName(const ObjectPointer& pObject, const std::wstring& strName) {
    pObject->m_strName = PlainName(strName);
    m_names[pObject->m_strName] = pObject;
}

Nanoseconds CMachine::WorldTime() const {
    const Nanoseconds nNow = m_scheduler.Now();
    std::int64_t nAheadSeconds = 0;
    for (const ClockJump& jump : m_flavour.clockJumps) {
        nAheadSeconds = jump.nAt <= nNow ? jump.nAheadSeconds : nAheadSeconds;
    }
    return (kStartUnixSeconds + static_cast<std::uint64_t>(nAheadSeconds)) * kSecond + nNow;
}

std::shared_ptr<CMutex> CMachine::AddMutex() {
    const auto pMutex = std::make_shared<CMutex>();
    std::erase_if(m_vecMutexes, [](const std::weak_ptr<CMutex>& weak) { return weak.expired(); });
    m_vecMutexes.push_back(pMutex);
    return pMutex;
}

}  // namespace simulation
