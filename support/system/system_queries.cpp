#include "support/system/system_queries.h"

#include <psapi.h>
#include <tlhelp32.h>

#include <cstddef>
#include <cstring>
#include <string_view>
#include <vector>

#include "foundation/handle.h"
#include "support/system/late_version.h"
#include "support/system/version_rules.h"

namespace {

constexpr DWORD kPathCharacters = 260;

// A registry text that fits 259 bytes; empty when it does not or cannot be read.
std::wstring ReadVersionValue(const wchar_t* subKey, const wchar_t* valueName) {
    wchar_t buffer[260] = {};
    DWORD size = 259;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, subKey, valueName, RRF_RT_ANY, nullptr, buffer, &size) != ERROR_SUCCESS) {
        return {};
    }
    return buffer;
}

bool EqualWithoutCase(std::wstring_view a, std::wstring_view b) {
    return CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(), static_cast<int>(b.size()), TRUE) ==
           CSTR_EQUAL;
}

}  // namespace

bool IsFileVersionAtLeast(const std::wstring& path) {
    FourPartVersion minimum = 0;
    if (!ParseVersionText(minimum)) {
        return false;
    }
    DWORD ignored = 0;
    const DWORD size = Late::GetFileVersionInfoSizeW(path.c_str(), &ignored);
    if (size == 0) {
        return false;
    }
    std::vector<std::byte> data(size);
    void* record = nullptr;
    UINT length = 0;
    // Data that cannot be read stays zeroed, and then holds no record.
    Late::GetFileVersionInfoW(path.c_str(), 0, size, data.data());
    // Only the first 16 bytes of the record are used, up to the file version; a file may have no more of it.
    constexpr std::size_t kUsedBytes = 16;
    static_assert(kUsedBytes == offsetof(VS_FIXEDFILEINFO, dwFileVersionLS) + sizeof(DWORD));
    if (!Late::VerQueryValueW(data.data(), L"\\", &record, &length) || length < kUsedBytes) {
        return false;
    }
    VS_FIXEDFILEINFO fixed{};
    std::memcpy(&fixed, record, kUsedBytes);
    const FourPartVersion version = (FourPartVersion{fixed.dwFileVersionMS} << 32) | fixed.dwFileVersionLS;
    return version >= minimum;
}

std::wstring GetProcessImagePath(std::uint32_t pid) {
    CKernelHandle process(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, pid));
    if (!process) {
        process.reset(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, pid));
    }
    return process ? GetProcessImagePath(process.get()) : std::wstring();
}

std::wstring GetProcessImagePath(HANDLE process) {
    // One more than is ever filled: a path that is cut off need not be terminated.
    wchar_t path[kPathCharacters + 1] = {};
    if (GetModuleFileNameExW(process, nullptr, path, kPathCharacters) == 0) {
        DWORD size = kPathCharacters;
        if (!QueryFullProcessImageNameW(process, 0, path, &size)) {
            return {};
        }
    }
    return path;
}

bool FindProcessesByName(const std::wstring& name, std::set<std::uint32_t>& ids) {
    if (name.empty()) {
        return false;
    }
    const CFileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot) {
        return false;
    }
    PROCESSENTRY32W entry = {};
    static_assert(sizeof entry == 568);
    entry.dwSize = sizeof entry;
    if (Process32FirstW(snapshot.get(), &entry)) {
        ids.clear();
        do {
            if (EqualWithoutCase(entry.szExeFile, name)) {
                ids.insert(entry.th32ProcessID);
            }
        } while (Process32NextW(snapshot.get(), &entry));
    }
    return !ids.empty();
}

std::int32_t GetWindowsVersionCode() {
    const std::wstring current =
        ReadVersionValue(L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", L"CurrentVersion");
    if (!current.empty()) {
        return VersionCodeFromText(current);
    }
    const std::wstring number = ReadVersionValue(L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion", L"VersionNumber");
    return number.empty() ? kVersionCodeDefault : kVersionCodeOld;
}
