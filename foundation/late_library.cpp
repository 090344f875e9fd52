#include "foundation/late_library.h"

#include <string>

namespace {

// Any user may have put a file of the library's name into the program's own folder, and a bare name would find it
// there; so would a name that an SDK has loaded a file of. A whole path finds neither.
HMODULE LoadFromSystemFolder(const wchar_t* name) {
    wchar_t folder[MAX_PATH] = {};
    const UINT length = GetSystemDirectoryW(folder, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) {
        return nullptr;
    }
    const std::wstring path = std::wstring(folder) + L"\\" + name;
    const HMODULE module = LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module != nullptr || GetLastError() != ERROR_MOD_NOT_FOUND) {
        return module;
    }
    // Windows 7 keeps some libraries, GDI+ among them, in its side-by-side store alone, and finds them there by name.
    return LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
}

}  // namespace

HMODULE CLateLibrary::Load() {
    HMODULE module = m_hModule.load(std::memory_order_acquire);
    if (module != nullptr) {
        return module;
    }
    module = LoadFromSystemFolder(m_pName);
    HMODULE first = nullptr;
    if (module != nullptr && !m_hModule.compare_exchange_strong(first, module, std::memory_order_acq_rel)) {
        FreeLibrary(module);  // one reference is enough
        return first;
    }
    return module;
}
