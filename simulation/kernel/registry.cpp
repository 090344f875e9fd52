#include "simulation/kernel/registry.h"

#include <cwctype>

namespace simulation {

std::wstring CRegistry::Folded(std::wstring strText) {
    for (wchar_t& letter : strText) {
        letter = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(letter)));
    }
    return strText;
}

std::wstring CRegistry::PathOf(HKEY hKey) const {
    if (hKey == HKEY_CURRENT_USER) {
        return L"HKCU";
    }
    if (hKey == HKEY_LOCAL_MACHINE) {
        return L"HKLM";
    }
    const auto found = m_open.find(reinterpret_cast<std::uintptr_t>(hKey));
    return found != m_open.end() ? found->second : std::wstring();
}

void CRegistry::MakeKey(const std::wstring& strPath) {
    for (std::size_t nEnd = strPath.find(L'\\'); nEnd != std::wstring::npos; nEnd = strPath.find(L'\\', nEnd + 1)) {
        m_keys[Folded(strPath.substr(0, nEnd))];
    }
    m_keys[Folded(strPath)];
}

HKEY CRegistry::Open(const std::wstring& strPath) {
    m_nNext += 4;
    m_open[m_nNext] = strPath;
    return reinterpret_cast<HKEY>(m_nNext);
}

bool CRegistry::Close(HKEY hKey) {
    return hKey == HKEY_CURRENT_USER || hKey == HKEY_LOCAL_MACHINE ||
           m_open.erase(reinterpret_cast<std::uintptr_t>(hKey)) != 0;
}

std::optional<CRegistry::Value> CRegistry::Get(const std::wstring& strPath, const std::wstring& strName) const {
    const auto key = m_keys.find(Folded(strPath));
    if (key == m_keys.end()) {
        return std::nullopt;
    }
    const auto value = key->second.find(Folded(strName));
    return value != key->second.end() ? std::optional(value->second) : std::nullopt;
}

void CRegistry::Set(const std::wstring& strPath, const std::wstring& strName, Value value) {
    MakeKey(strPath);
    m_keys[Folded(strPath)][Folded(strName)] = std::move(value);
}

}  // namespace simulation
