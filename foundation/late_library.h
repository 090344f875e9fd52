// Functions of the system's libraries that a start does not need. The library is loaded at the first call of one of
// its functions, from the system folder and nowhere else, and the function is looked up then. The program calls
// through a pointer of its own, so all arguments reach the first call as they reach the second.
#pragma once

#include <atomic>
#include <cstddef>
#include <type_traits>

#include "foundation/windows_headers.h"

// Looks up the function of this name in a loaded module. False, with target null and the reason in GetLastError, when
// the module does not export it.
template <typename Function>
bool ResolveFunction(HMODULE module, const char* name, Function& target) {
    target = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    return target != nullptr;
}

// One library of the system. Any thread; several may make the first use at once. Once loaded it stays to the end of
// the process. A load that fails is tried again at the next use.
class CLateLibrary {
  public:
    // name: the file in the system folder, such as L"version.dll"; weak.
    constexpr explicit CLateLibrary(const wchar_t* name) : m_pName(name) {}
    CLateLibrary(const CLateLibrary&) = delete;
    CLateLibrary& operator=(const CLateLibrary&) = delete;

    // The loaded library; null, with the reason in GetLastError, when the system has none of this name.
    HMODULE Load();

  private:
    const wchar_t* m_pName;
    std::atomic<HMODULE> m_hModule{nullptr};
};

template <typename Function>
class CLateFunction;

// One function of a late library, called like the function itself. Any thread. When the library or the function
// cannot be had the call gives the failure that it was made with, and GetLastError the reason.
template <typename Result, typename... Arguments>
class CLateFunction<Result(WINAPI*)(Arguments...)> {
  public:
    using Function = Result(WINAPI*)(Arguments...);
    using Failure = std::conditional_t<std::is_void_v<Result>, std::nullptr_t, Result>;

    constexpr CLateFunction(CLateLibrary& library, const char* name, Failure failure)
        : m_library(library), m_pName(name), m_failure(failure) {}
    CLateFunction(const CLateFunction&) = delete;
    CLateFunction& operator=(const CLateFunction&) = delete;

    Result operator()(Arguments... arguments) {
        const Function function = Resolve();
        if constexpr (std::is_void_v<Result>) {
            if (function != nullptr) {
                function(arguments...);
            }
        } else {
            return function != nullptr ? function(arguments...) : m_failure;
        }
    }

    // For tests: puts function in the place of the library's own, for every thread; null looks that one up again.
    void Override(Function function) { m_pFunction.store(function, std::memory_order_release); }

  private:
    Function Resolve() {
        Function function = m_pFunction.load(std::memory_order_acquire);
        if (function == nullptr) {
            const HMODULE module = m_library.Load();
            if (module != nullptr && ResolveFunction(module, m_pName, function)) {
                m_pFunction.store(function, std::memory_order_release);
            }
        }
        return function;
    }

    CLateLibrary& m_library;
    const char* m_pName;
    const Failure m_failure;
    std::atomic<Function> m_pFunction{nullptr};
};

// Declares name as a late function of library with the signature of scope::name; scope may be empty.
#define NXL_LATE_FUNCTION(library, scope, name, failure) \
    inline constinit CLateFunction<decltype(&scope::name)> name(library, #name, failure)

// What a late function of COM gives when it cannot be had: the HRESULT of ERROR_MOD_NOT_FOUND.
inline constexpr HRESULT kLateLibraryMissing = static_cast<HRESULT>(0x8007007E);
