// The names under which callers, the host and second starts find each other.
#pragma once

#include <string>

inline constexpr wchar_t kPipeBase[] = LR"(\\.\pipe\NamedPipezoltService_INSTANCE)";
inline constexpr wchar_t kEventBase[] = LR"(Global\NamedEventzoltService)";
inline constexpr wchar_t kMutexBase[] = L"{653300D9-0A22-4552-BA36-294AD3FE56F0}";

// Signalled by the first start of a helper once its pipe listens.
inline constexpr wchar_t kReadyEventName[] =
    LR"(Global\NamedEventzoltServiceInIt{C0303317-08D1-48EE-9235-58FD0CD59326})";

// The host's own pipe and its write gate: base, "_", mark. Nothing is escaped and no length is checked.
std::wstring HostPipeName(const std::wstring& strMark);
std::wstring HostEventName(const std::wstring& strMark);

// The mutex by which one process serves one mark: base and mark, nothing between.
std::wstring HostMutexName(const std::wstring& strMark);

// The pipe a caller serves for one service and its write gate: base, "_", mark, "_", service id (UTF-8).
std::wstring ServicePipeName(const std::wstring& strMark, const std::string& strServiceId);
std::wstring ServiceEventName(const std::wstring& strMark, const std::string& strServiceId);
