// The registry, in memory.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "simulation/include/windows.h"

namespace simulation {

// Paths begin with "HKCU" or "HKLM". Keys and values are found without regard to case. There is one view of it, as a
// 64-bit program that opens everything with the same view has.
class CRegistry {
  public:
    struct Value {
        DWORD nType = 0;
        std::vector<BYTE> bytes;
    };

    // Also for the roots themselves. Empty for a handle that is none.
    std::wstring PathOf(HKEY hKey) const;
    bool HasKey(const std::wstring& strPath) const { return m_keys.count(Folded(strPath)) != 0; }
    // With all keys above it.
    void MakeKey(const std::wstring& strPath);
    HKEY Open(const std::wstring& strPath);
    bool Close(HKEY hKey);
    std::optional<Value> Get(const std::wstring& strPath, const std::wstring& strName) const;
    void Set(const std::wstring& strPath, const std::wstring& strName, Value value);
    // False when it is not there.
    bool Delete(const std::wstring& strPath) { return m_keys.erase(Folded(strPath)) != 0; }
    std::size_t OpenKeys() const { return m_open.size(); }

  private:
    static std::wstring Folded(std::wstring strText);

    std::map<std::wstring, std::map<std::wstring, Value>> m_keys;
    std::map<std::uintptr_t, std::wstring> m_open;
    std::uintptr_t m_nNext = 0x10000;
};

}  // namespace simulation
