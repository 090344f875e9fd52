#include "open/probes/login_probes.h"

#include <tlhelp32.h>

#include <ctime>
#include <cwchar>
#include <set>
#include <string>

#include "foundation/handle.h"
#include "foundation/late_shlwapi.h"
#include "foundation/path_helpers.h"
#include "open/probes/install_probes.h"
#include "open/probes/registry_views.h"
#include "support/system/system_queries.h"

namespace {

const wchar_t kMarkKey[] = L"SOFTWARE\\Classes\\WdTsIndexStore.1";
const wchar_t kMarkValue[] = L"wxl_state";
const wchar_t kWxCacheKey[] = NXL_STATUS_KEY L"\\WXSDK";
const wchar_t kYybCacheKey[] = NXL_STATUS_KEY L"\\YYBSDK";
const wchar_t kLoginTime[] = L"lt";
const wchar_t kLoginState[] = L"ls";

const wchar_t kApplication[] = L"WeChatMiniProgram.exe";
const wchar_t kRuntimeFolder[] = L"\\sdk\\runtime\\";
const wchar_t kRuntime[] = L"WeChatAppEx.exe";
const wchar_t kRenderer[] = L"--type=renderer";

// Reads a value of exactly this size; false, and target unspecified, otherwise.
bool ReadExactly(HKEY key, const wchar_t* valueName, void* target, DWORD size) {
    DWORD got = size;
    return RegQueryValueExW(key, valueName, nullptr, nullptr, static_cast<BYTE*>(target), &got) == ERROR_SUCCESS &&
           got == size;
}

void WriteCache(const wchar_t* subKey, const LoginCache& cache) {
    HKEY opened = nullptr;
    if (RegCreateKeyExW(HKEY_CURRENT_USER, subKey, 0, nullptr, 0, kWrite32BitView, nullptr, &opened, nullptr) !=
        ERROR_SUCCESS) {
        return;
    }
    const CRegistryKey key(opened);
    RegSetValueExW(key.get(), kLoginTime, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&cache.lt), sizeof cache.lt);
    RegSetValueExW(key.get(), kLoginState, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&cache.ls), sizeof cache.ls);
}

LoginCache ReadCache(const wchar_t* subKey) {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, subKey, 0, kRead32BitView, &opened) != ERROR_SUCCESS) {
        return {};
    }
    const CRegistryKey key(opened);
    LoginCache cache;
    if (!ReadExactly(key.get(), kLoginTime, &cache.lt, sizeof cache.lt)) {
        cache.lt = 0;
    }
    if (!ReadExactly(key.get(), kLoginState, &cache.ls, sizeof cache.ls)) {
        cache.ls = 0;
    }
    return cache;
}

// A program that was started by its short name may be listed by it.
bool MayBeRuntime(const wchar_t* name) {
    return CompareStringOrdinal(name, -1, kRuntime, -1, /*bIgnoreCase=*/TRUE) == CSTR_EQUAL ||
           std::wcschr(name, L'~') != nullptr;
}

// The processes that run exactly this file, in ascending order. A process is opened only when its name in the list
// allows it, and with the least right that tells its path: security products report programs that open all processes to
// read them.
std::set<std::uint32_t> FindRuntimeProcesses(const std::wstring& path, const ProcessMemoryApi& api) {
    std::set<std::uint32_t> ids;
    const CFileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot) {
        return ids;
    }
    const std::wstring runtime = CanonicalizePath(path);
    PROCESSENTRY32W entry = {};
    static_assert(sizeof entry == 0x238);
    entry.dwSize = sizeof entry;
    for (BOOL bMore = Process32FirstW(snapshot.get(), &entry); bMore; bMore = Process32NextW(snapshot.get(), &entry)) {
        if (!MayBeRuntime(entry.szExeFile)) {
            continue;
        }
        const CKernelHandle process(api.OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, entry.th32ProcessID));
        if (!process) {
            continue;
        }
        const std::wstring image = CanonicalizePath(GetProcessImagePath(process.get()));
        // Each below the other is the same file.
        if (IsCanonicalPathUnder(image, runtime) && IsCanonicalPathUnder(runtime, image)) {
            ids.insert(entry.th32ProcessID);
        }
    }
    return ids;
}

std::wstring CommandLineOf(std::uint32_t pid, const ProcessMemoryApi& api) {
    std::wstring text;
    const CKernelHandle process(api.OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, pid));
    if (process && !Is32BitTarget(process.get(), api)) {
        ReadProcessCommandLine(process.get(), text, api);
    }
    return text;
}

// The mini-program application on this machine.
class CMachineFacts final : public ILoginFacts {
  public:
    explicit CMachineFacts(const ProcessMemoryApi& api) : m_api(api) {}

    bool IsInstalled() override { return IsWxMiniProgramInstalled(); }
    bool ReadMark(LoginMark& mark) override {
        HKEY opened = nullptr;
        if (RegOpenKeyExW(HKEY_CURRENT_USER, kMarkKey, 0, kRead32BitView, &opened) != ERROR_SUCCESS) {
            return false;
        }
        const CRegistryKey key(opened);
        return ReadExactly(key.get(), kMarkValue, mark.data(), static_cast<DWORD>(mark.size()));
    }
    std::uint64_t FileTimeNow() override {
        FILETIME now = {};
        GetSystemTimeAsFileTime(&now);
        return (std::uint64_t{now.dwHighDateTime} << 32) | now.dwLowDateTime;
    }
    std::uint32_t SecondsNow() override { return static_cast<std::uint32_t>(std::time(nullptr)); }
    void GetRunState(bool& run, bool& login) override { GetWxRunState(run, login, m_api); }
    LoginCache ReadCache() override { return ::ReadCache(kWxCacheKey); }
    void WriteCache(const LoginCache& cache) override { WriteWxLoginCache(cache); }

  private:
    const ProcessMemoryApi& m_api;
};

}  // namespace

void GetWxRunState(bool& run, bool& login, const ProcessMemoryApi& api) {
    std::set<std::uint32_t> ids;
    if (FindProcessesByName(kApplication, ids)) {
        run = true;
    }
    if (!CanReadCommandLines(api)) {
        // No process could show a login, so none is looked at.
        return;
    }
    const std::wstring path = GetWxMiniProgramInstallDir() + kRuntimeFolder + kRuntime;
    if (!Late::PathFileExistsW(path.c_str())) {
        return;
    }
    for (const std::uint32_t pid : FindRuntimeProcesses(path, api)) {
        if (CommandLineOf(pid, api).find(kRenderer) != std::wstring::npos) {
            login = true;
            return;
        }
    }
}

bool CheckWxMiniProgramIntalled(const ProcessMemoryApi& api) {
    CMachineFacts facts(api);
    return DecideLogin(facts);
}

void WriteWxLoginCache(const LoginCache& cache) {
    WriteCache(kWxCacheKey, cache);
}

void ReadWxLoginCache(LoginCache& cache) {
    cache = ReadCache(kWxCacheKey);
}

void WriteYybLoginCache(const LoginCache& cache) {
    WriteCache(kYybCacheKey, cache);
}

void ReadYybLoginCache(LoginCache& cache) {
    cache = ReadCache(kYybCacheKey);
}
