#include "simulation/kernel/modules.h"

#include <shlwapi.h>

#include <cwctype>

#include "simulation/kernel/export.h"

namespace simulation {
namespace {

std::wstring Folded(std::wstring strText) {
    for (wchar_t& letter : strText) {
        letter = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(letter)));
    }
    return strText;
}

}  // namespace

CModules::CModules() {
    Add(std::wstring(kSystemFolder) + L"\\shlwapi.dll",
        {Export("PathAppendW", &PathAppendW), Export("PathCanonicalizeW", &PathCanonicalizeW),
         Export("PathFileExistsW", &PathFileExistsW), Export("PathIsPrefixW", &PathIsPrefixW),
         Export("PathRemoveBackslashW", &PathRemoveBackslashW), Export("SHGetValueW", &SHGetValueW),
         Export("SHSetValueW", &SHSetValueW), Export("StrDupW", &StrDupW)});
}

void CModules::Add(const std::wstring& strPath, Exports exports) {
    m_modules[Folded(strPath)].exports = std::move(exports);
}

bool CModules::HasFile(const std::wstring& strPath) const {
    return m_modules.count(Folded(strPath)) != 0;
}

HMODULE CModules::Load(const std::wstring& strPath) {
    const auto found = m_modules.find(Folded(strPath));
    if (found == m_modules.end()) {
        return nullptr;
    }
    ++found->second.nLoads;
    return reinterpret_cast<HMODULE>(&found->second);
}

HMODULE CModules::FindLoaded(const std::wstring& strName) const {
    const std::wstring strFolded = Folded(strName);
    for (const auto& [strPath, module] : m_modules) {
        if (module.nLoads > 0 && (strPath == strFolded || strPath.ends_with(L'\\' + strFolded))) {
            return reinterpret_cast<HMODULE>(const_cast<Module*>(&module));
        }
    }
    return nullptr;
}

bool CModules::Free(HMODULE hModule) {
    for (auto& [strPath, module] : m_modules) {
        if (reinterpret_cast<HMODULE>(&module) == hModule && module.nLoads > 0) {
            --module.nLoads;
            return true;
        }
    }
    return false;
}

FARPROC CModules::Find(HMODULE hModule, const std::string& strName) const {
    for (const auto& [strPath, module] : m_modules) {
        if (reinterpret_cast<HMODULE>(const_cast<Module*>(&module)) == hModule && module.nLoads > 0) {
            const auto found = module.exports.find(strName);
            return found != module.exports.end() ? found->second : nullptr;
        }
    }
    return nullptr;
}

std::size_t CModules::LoadedCount() const {
    std::size_t nCount = 0;
    for (const auto& [strPath, module] : m_modules) {
        nCount += module.nLoads > 0 ? 1 : 0;
    }
    return nCount;
}

}  // namespace simulation
