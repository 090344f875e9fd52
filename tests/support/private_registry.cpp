#include "tests/support/private_registry.h"

#include <gtest/gtest.h>

#include "tests/support/unique_name.h"

namespace {

CRegistryKey MakeKey(const std::wstring& path) {
    HKEY made = nullptr;
    EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &made, nullptr),
              ERROR_SUCCESS);
    return CRegistryKey(made);
}

}  // namespace

CPrivateRegistry::CPrivateRegistry() : m_strName(L"Software\\" + UniqueName(L"nexlet_test_registry")) {
    const CRegistryKey machine = MakeKey(m_strName + L"\\machine");
    const CRegistryKey user = MakeKey(m_strName + L"\\user");
    EXPECT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine.get()), ERROR_SUCCESS);
    EXPECT_EQ(RegOverridePredefKey(HKEY_CURRENT_USER, user.get()), ERROR_SUCCESS);
}

CPrivateRegistry::~CPrivateRegistry() {
    EXPECT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegOverridePredefKey(HKEY_CURRENT_USER, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, m_strName.c_str()), ERROR_SUCCESS);
}

CRegistryValue::CRegistryValue(HKEY root, const std::wstring& key, const wchar_t* name, REGSAM view, DWORD type,
                               const std::vector<std::uint8_t>& data)
    : m_hRoot(root), m_strKey(key), m_strName(name), m_nView(view) {
    HKEY made = nullptr;
    EXPECT_EQ(RegCreateKeyExW(root, key.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE | view, nullptr, &made, nullptr),
              ERROR_SUCCESS);
    const CRegistryKey owner(made);
    OldValue old = {};
    DWORD size = 0;
    if (RegQueryValueExW(made, name, nullptr, nullptr, nullptr, &size) == ERROR_SUCCESS) {
        old.data.resize(size);
        EXPECT_EQ(RegQueryValueExW(made, name, nullptr, &old.type, old.data.data(), &size), ERROR_SUCCESS);
        m_old = old;
    }
    EXPECT_EQ(RegSetValueExW(made, name, 0, type, data.data(), static_cast<DWORD>(data.size())), ERROR_SUCCESS);
}

CRegistryValue::~CRegistryValue() {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(m_hRoot, m_strKey.c_str(), 0, KEY_READ | KEY_WRITE | m_nView, &opened) != ERROR_SUCCESS) {
        return;
    }
    const CRegistryKey owner(opened);
    if (m_old) {
        RegSetValueExW(opened, m_strName.c_str(), 0, m_old->type, m_old->data.data(),
                       static_cast<DWORD>(m_old->data.size()));
        return;
    }
    RegDeleteValueW(opened, m_strName.c_str());
    DWORD values = 0;
    DWORD keys = 0;
    RegQueryInfoKeyW(opened, nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr, nullptr, nullptr,
                     nullptr);
    if (values == 0 && keys == 0) {
        RegDeleteKeyExW(m_hRoot, m_strKey.c_str(), m_nView, 0);
    }
}

std::vector<std::uint8_t> TextBytes(const std::wstring& text) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.c_str());
    return {bytes, bytes + (text.size() + 1) * sizeof(wchar_t)};
}

std::optional<std::uint32_t> ReadNumber(HKEY root, const std::wstring& key, const wchar_t* name) {
    std::uint32_t number = 0;
    DWORD type = 0;
    DWORD size = sizeof number;
    if (SHGetValueW(root, key.c_str(), name, &type, &number, &size) != ERROR_SUCCESS || type != REG_DWORD) {
        return std::nullopt;
    }
    return number;
}
