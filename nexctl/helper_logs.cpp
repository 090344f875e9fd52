#include "nexctl/helper_logs.h"

#include <algorithm>
#include <cstdlib>

#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"

#include <shlwapi.h>

namespace {

constexpr wchar_t kKey[] = L"Software\\Ovrin\\zolt";
constexpr wchar_t kParent[] = L"C:\\temp";
constexpr wchar_t kFolder[] = L"C:\\temp\\zolt";
constexpr std::wstring_view kStem = L"Nexlet";

std::uint32_t ReadValue(const wchar_t* name) {
    DWORD value = 0;
    DWORD size = sizeof value;
    return SHGetValueW(HKEY_CURRENT_USER, kKey, name, nullptr, &value, &size) == ERROR_SUCCESS && size == sizeof value
               ? value
               : 0;
}

bool WriteValue(const wchar_t* name, DWORD value) {
    return SHSetValueW(HKEY_CURRENT_USER, kKey, name, REG_DWORD, &value, sizeof value) == ERROR_SUCCESS;
}

bool IsFolder(const wchar_t* path) {
    const DWORD attributes = GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool ProcessRuns(DWORD id) {
    const CKernelHandle process(OpenProcess(SYNCHRONIZE, FALSE, id));
    return process && WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT;
}

}  // namespace

LogSwitch ReadLogSwitch() {
    return {ReadValue(L"debug_log"), ReadValue(L"debug_modle")};
}

bool SetLogSwitch(bool on) {
    // Either value switches it on, so both are cleared.
    return WriteValue(L"debug_log", on ? 1 : 0) &&
           (on || ReadValue(L"debug_modle") == 0 || WriteValue(L"debug_modle", 0));
}

std::string LogFolder() {
    return Utf16ToUtf8(kFolder);
}

bool LogFolderCanBeMade() {
    return IsFolder(kParent);
}

bool MakeLogFolder() {
    return IsFolder(kParent) || CreateDirectoryW(kParent, nullptr) != FALSE;
}

std::vector<LogFile> FindLogs() {
    std::vector<LogFile> files;
    WIN32_FIND_DATAW found = {};
    const std::wstring folder = std::wstring(kFolder) + L"\\";
    const HANDLE search = FindFirstFileW((folder + std::wstring(kStem) + L"*.log").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        return files;
    }
    do {
        const std::wstring name = found.cFileName;
        wchar_t* end = nullptr;
        const unsigned long id = std::wcstoul(name.c_str() + std::min(kStem.size(), name.size()), &end, 10);
        if (id == 0 || std::wstring_view(end) != L".log") {
            continue;
        }
        LogFile file;
        file.strPath = Utf16ToUtf8(folder + name);
        file.nProcessId = id;
        file.nBytes = static_cast<std::uint64_t>(found.nFileSizeHigh) << 32 | found.nFileSizeLow;
        file.nWrittenAt = static_cast<std::uint64_t>(found.ftLastWriteTime.dwHighDateTime) << 32 |
                          found.ftLastWriteTime.dwLowDateTime;
        file.bRunning = ProcessRuns(file.nProcessId);
        files.push_back(std::move(file));
    } while (FindNextFileW(search, &found) != FALSE);
    FindClose(search);
    // A file that is being written may tell an old time.
    std::sort(files.begin(), files.end(), [](const LogFile& a, const LogFile& b) {
        return a.bRunning != b.bRunning ? a.bRunning : a.nWrittenAt > b.nWrittenAt;
    });
    return files;
}
