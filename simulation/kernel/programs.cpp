#include "simulation/kernel/programs.h"

#include <cwctype>

#include "simulation/kernel/modules.h"

namespace simulation {
namespace {

std::wstring Folded(std::wstring strName) {
    for (wchar_t& letter : strName) {
        letter = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(letter)));
    }
    return strName;
}

// "cmd.exe /c exit 7".
std::uint32_t Shell(const std::wstring& strCommandLine) {
    constexpr std::wstring_view kExit = L"exit ";
    const std::size_t nAt = strCommandLine.find(kExit);
    return nAt != std::wstring::npos ? static_cast<std::uint32_t>(std::stoul(strCommandLine.substr(nAt + kExit.size())))
                                     : 0;
}

}  // namespace

CPrograms::CPrograms() {
    const std::wstring strFolder = std::wstring(CModules::kSystemFolder) + L'\\';
    Add(strFolder + L"cmd.exe", &Shell);
    // It takes no switch.
    Add(strFolder + L"hostname.exe", [](const std::wstring&) { return 1U; });
}

void CPrograms::Add(const std::wstring& strFile, Main main) {
    m_programs[Folded(strFile)] = std::make_shared<const Main>(std::move(main));
}

std::shared_ptr<const CPrograms::Main> CPrograms::Find(const std::wstring& strFile) const {
    const auto found = m_programs.find(Folded(strFile));
    return found != m_programs.end() ? found->second : nullptr;
}

}  // namespace simulation
