// The registry and the helpers of shlwapi for it.
#include <shlwapi.h>

#include <cstring>

#include "simulation/system/call.h"

using namespace simulation;

namespace {

std::wstring Join(const std::wstring& strPath, LPCWSTR szSubKey) {
    return szSubKey == nullptr || *szSubKey == L'\0' ? strPath : strPath + L'\\' + szSubKey;
}

// Copies a value out, as all readers do. Nothing is copied that does not fit; the size tells what would.
LSTATUS Give(const std::optional<CRegistry::Value>& value, LPDWORD pType, void* pData, LPDWORD pSize) {
    if (!value) {
        return ERROR_FILE_NOT_FOUND;
    }
    if (pType != nullptr) {
        *pType = value->nType;
    }
    const auto nSize = static_cast<DWORD>(value->bytes.size());
    const DWORD nRoom = pSize != nullptr ? *pSize : 0;
    if (pSize != nullptr) {
        *pSize = nSize;
    }
    if (pData == nullptr) {
        return ERROR_SUCCESS;
    }
    if (nSize > nRoom) {
        return ERROR_MORE_DATA;
    }
    std::memcpy(pData, value->bytes.data(), nSize);
    return ERROR_SUCCESS;
}

LSTATUS Read(const char* szCall, HKEY hKey, LPCWSTR szSubKey, LPCWSTR szValue, LPDWORD pType, void* pData,
             LPDWORD pSize) {
    CCall call(szCall, Number(hKey));
    const CRegistry& registry = call.Machine().m_registry;
    const std::wstring strPath = registry.PathOf(hKey);
    if (strPath.empty()) {
        return ERROR_INVALID_HANDLE;
    }
    call.Note(Join(strPath, szSubKey) + L" " + (szValue != nullptr ? szValue : L""));
    return Give(registry.Get(Join(strPath, szSubKey), szValue != nullptr ? szValue : L""), pType, pData, pSize);
}

}  // namespace

LSTATUS RegGetValueW(HKEY hKey, LPCWSTR szSubKey, LPCWSTR szValue, DWORD, LPDWORD pType, PVOID pData, LPDWORD pSize) {
    return Read("RegGetValueW", hKey, szSubKey, szValue, pType, pData, pSize);
}

LSTATUS SHGetValueW(HKEY hKey, LPCWSTR szSubKey, LPCWSTR szValue, DWORD* pType, void* pData, DWORD* pSize) {
    return Read("SHGetValueW", hKey, szSubKey, szValue, pType, pData, pSize);
}

LSTATUS RegQueryValueExW(HKEY hKey, LPCWSTR szValue, LPDWORD, LPDWORD pType, BYTE* pData, LPDWORD pSize) {
    return Read("RegQueryValueExW", hKey, nullptr, szValue, pType, pData, pSize);
}

LSTATUS RegOpenKeyExW(HKEY hKey, LPCWSTR szSubKey, DWORD, REGSAM, PHKEY phResult) {
    CCall call("RegOpenKeyExW", Number(hKey));
    CRegistry& registry = call.Machine().m_registry;
    const std::wstring strPath = Join(registry.PathOf(hKey), szSubKey);
    call.Note(strPath);
    *phResult = nullptr;
    if (const DWORD nError = call.Fault({ERROR_ACCESS_DENIED}); nError != 0) {
        return static_cast<LSTATUS>(nError);
    }
    if (!registry.HasKey(strPath)) {
        return ERROR_FILE_NOT_FOUND;
    }
    *phResult = registry.Open(strPath);
    return ERROR_SUCCESS;
}

LSTATUS RegCreateKeyExW(HKEY hKey, LPCWSTR szSubKey, DWORD, LPWSTR, DWORD, REGSAM, SECURITY_ATTRIBUTES*, PHKEY phResult,
                        LPDWORD pDisposition) {
    CCall call("RegCreateKeyExW", Number(hKey));
    CRegistry& registry = call.Machine().m_registry;
    const std::wstring strPath = Join(registry.PathOf(hKey), szSubKey);
    call.Note(strPath);
    *phResult = nullptr;
    if (const DWORD nError = call.Fault({ERROR_ACCESS_DENIED}); nError != 0) {
        return static_cast<LSTATUS>(nError);
    }
    if (pDisposition != nullptr) {
        *pDisposition = registry.HasKey(strPath) ? 2 : 1;
    }
    registry.MakeKey(strPath);
    *phResult = registry.Open(strPath);
    return ERROR_SUCCESS;
}

LSTATUS RegSetValueExW(HKEY hKey, LPCWSTR szValue, DWORD, DWORD nType, const BYTE* pData, DWORD nSize) {
    CCall call("RegSetValueExW", Number(hKey));
    CRegistry& registry = call.Machine().m_registry;
    const std::wstring strPath = registry.PathOf(hKey);
    if (strPath.empty()) {
        return ERROR_INVALID_HANDLE;
    }
    registry.Set(strPath, szValue != nullptr ? szValue : L"", {nType, {pData, pData + nSize}});
    return ERROR_SUCCESS;
}

LSTATUS SHSetValueW(HKEY hKey, LPCWSTR szSubKey, LPCWSTR szValue, DWORD nType, LPCVOID pData, DWORD nSize) {
    CCall call("SHSetValueW", Number(hKey));
    CRegistry& registry = call.Machine().m_registry;
    if (const DWORD nError = call.Fault({ERROR_ACCESS_DENIED}); nError != 0) {
        return static_cast<LSTATUS>(nError);
    }
    const auto* const pBytes = static_cast<const BYTE*>(pData);
    registry.Set(Join(registry.PathOf(hKey), szSubKey), szValue, {nType, {pBytes, pBytes + nSize}});
    return ERROR_SUCCESS;
}

LSTATUS RegCloseKey(HKEY hKey) {
    CCall call("RegCloseKey", Number(hKey));
    return call.Machine().m_registry.Close(hKey) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

LSTATUS RegDeleteKeyW(HKEY hKey, LPCWSTR szSubKey) {
    CCall call("RegDeleteKeyW", Number(hKey));
    CRegistry& registry = call.Machine().m_registry;
    return registry.Delete(Join(registry.PathOf(hKey), szSubKey)) ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}
