// What the files of this test share.
//
// They say what the product relies on, and run in two worlds: against the simulation, and as a Windows program. A
// change that adds a function to the simulation adds its lines here first: they must pass on Windows (here: Wine), and
// then also on the simulation. Where systems differ, a line says which answers there are; the product must work with
// each.
#pragma once

#include "foundation/windows_headers.h"

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/handle.h"

// Long: it is only reached when a test fails.
inline constexpr DWORD kLongMs = 20000;

inline CKernelHandle MakeEvent(BOOL bManual, BOOL bSet, const wchar_t* szName = nullptr) {
    return CKernelHandle(CreateEventW(nullptr, bManual, bSet, szName));
}

inline DWORD WaitBriefly(const CKernelHandle& object) {
    return WaitForSingleObject(object.get(), 0);
}

// The error of a call that gave FALSE, 0 for one that did not.
inline DWORD ErrorOf(BOOL bSuccess) {
    return bSuccess ? ERROR_SUCCESS : GetLastError();
}

// A name that no other test and no other run uses.
inline std::wstring FreshName(const wchar_t* szStem) {
    static volatile LONG counter = 0;
    return szStem + std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(InterlockedIncrement(&counter));
}

// Joins at the end of a scope.
class CJoined {
  public:
    explicit CJoined(std::function<void()> work) : m_thread(std::move(work)) {}
    ~CJoined() { m_thread.join(); }

  private:
    std::thread m_thread;
};
