// Owners of Windows handles, one for each way of being empty and of being closed.
#pragma once

#include <utility>

#include "foundation/windows_headers.h"

// Owns one handle of a kind that Traits describes: its type, its empty value and how it is closed. Move-only.
template <typename Traits>
class CUniqueHandle {
  public:
    using Handle = typename Traits::Handle;

    CUniqueHandle() = default;
    explicit CUniqueHandle(Handle handle) : m_hValue(handle) {}
    CUniqueHandle(CUniqueHandle&& other) noexcept : m_hValue(other.release()) {}
    CUniqueHandle& operator=(CUniqueHandle&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~CUniqueHandle() { reset(); }

    Handle get() const { return m_hValue; }
    bool valid() const { return m_hValue != Traits::Empty(); }
    explicit operator bool() const { return valid(); }

    // Gives the handle up: the caller owns it now.
    [[nodiscard]] Handle release() { return std::exchange(m_hValue, Traits::Empty()); }

    void reset(Handle handle = Traits::Empty()) {
        const Handle old = std::exchange(m_hValue, handle);
        if (old != Traits::Empty()) {
            Traits::Close(old);
        }
    }

  private:
    Handle m_hValue = Traits::Empty();
};

struct KernelHandleTraits {
    using Handle = HANDLE;
    static Handle Empty() { return nullptr; }
    static void Close(Handle handle) { CloseHandle(handle); }
};
// Events, threads, processes, mutexes, completion ports: null is empty.
using CKernelHandle = CUniqueHandle<KernelHandleTraits>;

struct FileHandleTraits {
    using Handle = HANDLE;
    static Handle Empty() { return INVALID_HANDLE_VALUE; }
    static void Close(Handle handle) { CloseHandle(handle); }
};
// Files, pipes and snapshots: INVALID_HANDLE_VALUE is empty.
using CFileHandle = CUniqueHandle<FileHandleTraits>;

struct RegistryKeyTraits {
    using Handle = HKEY;
    static Handle Empty() { return nullptr; }
    static void Close(Handle handle) { RegCloseKey(handle); }
};
using CRegistryKey = CUniqueHandle<RegistryKeyTraits>;

struct ModuleTraits {
    using Handle = HMODULE;
    static Handle Empty() { return nullptr; }
    static void Close(Handle handle) { FreeLibrary(handle); }
};
using CModule = CUniqueHandle<ModuleTraits>;
