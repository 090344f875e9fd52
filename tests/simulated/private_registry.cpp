// tests/support/private_registry.h on the machine, where another registry is put into the place of the one in use.
#include "tests/support/private_registry.h"

#include <memory>
#include <utility>

#include <shlwapi.h>

#include "simulation/kernel/machine.h"

namespace {

std::unique_ptr<simulation::CRegistry>& Saved() {
    static auto& saved = *new std::unique_ptr<simulation::CRegistry>;
    return saved;
}

}  // namespace

CPrivateRegistry::CPrivateRegistry() {
    Saved() = std::make_unique<simulation::CRegistry>(
        std::exchange(simulation::g_pMachine->m_registry, simulation::CRegistry()));
}

CPrivateRegistry::~CPrivateRegistry() {
    simulation::g_pMachine->m_registry = std::move(*Saved());
    Saved().reset();
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
