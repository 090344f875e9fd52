// What every system call begins and ends with.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

#include "simulation/include/windows.h"
#include "simulation/kernel/machine.h"

namespace simulation {

// Lives for the length of one call: a point for the scheduler, a line in the trace. Calls are only made by simulated
// threads.
class CCall {
  public:
    // szName is a literal. The numbers are for the trace.
    explicit CCall(const char* szName, std::uint64_t nFirst = 0, std::uint64_t nSecond = 0);
    ~CCall();
    CCall(const CCall&) = delete;
    CCall& operator=(const CCall&) = delete;

    // One of these errors, where the run wants this call to fail; else 0. They are what the documentation of the call
    // names. The error is set already.
    DWORD Fault(std::initializer_list<DWORD> errors);
    // Sets the error and returns FALSE.
    BOOL Fail(DWORD nError);
    void Note(const std::wstring& strText);

    CMachine& Machine() { return *g_pMachine; }
    CProcess& Process() { return g_pMachine->Process(); }
    CTask& Task() { return g_pScheduler->Current(); }

  private:
    CScheduler::CInside m_inside;
    CTrace::Line m_line;
};

inline std::uint64_t Number(const void* pPointer) {
    return reinterpret_cast<std::uintptr_t>(pPointer);
}

}  // namespace simulation
