// A registry of its own for the process under test, and single values in the real one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "foundation/handle.h"
#include "foundation/windows_headers.h"

// While it lives, HKEY_LOCAL_MACHINE and HKEY_CURRENT_USER of this process are two empty keys that no other process
// sees. The 32-bit and the 64-bit view are one there.
class CPrivateRegistry {
  public:
    CPrivateRegistry();
    ~CPrivateRegistry();
    CPrivateRegistry(const CPrivateRegistry&) = delete;
    CPrivateRegistry& operator=(const CPrivateRegistry&) = delete;

  private:
    std::wstring m_strName;
};

// One value for the length of a scope. The earlier value is restored at the end; keys are deleted when they are empty.
class CRegistryValue {
  public:
    // view: 0, KEY_WOW64_32KEY or KEY_WOW64_64KEY.
    CRegistryValue(HKEY root, const std::wstring& key, const wchar_t* name, REGSAM view, DWORD type,
                   const std::vector<std::uint8_t>& data);
    ~CRegistryValue();
    CRegistryValue(const CRegistryValue&) = delete;
    CRegistryValue& operator=(const CRegistryValue&) = delete;

  private:
    struct OldValue {
        DWORD type;
        std::vector<std::uint8_t> data;
    };
    HKEY m_hRoot;
    std::wstring m_strKey;
    std::wstring m_strName;
    REGSAM m_nView;
    std::optional<OldValue> m_old;
};

// The bytes of a registry text with its terminator.
std::vector<std::uint8_t> TextBytes(const std::wstring& text);

// The 32-bit number of a value, or nothing when it is not there or not a REG_DWORD.
std::optional<std::uint32_t> ReadNumber(HKEY root, const std::wstring& key, const wchar_t* name);
