// Libraries, the program's own file, folders, debug output.
#include <shlwapi.h>

#include <cstdlib>
#include <cwchar>

#include "simulation/system/call.h"

using namespace simulation;

namespace {

// Copies text with its end; the number of characters without it, or with it where they do not fit.
DWORD GiveText(const std::wstring& strText, LPWSTR szBuffer, DWORD nSize) {
    if (strText.size() >= nSize) {
        return static_cast<DWORD>(strText.size() + 1);
    }
    std::wmemcpy(szBuffer, strText.c_str(), strText.size() + 1);
    return static_cast<DWORD>(strText.size());
}

HMODULE Load(CCall& call, const std::wstring& strFile, bool bSystemOnly) {
    call.Note(strFile);
    CModules& modules = call.Machine().m_modules;
    HMODULE hModule = nullptr;
    if (strFile.find(L'\\') != std::wstring::npos) {
        hModule = modules.Load(strFile);
    } else {
        const std::wstring& strProgram = call.Process().m_strFile;
        if (!bSystemOnly) {
            hModule = modules.Load(strProgram.substr(0, strProgram.find_last_of(L'\\') + 1) + strFile);
        }
        if (hModule == nullptr) {
            hModule = modules.Load(std::wstring(CModules::kSystemFolder) + L'\\' + strFile);
        }
    }
    if (hModule == nullptr) {
        call.Fail(ERROR_MOD_NOT_FOUND);
    }
    return hModule;
}

}  // namespace

HMODULE LoadLibraryW(LPCWSTR szFile) {
    CCall call("LoadLibraryW");
    return Load(call, szFile, /*bSystemOnly=*/false);
}

HMODULE LoadLibraryA(LPCSTR szFile) {
    CCall call("LoadLibraryA");
    return Load(call, std::wstring(szFile, szFile + std::char_traits<char>::length(szFile)), /*bSystemOnly=*/false);
}

HMODULE LoadLibraryExW(LPCWSTR szFile, HANDLE, DWORD dwFlags) {
    CCall call("LoadLibraryExW");
    return Load(call, szFile, (dwFlags & LOAD_LIBRARY_SEARCH_SYSTEM32) != 0);
}

HMODULE GetModuleHandleW(LPCWSTR szFile) {
    CCall call("GetModuleHandleW");
    const HMODULE hModule = call.Machine().m_modules.FindLoaded(szFile);
    if (hModule == nullptr) {
        call.Fail(ERROR_MOD_NOT_FOUND);
    }
    return hModule;
}

BOOL GetModuleHandleExW(DWORD, LPCWSTR, HMODULE* phModule) {
    CCall call("GetModuleHandleExW");
    *phModule = reinterpret_cast<HMODULE>(std::uintptr_t{0x10000});
    return TRUE;
}

BOOL FreeLibrary(HMODULE hModule) {
    CCall call("FreeLibrary", Number(hModule));
    return call.Machine().m_modules.Free(hModule) ? TRUE : call.Fail(ERROR_MOD_NOT_FOUND);
}

FARPROC GetProcAddress(HMODULE hModule, LPCSTR szName) {
    CCall call("GetProcAddress", Number(hModule));
    const FARPROC pFunction = call.Machine().m_modules.Find(hModule, szName);
    if (pFunction == nullptr) {
        call.Fail(ERROR_PROC_NOT_FOUND);
    }
    return pFunction;
}

DWORD GetModuleFileNameW(HMODULE, LPWSTR szPath, DWORD nSize) {
    CCall call("GetModuleFileNameW");
    const std::wstring strFile = call.Process().m_strFile.substr(0, nSize - 1);
    return GiveText(strFile, szPath, nSize);
}

UINT GetSystemDirectoryW(LPWSTR szPath, UINT nSize) {
    CCall call("GetSystemDirectoryW");
    return GiveText(CModules::kSystemFolder, szPath, nSize);
}

void OutputDebugStringW(LPCWSTR szText) {
    CCall call("OutputDebugStringW");
    call.Note(szText);
}

DWORD GetLongPathNameW(LPCWSTR szShort, LPWSTR szLong, DWORD nSize) {
    CCall call("GetLongPathNameW");
    // There are no short names here.
    if (!call.Machine().HasPath(szShort)) {
        call.Fail(ERROR_FILE_NOT_FOUND);
        return 0;
    }
    return GiveText(szShort, szLong, nSize);
}

DWORD GetTempPathW(DWORD nSize, LPWSTR szPath) {
    CCall call("GetTempPathW");
    return GiveText(L"C:\\temp\\", szPath, nSize);
}

BOOL PathFileExistsW(LPCWSTR szPath) {
    CCall call("PathFileExistsW");
    call.Note(szPath);
    return call.Machine().HasPath(szPath) ? TRUE : call.Fail(ERROR_FILE_NOT_FOUND);
}

DWORD FormatMessageW(DWORD, LPCVOID, DWORD nError, DWORD, LPWSTR szBuffer, DWORD nSize, void*) {
    CCall call("FormatMessageW", nError);
    constexpr DWORD kMostErrors = 16000;
    if (nError > kMostErrors) {
        call.Fail(ERROR_MR_MID_NOT_FOUND);
        return 0;
    }
    return GiveText(L"The system refused it.\r\n", szBuffer, nSize);
}

LPWSTR StrDupW(LPCWSTR szText) {
    const std::size_t nSize = std::wcslen(szText) + 1;
    auto* const szCopy = static_cast<wchar_t*>(std::malloc(nSize * sizeof(wchar_t)));
    std::wmemcpy(szCopy, szText, nSize);
    return szCopy;
}

HLOCAL LocalFree(HLOCAL pMemory) {
    std::free(pMemory);
    return nullptr;
}
