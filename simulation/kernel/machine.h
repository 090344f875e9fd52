// The one simulated machine: its processes with their handles, the names, files and registry they share.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "simulation/kernel/desktop.h"
#include "simulation/kernel/disk.h"
#include "simulation/kernel/modules.h"
#include "simulation/kernel/object.h"
#include "simulation/kernel/pipe.h"
#include "simulation/kernel/programs.h"
#include "simulation/kernel/registry.h"
#include "simulation/kernel/scheduler.h"

namespace simulation {

// Noon of a day in November, on which every run begins, in seconds since 1970.
inline constexpr std::uint64_t kStartUnixSeconds = 1763726400;

class CThread final : public CEnding {
  public:
    const char* Kind() const override { return "thread"; }
    CTask* m_pTask = nullptr;  // weak: the scheduler keeps it
};

class CProcess final : public CEnding {
  public:
    CProcess(std::uint32_t nId, std::wstring strFile) : m_nId(nId), m_strFile(std::move(strFile)) {}
    const char* Kind() const override { return "process"; }

    // A handle for the object, held by this process.
    void* Open(ObjectPointer pObject);
    // Null for a value that means nothing.
    ObjectPointer Find(void* hHandle) const;
    template <typename T>
    std::shared_ptr<T> FindAs(void* hHandle) const {
        return std::dynamic_pointer_cast<T>(Find(hHandle));
    }
    // False for a value that means nothing.
    bool Close(void* hHandle);
    void CloseAll();
    std::size_t HandleCount() const;
    // What its handles are for, one for each handle.
    std::vector<ObjectPointer> Objects() const;

    const std::uint32_t m_nId;
    const std::wstring m_strFile;
    std::vector<std::shared_ptr<CThread>> m_vecThreads;
    std::vector<ObjectPointer> m_vecViews;    // sections that it sees
    bool m_bForeign = false;                  // ThreadSanitizer does not watch it
    std::vector<void*> m_vecRegisteredWaits;  // handles that a registered wait of its waits for

  private:
    std::vector<ObjectPointer> m_vecHandles;
};

// The clock of the world is set at a moment of the run: from then on it is so much ahead, or behind.
struct ClockJump {
    Nanoseconds nAt = 0;
    std::int64_t nAheadSeconds = 0;
};

// How the machine differs from one system to another, where callers may rely on neither.
struct Flavour {
    std::uint32_t nOwnHandleClosed = 109;   // error of what was pending on a handle that its own process closes
    bool bClosedPortWakes = false;          // whether closing a port ends the waits on it
    bool bFirstCounts = true;               // whether a pipe can be asked to be the first of its name
    bool bForeignTimers = true;             // whether a thread may set the timers of another one's window
    Nanoseconds nTick = kMillisecond;       // grain of the tick count
    std::uint64_t nStartTicks = 200000000;  // the tick count at the start, some days after that of the machine
    std::vector<ClockJump> clockJumps;      // in the order of their times
};

class CMachine {
  public:
    explicit CMachine(CScheduler& scheduler, Flavour flavour);
    ~CMachine();
    CMachine(const CMachine&) = delete;
    CMachine& operator=(const CMachine&) = delete;

    // Closes all that is open, once the run is over: an operation that is pending and its file hold each other.
    void SwitchOff();

    std::shared_ptr<CProcess> AddProcess(std::wstring strFile);
    CProcess& ProcessOf(const CTask& task) { return *m_processes.at(task.m_nProcess); }
    CProcess& Process() { return ProcessOf(m_scheduler.Current()); }
    std::shared_ptr<CProcess> FindProcess(std::uint32_t nId) const;
    // Null for a thread that has ended.
    std::shared_ptr<CThread> ThreadOf(const CTask& task) const;

    // A thread of the process; its exit code is what work returns.
    std::shared_ptr<CThread> StartThread(CProcess& process, std::function<std::uint32_t()> work, bool bSuspended);
    // Ends a thread where it is. Does not return when it is the running one.
    void EndThread(CThread& thread, std::uint32_t nExitCode);
    void EndProcess(CProcess& process, std::uint32_t nExitCode);

    // The object of a name while a handle of it is open. Global\X and X are different names, Local\X and X are one.
    ObjectPointer FindName(const std::wstring& strName);
    void SetName(const ObjectPointer& pObject, const std::wstring& strName);
    std::shared_ptr<CMutex> AddMutex();

    // Nanoseconds since 1970 by the world's clock, which may be set back.
    Nanoseconds WorldTime() const;

    // A file, a folder, a library or a program.
    bool HasPath(const std::wstring& strPath) const {
        return m_disk.Find(strPath) || m_disk.HasFolder(strPath) || m_modules.HasFile(strPath) ||
               m_programs.Find(strPath);
    }

    // All processes are of one logon.
    static constexpr std::uint32_t kSession = 1;

    CScheduler& m_scheduler;
    const Flavour m_flavour;
    CPipeNames m_pipes;
    CDisk m_disk;
    CRegistry m_registry;
    CModules m_modules;
    CPrograms m_programs;
    CDesktop m_desktop;

  private:
    void ThreadEnded(CThread& thread, std::uint32_t nExitCode);

    std::map<std::uint32_t, std::shared_ptr<CProcess>> m_processes;
    std::map<std::wstring, std::weak_ptr<CObject>> m_names;
    std::vector<std::weak_ptr<CMutex>> m_vecMutexes;
};

extern CMachine* g_pMachine;

}  // namespace simulation
