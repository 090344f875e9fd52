// Libraries that can be loaded, and what they export.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "simulation/include/windows.h"

namespace simulation {

using Exports = std::map<std::string, FARPROC>;

// Names without regard to case. A library is loaded once for all processes of the machine, since the code it exports
// is in one address space.
class CModules {
  public:
    CModules();

    // The file at this path. Code that is exported runs on the calling simulated thread.
    void Add(const std::wstring& strPath, Exports exports);
    bool HasFile(const std::wstring& strPath) const;
    // Null when there is no such file.
    HMODULE Load(const std::wstring& strPath);
    // Null when it is not loaded. A name without a folder is found in any.
    HMODULE FindLoaded(const std::wstring& strName) const;
    bool Free(HMODULE hModule);
    FARPROC Find(HMODULE hModule, const std::string& strName) const;
    std::size_t LoadedCount() const;

    static constexpr wchar_t kSystemFolder[] = L"C:\\windows\\system32";

  private:
    struct Module {
        Exports exports;
        std::uint32_t nLoads = 0;
    };

    std::map<std::wstring, Module> m_modules;
};

}  // namespace simulation
