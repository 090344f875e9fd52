// Processes for tests: another product's, and programs that run to their end.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "foundation/handle.h"
#include "foundation/windows_headers.h"

// The folder of the running test program.
std::filesystem::path ProgramFolder();

// Where the stand-in world was built.
std::filesystem::path WorldFolder();

// Polls until the condition holds; false after ten seconds.
bool WaitUntil(const std::function<bool()>& condition);

// A named event of this test alone, not signalled.
class CTestEvent {
  public:
    CTestEvent();
    const std::wstring& Name() const { return m_strName; }
    void Set() { SetEvent(m_hEvent.get()); }
    bool Wait() { return WaitForSingleObject(m_hEvent.get(), 10000) == WAIT_OBJECT_0; }

  private:
    std::wstring m_strName;
    CKernelHandle m_hEvent;
};

// A process of the program path for the length of a scope: a copy of the stand-in, or of another program of the world,
// is put there. arguments may ask for windows and otherwise only show in its command line. It ends with this process
// at the latest.
class CStandInProcess {
  public:
    explicit CStandInProcess(const std::filesystem::path& path, const std::wstring& arguments = L"",
                             const wchar_t* program = L"stand_in.exe");
    ~CStandInProcess();
    CStandInProcess(const CStandInProcess&) = delete;
    CStandInProcess& operator=(const CStandInProcess&) = delete;

    std::uint32_t Id() const { return m_nId; }
    HANDLE Handle() const { return m_hProcess.get(); }

  private:
    CTestEvent m_stop;
    CKernelHandle m_hProcess;
    std::uint32_t m_nId = 0;
};

// Runs a program to its end and gives its exit code.
std::uint32_t RunToEnd(const std::filesystem::path& program, const std::wstring& arguments);
