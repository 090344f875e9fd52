// What every stand-in has: settings in NAME.ini and a record of its calls in NAME_calls.txt, both in its folder, and
// threads that act later.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "client/native_lock.h"

// Never destroyed: a thread may still act while the process ends. Any thread.
class CStandInFiles {
  public:
    // name is also the section of the settings.
    explicit CStandInFiles(const wchar_t* name);
    CStandInFiles(const CStandInFiles&) = delete;
    CStandInFiles& operator=(const CStandInFiles&) = delete;

    // Read again at every call.
    std::wstring Setting(const wchar_t* key, const wchar_t* otherwise = L"") const;
    std::int32_t Number(const wchar_t* key, std::int32_t otherwise) const;

    // Adds one line. Lines of two threads do not mix.
    void Record(const std::string& line) const;

    // Waits for the event of this name or, without a name, for a time. False when there is no such event, or when
    // StopThreads comes first.
    bool WaitForTurn(const std::wstring& gateName, DWORD delayMs) const;

    // Runs work on a thread of its own, until StopThreads ends its waits and joins it.
    void RunThread(std::function<void()> work);
    void StopThreads();

  private:
    const std::wstring m_strName;
    const std::wstring m_strFolder;  // with a backslash at the end
    const HANDLE m_hStop;
    struct Thread {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> pDone;
    };
    CNativeLock m_lock;
    std::vector<Thread> m_vecThreads NXL_GUARDED_BY(m_lock);
};

std::string Narrow(const std::wstring& wide);
