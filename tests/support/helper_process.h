// A helper process under test.
#pragma once

#include <cstdint>
#include <string>

#include "client/helper_start.h"
#include "foundation/handle.h"
#include "tests/support/helper_log.h"

class CHelperProcess {
  public:
    CHelperProcess() = default;
    // Ends the process if it still runs, and removes its log.
    ~CHelperProcess();
    CHelperProcess(CHelperProcess&&) = default;
    CHelperProcess& operator=(CHelperProcess&&) = default;

    // Starts the program with these arguments, unchanged, after its path.
    bool Start(const std::wstring& exe, const std::wstring& arguments);
    // Takes over a process that was started elsewhere.
    bool Attach(DWORD dwProcessId);

    bool IsRunning() const;
    // The exit code, or STILL_ACTIVE when it did not end in time.
    DWORD WaitForEnd(std::uint32_t timeoutMs) const;
    // Terminates it and waits for its end.
    void Kill();

    DWORD HandleCount() const;
    DWORD ThreadCount() const;
    std::size_t PrivateBytes() const;
    CHelperLog Log() const { return CHelperLog(m_process.dwProcessId); }
    DWORD Id() const { return m_process.dwProcessId; }
    HANDLE Handle() const { return m_process.hProcess.get(); }

  private:
    StartedProcess m_process;
};
