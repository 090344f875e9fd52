#include "nexctl/log/helper_logs.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "support/system/system_queries.h"

#include <shlwapi.h>

namespace {

constexpr wchar_t kKey[] = L"Software\\Ovrin\\zolt";
constexpr wchar_t kParent[] = L"C:\\temp";
constexpr wchar_t kFolder[] = L"C:\\temp\\zolt";
constexpr std::wstring_view kStem = L"Nexlet";
constexpr std::uint64_t kWholeBytes = std::uint64_t{4} * 1024 * 1024;
constexpr std::size_t kEndBytes = std::size_t{256} * 1024;

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

bool IsFile(const wchar_t* path) {
    const DWORD attributes = GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

// A process of this id that is of this program: an id may have been given to another since.
bool ProcessRuns(DWORD id, const std::string& program) {
    const CKernelHandle process(OpenProcess(SYNCHRONIZE, FALSE, id));
    return process && WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT &&
           CompareStringOrdinal(GetProcessImagePath(id).c_str(), -1, Utf8ToUtf16(program).c_str(), -1, TRUE) ==
               CSTR_EQUAL;
}

// The file's bytes, or its beginning and its end when it is large; and when it was written, which the folder may tell
// too early as long as a process writes.
std::string ReadEnds(const std::wstring& path, std::uint64_t& writtenAt) {
    const CFileHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                       0, nullptr));
    BY_HANDLE_FILE_INFORMATION info = {};
    if (!file || GetFileInformationByHandle(file.get(), &info) == FALSE) {
        return {};
    }
    writtenAt = std::uint64_t{info.ftLastWriteTime.dwHighDateTime} << 32 | info.ftLastWriteTime.dwLowDateTime;
    const std::uint64_t size = std::uint64_t{info.nFileSizeHigh} << 32 | info.nFileSizeLow;
    std::string bytes;
    const auto read = [&](std::uint64_t from, std::size_t count) {
        std::string part(count, '\0');
        OVERLAPPED at = {};
        at.Offset = static_cast<DWORD>(from);
        at.OffsetHigh = static_cast<DWORD>(from >> 32);
        DWORD got = 0;
        if (ReadFile(file.get(), part.data(), static_cast<DWORD>(count), &got, &at) != FALSE) {
            part.resize(got);
            bytes += part;
        }
    };
    if (size <= kWholeBytes) {
        read(0, static_cast<std::size_t>(size));
    } else {
        read(0, kEndBytes);
        // The line that is cut continues with the rest of another; the summary can use it all the same.
        read((size - kEndBytes) & ~std::uint64_t{1}, kEndBytes);
    }
    return bytes;
}

// "2026-11-22", by the clock of this place; the log's lines have the time of day alone.
std::string DateOf(std::uint64_t fileTime) {
    const FILETIME utc = {static_cast<DWORD>(fileTime), static_cast<DWORD>(fileTime >> 32)};
    FILETIME local = {};
    SYSTEMTIME time = {};
    if (fileTime == 0 || FileTimeToLocalFileTime(&utc, &local) == FALSE ||
        FileTimeToSystemTime(&local, &time) == FALSE) {
        return {};
    }
    char text[40];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u", time.wYear, time.wMonth, time.wDay);
    return text;
}

}  // namespace

LogFile ReadLogFile(const std::string& path) {
    LogFile file;
    file.strPath = path;
    file.summary = SummariseLog(ReadEnds(Utf8ToUtf16(path), file.nWrittenAt));
    file.strDate = DateOf(file.nWrittenAt);
    return file;
}

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
        LogFile file = ReadLogFile(Utf16ToUtf8(folder + name));
        file.nProcessId = id;
        file.nBytes = static_cast<std::uint64_t>(found.nFileSizeHigh) << 32 | found.nFileSizeLow;
        file.bRunning = ProcessRuns(file.nProcessId, file.summary.strProgram);
        files.push_back(std::move(file));
    } while (FindNextFileW(search, &found) != FALSE);
    FindClose(search);
    return ChooseLogs(std::move(files), {});
}

bool LogFolderIsFile() {
    return IsFile(kParent) || IsFile(kFolder);
}

std::optional<std::uint64_t> LogDiskFree() {
    ULARGE_INTEGER free = {};
    if (GetDiskFreeSpaceExW(IsFolder(kFolder) ? kFolder : kParent, &free, nullptr, nullptr) == FALSE) {
        return std::nullopt;
    }
    return free.QuadPart;
}

SwitchFact ReadSwitchFact(const wchar_t* name) {
    SwitchFact fact;
    DWORD type = REG_NONE;
    DWORD size = sizeof fact.value;
    const auto result = SHGetValueW(HKEY_CURRENT_USER, kKey, name, &type, &fact.value, &size);
    fact.exists = result == ERROR_SUCCESS || result == ERROR_MORE_DATA;
    // The helper looks at the size and not at the type.
    fact.isNumber = result == ERROR_SUCCESS && type == REG_DWORD;
    if (result != ERROR_SUCCESS) {
        fact.value = 0;
    }
    return fact;
}

std::uint64_t FileTimeBefore(std::uint64_t spanMs) {
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    const std::uint64_t time = std::uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime;
    const std::uint64_t span = spanMs * 10000;
    return span < time ? time - span : 0;
}
