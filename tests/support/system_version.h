// The version that the system reports, for the length of a scope.
#pragma once

#include "foundation/windows_headers.h"

#include <string>

#include <gtest/gtest.h>

// Writes CurrentVersion, which needs an administrator on a real system. One at a time: tests that use it share a
// resource lock.
class ScopedSystemVersion {
  public:
    explicit ScopedSystemVersion(const std::wstring& version) {
        wchar_t old[64] = {};
        DWORD size = sizeof(old) - sizeof(wchar_t);
        EXPECT_EQ(SHGetValueW(HKEY_LOCAL_MACHINE, kKey, kValue, nullptr, old, &size), ERROR_SUCCESS);
        m_strOld = old;
        Write(version);
    }
    ~ScopedSystemVersion() { Write(m_strOld); }
    ScopedSystemVersion(const ScopedSystemVersion&) = delete;
    ScopedSystemVersion& operator=(const ScopedSystemVersion&) = delete;

  private:
    static constexpr wchar_t kKey[] = L"Software\\Microsoft\\Windows NT\\CurrentVersion";
    static constexpr wchar_t kValue[] = L"CurrentVersion";

    static void Write(const std::wstring& version) {
        EXPECT_EQ(SHSetValueW(HKEY_LOCAL_MACHINE, kKey, kValue, REG_SZ, version.c_str(),
                              static_cast<DWORD>((version.size() + 1) * sizeof(wchar_t))),
                  ERROR_SUCCESS);
    }

    std::wstring m_strOld;
};
